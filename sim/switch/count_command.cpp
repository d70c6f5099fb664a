// `vellsim count`: moves a route's counters and prints them.
#include "sim/base/number_option.h"
#include "sim/switch/commands.h"
#include "sim/switch/console.h"
#include "sim/switch/count.h"
#include "sim/switch/stats_text.h"
#include "sim/switch/switch_client.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

namespace sim {

namespace {

struct count_options {
    std::string run_directory;
    count_request wanted{};
    bool json = false;
};

int count(const count_options &options) {
    std::string error;
    if (!counter_key_of(options.wanted, error)) {
        return fail(error);
    }
    const switch_answer answer = ask_switch(options.run_directory, frame_kind::count_request,
                                            encode_count_request(options.wanted));
    if (!answer.error.empty()) {
        return fail(answer.error);
    }
    const auto row = nlohmann::ordered_json::parse(answer.text, nullptr, false);
    if (row.is_discarded()) {
        return fail("the switch's answer is no JSON");
    }
    if (options.json) {
        return print(answer.text + "\n");
    }
    // Of IPv6 routes none is ever held.
    const bool is_unknown = row.at("family") == "ipv4" && !row.at("held").get<bool>();
    return print(stats_row_text(row) +
                 (is_unknown ? "no such route is held; requests that name it will find it\n" : ""));
}

} // namespace

command_action add_count(CLI::App &command) {
    const auto options = std::make_shared<count_options>();
    add_run_directory(command, options->run_directory);
    count_request &wanted = options->wanted;
    command.add_option("--source", wanted.source, "The route's source, IPv4 or IPv6")
        ->required()
        ->type_name("ADDRESS");
    command.add_option("--group", wanted.group, "The route's group, of the same family")
        ->required()
        ->type_name("ADDRESS");
    add_number(command, "--table", wanted.table, "The route's table; default 253")
        ->option_text("N");
    add_number(command, "--source-len", wanted.source_length,
               "Source mask length; the whole address by default")
        ->option_text("N");
    add_number(command, "--group-len", wanted.group_length, "Group mask length, likewise")
        ->option_text("N");
    add_number(command, "--packets", wanted.added.packets, "Packets to add")->option_text("N");
    add_number(command, "--bytes", wanted.added.bytes, "Bytes to add")->option_text("N");
    add_number(command, "--wrong-if", wanted.added.wrong_if, "Packets on a wrong interface to add")
        ->option_text("N");
    command.add_flag("--json", options->json, "Print JSON, for programs");
    command.final_callback([&wanted] {
        if (wanted.added.packets == 0 && wanted.added.bytes == 0 && wanted.added.wrong_if == 0) {
            throw CLI::ValidationError("nothing to count", "give --packets, --bytes or --wrong-if");
        }
    });
    return [options] { return count(*options); };
}

} // namespace sim
