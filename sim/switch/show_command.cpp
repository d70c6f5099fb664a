// `vellsim show`: a table of the running switch, or the logs. Each table is a command of its own,
// with the members of its question as options.
#include "sim/switch/commands.h"
#include "sim/switch/question.h"
#include "sim/switch/switch_client.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <memory>
#include <string>

namespace sim {

namespace {

struct question_options {
    switch_call to;
    question asked;
    bool json = false;
};

void add_member(CLI::App &command, const member &wanted, question &asked) {
    std::string option = "--" + std::string(wanted.name);
    std::ranges::replace(option, '_', '-');
    const std::string help(wanted.help);
    const std::string name(wanted.name);
    if (wanted.type == member_type::truth) {
        command.add_flag_callback(
            option, [name, &asked] { asked.members[name] = true; }, help);
        return;
    }
    const auto read = [option, name, &wanted, &asked](const std::string &text) {
        try {
            asked.members[name] = read_member(wanted, text);
        } catch (const wrong_question &wrong) {
            throw CLI::ValidationError(option, wrong.why);
        }
    };
    command.add_option_function<std::string>(option, read, help)
        ->required(wanted.use == member_use::required)
        ->type_name(wanted.type == member_type::number ? "N" : "ADDRESS");
}

} // namespace

command_action add_question(CLI::App &command, const question_kind &kind) {
    const auto options = std::make_shared<question_options>();
    options->asked.ask = kind.name;
    add_switch_options(command, options->to);
    command.add_flag("--json", options->json, "Print JSON, for programs");
    for (const member &wanted : kind.members) {
        add_member(command, wanted, options->asked);
    }
    return [options] {
        options->asked.form = options->json ? output_form::json : output_form::text;
        return print_answer(options->to, options->asked);
    };
}

command_action add_show(CLI::App &command) {
    const auto actions = std::make_shared<std::map<const CLI::App *, command_action>>();
    for (const question_kind &kind : question_kinds()) {
        if (!kind.help.empty()) {
            CLI::App *table =
                command.add_subcommand(std::string(kind.name), std::string(kind.help));
            (*actions)[table] = add_question(*table, kind);
        }
    }
    CLI::App *log = command.add_subcommand("log", "What the switch and its clients have logged");
    (*actions)[log] = add_show_log(*log);
    command.require_subcommand(1);
    command.footer("Examples:\n"
                   "  vellsim show routes --group 239.1.1.2\n"
                   "  vellsim show routes --summary\n"
                   "  vellsim show clients --json\n"
                   "  vellsim show log --sink service --limit 20");
    return [&command, actions] { return actions->at(command.get_subcommands().front())(); };
}

} // namespace sim
