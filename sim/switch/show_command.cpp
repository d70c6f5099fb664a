#include "sim/switch/show_command.h"

#include "sim/switch/console.h"
#include "sim/switch/l2_text.h"
#include "sim/switch/log_read.h"
#include "sim/switch/ltl_text.h"
#include "sim/switch/overlay_text.h"
#include "sim/switch/show_text.h"
#include "sim/switch/stats_text.h"
#include "sim/switch/switch_client.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fmt/format.h>
#include <iterator>
#include <nlohmann/json.hpp>

namespace sim {

namespace {

using json = nlohmann::ordered_json;

int fail(const std::string &why) {
    complain(why);
    return EXIT_FAILURE;
}

int print(const std::string &text) {
    // A long text is written, and lost, before the flush, which then has nothing left to fail at.
    const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
    if (!written || std::fflush(stdout) != 0) {
        return fail(fmt::format("the output cannot be written: {}", std::strerror(errno)));
    }
    return EXIT_SUCCESS;
}

std::string log_json(const std::vector<log_line> &lines) {
    std::string rows;
    for (const log_line &line : lines) {
        json row;
        row["time"] = line.time;
        row["sink"] = line.sink;
        row["pid"] = line.pid;
        row["uuid"] = line.uuid;
        row["module"] = line.module;
        row["level"] = line.level;
        row["text"] = line.text;
        rows += rows.empty() ? "" : ",\n";
        rows += row.dump(-1, ' ', false, json::error_handler_t::replace);
    }
    return rows;
}

int show_log(const show_options &options) {
    log_contents contents = read_log_files(options.run_directory, options.sink);
    if (!contents.error.empty()) {
        return fail(fmt::format("no log: {}", contents.error));
    }
    for (const std::string &complaint : contents.complaints) {
        complain(complaint);
    }
    const std::size_t matched = contents.lines.size();
    // The latest lines are the ones a limit is to leave.
    const std::size_t shown =
        std::min<std::size_t>(matched, options.query.limit.value_or(UINT32_MAX));
    contents.lines.erase(contents.lines.begin(),
                         contents.lines.end() - static_cast<std::ptrdiff_t>(shown));
    if (!options.json) {
        return print(log_text(contents.lines, matched));
    }
    const std::string total = options.query.limit ? fmt::format(",\"matched\":{}", matched) : "";
    return print(fmt::format("{{\"log\":[{}]{}}}\n", log_json(contents.lines), total));
}

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

} // namespace

int count(const std::string &run_directory, const count_request &wanted, bool as_json) {
    std::string error;
    if (!counter_key_of(wanted, error)) {
        return fail(error);
    }
    const switch_answer answer =
        ask_switch(run_directory, frame_kind::count_request, encode_count_request(wanted));
    if (!answer.error.empty()) {
        return fail(answer.error);
    }
    const json row = json::parse(answer.text, nullptr, false);
    if (row.is_discarded()) {
        return fail("the switch's answer is no JSON");
    }
    if (as_json) {
        return print(answer.text + "\n");
    }
    // Of IPv6 routes none is ever held.
    const bool is_unknown = row.at("family") == "ipv4" && !row.at("held").get<bool>();
    return print(stats_row_text(row) +
                 (is_unknown ? "no such route is held; requests that name it will find it\n" : ""));
}

int show(const show_options &options) {
    if (options.query.name == "log") {
        return show_log(options);
    }
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

} // namespace sim
