// `vellsim show`: a table of the running switch, or its logs.
#include "sim/base/address.h"
#include "sim/base/number_option.h"
#include "sim/switch/commands.h"
#include "sim/switch/console.h"
#include "sim/switch/l2_text.h"
#include "sim/switch/ltl_text.h"
#include "sim/switch/overlay_text.h"
#include "sim/switch/show_query.h"
#include "sim/switch/show_text.h"
#include "sim/switch/stats_text.h"
#include "sim/switch/switch_client.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <fmt/format.h>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace sim {

namespace {

using json = nlohmann::ordered_json;

struct show_options {
    std::string run_directory;
    show_query query{};
    std::string group{}; // as given on the command line
    bool json = false;
};

int show_table(const show_options &options, std::string (*text)(const json &table)) {
    const switch_answer answer = ask_switch(options.run_directory, frame_kind::show_request,
                                            encode_show_query(options.query));
    if (!answer.error.empty()) {
        return fail(answer.error);
    }
    if (options.json) {
        return print(answer.text + "\n");
    }
    const json table = json::parse(answer.text, nullptr, false);
    return table.is_discarded() ? fail("the switch's answer is no JSON") : print(text(table));
}

int print_shown(const show_options &options) {
    if (options.query.name == "routes" && options.query.summary) {
        return show_table(options, route_summary_text);
    }
    struct table_text {
        const char *name;
        std::string (*text)(const json &table);
    };
    constexpr table_text texts[] = {
        {"clients", clients_text}, {"routes", routes_text},   {"l2", l2_text},
        {"stats", stats_text},     {"overlay", overlay_text}, {"flood", flood_text},
        {"ltl", ltl_text},
    };
    const auto found = std::ranges::find_if(
        texts, [&](const table_text &row) { return options.query.name == row.name; });
    return found == std::end(texts) ? fail("no such table") : show_table(options, found->text);
}

// An option of `show` and the tables that it goes with.
struct show_option {
    const char *name;
    std::vector<std::string> tables;
};

const show_option show_options_by_table[] = {
    {"--client", {"clients", "routes"}},
    {"--table", {"routes", "stats"}},
    {"--group", {"routes", "l2"}},
    {"--vlan", {"l2", "flood", "ltl"}},
    {"--source", {"routes"}},
    {"--limit", {"clients", "routes", "stats", "flood", "ltl"}},
    {"--summary", {"routes"}},
};

void check_combinations(const CLI::App &show, const std::string &table) {
    for (const show_option &option : show_options_by_table) {
        const bool fits = std::ranges::find(option.tables, table) != option.tables.end();
        if (show.get_option(option.name)->count() > 0 && !fits) {
            throw CLI::ValidationError(
                option.name, fmt::format("goes with `show {}`, not with `show {}`",
                                         CLI::detail::join(option.tables, "` and `show "), table));
        }
    }
    if (show.get_option("--summary")->count() > 0 && show.get_option("--limit")->count() > 0) {
        throw CLI::ValidationError("--summary", "does not go with --limit");
    }
}

void add_address(CLI::App *show, const char *name, const char *help,
                 std::optional<std::uint32_t> &address) {
    const auto parse = [&address](const std::string &text) {
        address = parse_ipv4(text);
        return address ? std::string()
                       : fmt::format("{} is not an IPv4 address such as 239.1.1.2", text);
    };
    show->add_option_function<std::string>(
            name, [](const std::string &) {}, help)
        ->check(CLI::Validator([parse](std::string &text) { return parse(text); }, ""))
        ->type_name("A.B.C.D");
}

// What a group may be depends on the table, which may stand behind it on the command line.
void read_group(const std::string &text, show_query &query) {
    if (text.empty()) {
        return;
    }
    const std::optional<l2_address> l2_group = parse_l2_address(text);
    query.group = parse_ipv4(text);
    if (query.name == "routes" && !query.group) {
        throw CLI::ValidationError(
            "--group", fmt::format("{} is not an IPv4 address such as 239.1.1.2", text));
    }
    if (query.name == "l2" && !l2_group) {
        throw CLI::ValidationError("--group",
                                   fmt::format("{} is no IPv4, IPv6 or MAC address", text));
    }
    if (query.name == "l2") {
        query.group.reset();
        query.l2_group = address_text(*l2_group);
    }
}

} // namespace

command_action add_show(CLI::App &command) {
    const auto kept = std::make_shared<show_options>();
    show_options &options = *kept;
    CLI::App *show = &command;
    show->add_option("TABLE", options.query.name, "What to print")
        ->check(CLI::IsMember({"clients", "routes", "stats", "l2", "flood", "ltl", "overlay"})
                    .description(""))
        ->type_name("clients|routes|stats|l2|flood|ltl|overlay");
    add_run_directory(*show, options.run_directory);
    show->add_flag("--json", options.json, "Print JSON, for programs");
    show->add_option("--client", options.query.client, "clients, routes: only of this client id")
        ->check(CLI::Range(0, 255).description(""))
        ->type_name("ID");
    add_number(*show, "--table", options.query.table, "routes, stats: only of this route table")
        ->option_text("N");
    show->add_option("--group", options.group,
                     "routes, l2: only of this group; of l2 an IPv4, IPv6 or\nMAC address")
        ->type_name("ADDRESS");
    show->add_option("--vlan", options.query.vlan, "l2, flood, ltl: only of this VLAN")
        ->check(CLI::Range(1, 4094).description(""))
        ->type_name("N");
    add_address(show, "--source", "routes: only of this source; 0.0.0.0 is any source",
                options.query.source);
    show->add_flag("--summary", options.query.summary,
                   "routes: counts per table instead of the routes");
    show->add_option("--limit", options.query.limit,
                     "At most so many: the first of a table (not of l2 and\n"
                     "overlay)")
        ->check(CLI::Range(1u, UINT32_MAX).description(""))
        ->type_name("N");
    show->footer("Examples:\n"
                 "  vellsim show routes --group 239.1.1.2\n"
                 "  vellsim show routes --summary\n"
                 "  vellsim show clients --json\n"
                 "  vellsim show log --sink service --limit 20");
    CLI::App *log =
        command.add_subcommand("log", "Print what the switch and its clients have logged");
    const command_action show_log = add_show_log(*log);
    show->final_callback([show, log, &options] {
        if (log->parsed()) {
            return;
        }
        if (options.query.name.empty()) {
            throw CLI::RequiredError("TABLE");
        }
        check_combinations(*show, options.query.name);
        read_group(options.group, options.query);
    });
    return [kept, log, show_log] { return log->parsed() ? show_log() : print_shown(*kept); };
}

} // namespace sim
