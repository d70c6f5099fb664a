// The log files of a run directory, one per sink: log/history and log/client are written by
// libtessel, log/service by the switch.
//
//   <sink>            what this run has logged, up to log_file_limit bytes
//   <sink>.older      what this run logged before that, if it logged more
//   <sink>.previous   the last lines of the run before, kept when a run starts with fresh logs
//
// So that no sink ever takes more than three times the limit. Each process that appends a line also
// moves a full file away. Every file is a regular one: links, FIFOs and the like are refused, not
// followed and not waited for.
#pragma once

#include "sim/base/file_descriptor.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sim {

inline constexpr std::string_view log_sinks[] = {"history", "client", "service"};

bool is_log_sink(std::string_view name);

// One line of a log file. Whatever bytes a record has, parsing gives back what was formatted.
struct log_line {
    std::string time; // UTC, 2026-01-31T23:59:59.123456Z
    std::string sink; // one of log_sinks
    std::uint32_t pid = 0;
    std::uint32_t uuid = 0;   // client log only, else 0
    std::uint32_t module = 0; // 0 for the service's own lines
    std::uint32_t level = 0;  // 102 error, 104 trace
    std::string text;
};

// The fields in the order above, a space between each, the module in hexadecimal, the text last;
// backslashes and bytes that are not printable ASCII are escaped (\n, \t, \\, \xNN), so that every
// record is one line. No line feed at the end.
std::string format_log_line(const log_line &line);
std::optional<log_line> parse_log_line(std::string_view text);

// The time now, or some seconds ago, in the form of log_line::time. Later times compare greater.
std::string log_time_ago(std::uint32_t seconds);
inline std::string log_time_now() {
    return log_time_ago(0);
}

// Whether such a time may begin with this text, as "2026-01-31T23".
bool is_start_of_log_time(std::string_view text);

inline constexpr std::uint64_t log_file_limit = 8u << 20;

std::string log_path(const std::string &run_directory, std::string_view sink,
                     std::string_view suffix = {});

struct opened_log {
    file_descriptor file; // empty when it cannot be opened
    std::uint64_t size = 0;
    std::uint64_t inode = 0;
    std::string error; // the path and the reason
    bool is_missing = false;
};

// For reading.
opened_log open_log(const std::string &path);

// Appends one line to its sink's file, in one write. Returns an empty string, or the path and the
// reason.
std::string append_log_line(const std::string &run_directory, const log_line &line);

// Moves the logs of the run before out of the way. Returns an empty string, or the path and the
// reason.
std::string start_logs(const std::string &run_directory);

} // namespace sim
