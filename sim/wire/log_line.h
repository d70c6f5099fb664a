// One line of a log file, as text and as a record: whatever bytes a record has, parsing gives back
// what was formatted.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sim {

inline constexpr std::string_view log_sinks[] = {"history", "client", "service"};

bool is_log_sink(std::string_view name);

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

} // namespace sim
