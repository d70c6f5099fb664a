// `vellsim show`, `vellsim count` and `vellsim stop`: each asks the running switch one question,
// with the question's members as options. Each table that `vellsim show` prints is a command of its
// own.
#include "sim/switch/commands.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <memory>

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
    const auto keep = [name = std::string(wanted.name), &asked](const std::string &value) {
        asked.members[name] = value;
    };
    if (wanted.type == member_type::truth) {
        command.add_flag_callback(
            option, [keep] { keep("true"); }, std::string(wanted.help));
        return;
    }
    const auto check = [&wanted](const std::string &value) { return check_member(wanted, value); };
    command.add_option_function<std::string>(option, keep, std::string(wanted.help))
        ->check(CLI::Validator(check, ""))
        ->required(wanted.use == member_use::required)
        ->type_name(wanted.type == member_type::number ? "N" : "ADDRESS");
}

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

} // namespace

command_action add_count(CLI::App &command) {
    return add_question(command, *find_question("count"));
}

command_action add_stop(CLI::App &command) {
    const auto to = std::make_shared<switch_call>();
    add_switch_options(command, *to);
    return [to] { return end_switch(*to); };
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
