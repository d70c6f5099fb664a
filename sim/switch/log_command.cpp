// `vellsim show log`: what the switch and its clients have logged, for people or for programs.
// Needs no running switch.
#include "sim/base/number_option.h"
#include "sim/base/output.h"
#include "sim/switch/commands.h"
#include "sim/switch/log_read.h"
#include "sim/wire/run_dir.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <chrono>
#include <cstdlib>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

namespace sim {

namespace {

constexpr std::size_t printed_at_once = 64u << 10;
constexpr auto follow_pause = std::chrono::milliseconds(200);

struct log_options {
    std::string run_directory;
    std::string sink{};  // empty: each message once
    std::string since{}; // as given
    log_query query{};
    bool follow = false;
    bool json = false;
};

std::string level_name(std::uint32_t level) {
    return level == 102 ? "error" : level == 104 ? "trace" : fmt::format("level {}", level);
}

void print_line(output &out, const log_line &line) {
    // Clients end their lines with a line feed; as an escape it would only be noise.
    const std::string_view said(line.text.data(), line.text.find_last_not_of('\n') + 1);
    out.open_object();
    out.field("time", "{} ", line.time);
    out.field("sink", "{:7} ", line.sink);
    out.text("{} ", level_name(line.level));
    out.field("pid", "pid {}", line.pid);
    out.json("uuid", line.uuid);
    if (line.uuid != 0) {
        out.text(" uuid {}", line.uuid);
    }
    out.json("module", line.module);
    out.json("level", line.level);
    out.json("text", line.text);
    out.text(": {}\n", said);
    out.close_object();
}

// Prints what there is to read. Returns the exit code.
int print_lines(log_reader &reader, output &out, std::uint64_t &count) {
    while (const std::optional<log_line> line = reader.next()) {
        print_line(out, *line);
        ++count;
        if (out.size() >= printed_at_once && print(out.take()) != EXIT_SUCCESS) {
            return EXIT_FAILURE;
        }
    }
    return EXIT_SUCCESS;
}

void print_narrowed(output &out, const log_options &options) {
    bool is_open = false;
    const auto print_member = [&](std::string_view name, const auto &value, bool is_given) {
        if (is_given && !std::exchange(is_open, true)) {
            out.open_object("narrowed");
        }
        if (is_given) {
            out.json(name, value);
        }
    };
    const log_filter &filter = options.query.filter;
    print_member("sink", options.sink, !options.sink.empty());
    print_member("since", filter.since, !filter.since.empty());
    print_member("pid", filter.pid, filter.pid.has_value());
    print_member("errors", true, filter.errors);
    print_member("limit", options.query.limit, options.query.limit.has_value());
    if (is_open) {
        out.close_object();
    } else {
        out.json("narrowed", std::nullopt);
    }
}

void print_end(output &out, const log_options &options, std::uint64_t count) {
    out.close_list();
    // Of a limited answer nobody has counted the lines before.
    const bool is_cut = options.query.limit && count == *options.query.limit;
    out.json("matched", is_cut ? std::nullopt : std::optional(count));
    print_narrowed(out, options);
    out.close_object();
    out.text("{} line{}{}\n", count, count == 1 ? "" : "s", is_cut ? ", the latest" : "");
}

int complain_of(const log_reader &reader) {
    for (const std::string &complaint : reader.complaints()) {
        complain(complaint);
    }
    return reader.has_failed() ? EXIT_FAILURE : EXIT_SUCCESS;
}

int follow(log_reader &reader, output &out, std::uint64_t &count) {
    while (print(out.take()) == EXIT_SUCCESS) {
        std::this_thread::sleep_for(follow_pause);
        reader.refresh();
        if (print_lines(reader, out, count) != EXIT_SUCCESS) {
            break;
        }
    }
    return EXIT_FAILURE;
}

int show_log(const log_options &options) {
    for (const std::string &folder : {options.run_directory, options.run_directory + "/log"}) {
        if (const std::string error = check_run_dir(folder); !error.empty()) {
            return fail("no log: " + error);
        }
    }
    log_reader reader(options.run_directory, options.query);
    output out(options.json ? output_form::json : output_form::text);
    std::uint64_t count = 0;
    out.open_object();
    out.open_rows("log");
    if (print_lines(reader, out, count) != EXIT_SUCCESS) {
        return EXIT_FAILURE;
    }
    const int found = complain_of(reader);
    if (options.follow) {
        return follow(reader, out, count);
    }
    print_end(out, options, count);
    const std::string end = options.json ? "\n" : "";
    return print(out.take() + end) == EXIT_SUCCESS ? found : EXIT_FAILURE;
}

// "10m": a number and its unit. Nothing when it is not one.
std::optional<std::uint32_t> parse_age(std::string_view text) {
    constexpr std::uint32_t units[][2] = {{'s', 1}, {'m', 60}, {'h', 3600}, {'d', 86400}};
    std::uint32_t number = 0;
    const char *const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    for (const auto &[letter, seconds] : units) {
        if (error == std::errc() && stop + 1 == end &&
            static_cast<unsigned char>(*stop) == letter && number <= UINT32_MAX / seconds) {
            return number * seconds;
        }
    }
    return std::nullopt;
}

std::string read_since(const std::string &text) {
    if (const std::optional<std::uint32_t> age = parse_age(text)) {
        return log_time_ago(*age);
    }
    constexpr std::size_t date_size = 10;
    if (text.size() < date_size || !is_start_of_log_time(text)) {
        throw CLI::ValidationError(
            "--since", fmt::format("{} is neither a time such as 2026-01-31T23:59 (UTC) nor an "
                                   "age such as 90s, 10m, 2h or 1d",
                                   printable(text)));
    }
    return text;
}

} // namespace

command_action add_show_log(CLI::App &command) {
    const auto options = std::make_shared<log_options>();
    log_query &query = options->query;
    add_run_directory(command, options->run_directory);
    command.add_flag("--json", options->json, "Print JSON, for programs");
    command
        .add_option("--sink", options->sink,
                    "Only history, client or service. Without it client and\n"
                    "service, since clients log each message of the history\n"
                    "there, too")
        ->check(CLI::IsMember({"history", "client", "service"}).description(""))
        ->type_name("SINK");
    command.add_option("--limit", query.limit, "Only the latest N lines")
        ->transform(number_up_to(UINT32_MAX, 1))
        ->type_name("N");
    command
        .add_option("--since", options->since,
                    "Only from this time on, as 2026-01-31T23:59 (UTC), or\n"
                    "since this long ago, as 90s, 10m, 2h or 1d")
        ->type_name("TIME");
    add_number(command, "--pid", query.filter.pid, "Only what this process has logged")
        ->option_text("N");
    command.add_flag("--errors", query.filter.errors, "Only errors, no traces");
    command.add_flag("--all", query.all_runs,
                     "Also what was logged in the run before the latest one");
    command.add_flag("--follow", options->follow, "Go on with what is logged from now on");
    command.footer("Examples:\n"
                   "  vellsim show log --limit 20\n"
                   "  vellsim show log --errors --since 10m\n"
                   "  vellsim show log --follow --limit 1");
    command.final_callback([options] {
        if (options->follow && options->json) {
            throw CLI::ValidationError("--follow", "does not go with --json");
        }
        if (!options->since.empty()) {
            options->query.filter.since = read_since(options->since);
        }
        if (options->sink.empty()) {
            options->query.sinks = {"client", "service"};
        } else {
            options->query.sinks = {options->sink};
        }
    });
    return [options] { return show_log(*options); };
}

} // namespace sim
