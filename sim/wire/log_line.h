// One line of the simulator's log files, <run directory>/log/history, client and service: written by
// libtessel and by the switch, read by people and by "vellsim show log".
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sim {

struct log_line {
    std::string time; // UTC, 2026-01-31T23:59:59.123456Z
    std::string sink; // history, client, console or service
    std::uint32_t pid = 0;
    std::uint32_t uuid = 0;   // client log only, else 0
    std::uint32_t module = 0; // 0 for the service's own lines
    std::uint32_t level = 0;  // 102 error, 104 trace
    std::string text;
};

// The fields in the order above, a blank between each, the module in hexadecimal, the text last;
// backslashes and bytes that are not printable ASCII are escaped (\n, \t, \\, \xNN), so that every
// record is one line. No line feed at the end.
std::string format_log_line(const log_line &line);
std::optional<log_line> parse_log_line(std::string_view text);

// The time now, in the form of log_line::time.
std::string log_time_now();

// Appends one line to <run directory>/log/<sink> in one write. False when the file cannot be
// written.
bool append_log_line(const std::string &run_directory, const log_line &line);

} // namespace sim
