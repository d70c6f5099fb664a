// The log files of a run directory, one per sink: log/history and log/client are written by
// libtessel, log/service by the switch.
//
//   <sink>            what this run has logged, up to log_file_limit bytes
//   <sink>.older      what this run logged before that, if it logged more
//   <sink>.previous   the last lines of the run before, kept when a run starts with fresh logs
//
// So that no sink ever takes more than three times the limit. Each process that appends a line also
// moves a full file away. Every file is a regular one: links, FIFOs and the like are refused, not followed
// and not waited for.
#pragma once

#include "sim/base/file_descriptor.h"
#include "sim/wire/log_line.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace sim {

inline constexpr std::uint64_t log_file_limit = 8u << 20;

// From the oldest lines to the latest.
inline constexpr std::string_view log_suffixes[] = {".previous", ".older", ""};

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
