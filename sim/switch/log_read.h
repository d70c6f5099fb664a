// The lines of a run directory's logs, merged by time. No file is ever in memory whole.
#pragma once

#include "sim/wire/log_file.h"

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

struct log_filter {
    std::string since{}; // a time or the start of one; empty for all
    std::optional<std::uint32_t> pid{};
    bool errors = false; // only these

    bool lets_through(const log_line &line) const;
};

// The files of one sink, one after the other.
class sink_reader {
public:
    // `all_runs` includes the run before.
    sink_reader(const std::string &run_directory, std::string_view sink, bool all_runs,
                const log_filter &filter);

    // The next line, oldest first; null when there is none. It stays the next until take().
    const log_line *peek();
    log_line take();

    // Looks for what was logged since, also by a run that started with fresh logs.
    void refresh();

    // What could not be opened or is not a log line, each said once.
    std::vector<std::string> complaints() const;
    bool has_failed() const { return !errors_.empty(); }

private:
    struct log_file {
        std::string path;
        opened_log opened;
    };

    void open(const std::string &path, bool in_front);
    std::optional<std::string> next_text();
    bool read_block();
    void note_error(const std::string &error);
    void note_bad_line();

    std::string path_; // of the latest file
    log_filter filter_;
    std::vector<log_file> files_;  // the one that is read, and later ones
    std::uint64_t offset_ = 0;     // of buffer_ in the first of them
    std::string buffer_;           // what has been read
    std::size_t taken_ = 0;        // of the buffer
    std::optional<log_line> head_; // what peek() shows
    std::vector<std::string> errors_;
    std::string first_bad_line_;
    std::uint64_t bad_lines_ = 0;
};

struct log_query {
    std::vector<std::string> sinks{};
    bool all_runs = false;
    std::optional<std::uint32_t> limit{}; // the latest lines
    log_filter filter{};
};

class log_reader {
public:
    log_reader(const std::string &run_directory, const log_query &query);

    // The next line, oldest first; empty when there is none.
    std::optional<log_line> next();
    void refresh();

    std::vector<std::string> complaints() const;
    bool has_failed() const;

private:
    std::optional<log_line> merged();

    std::vector<sink_reader> sinks_;
    std::deque<log_line> latest_; // of a limited query, to be read first
};

} // namespace sim
