#include "sim/switch/log_read.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <iterator>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace sim {

namespace {

// How much is read at once. A line that is longer, which no log line is, falls into pieces.
constexpr std::size_t block_size = 256u << 10;

constexpr std::uint32_t level_error = 102;

} // namespace

bool log_filter::lets_through(const log_line &line) const {
    return line.time >= since && (!pid || line.pid == *pid) &&
           (!errors || line.level == level_error);
}

sink_reader::sink_reader(const std::string &run_directory, std::string_view sink, bool all_runs,
                         const log_filter &filter)
    : path_(log_path(run_directory, sink)), filter_(filter) {
    // The latest first: a file that is moved meanwhile is met twice, which shows, and not missed.
    open(path_, true);
    open(log_path(run_directory, sink, ".older"), true);
    if (all_runs) {
        open(log_path(run_directory, sink, ".previous"), true);
    }
}

void sink_reader::open(const std::string &path, bool in_front) {
    opened_log made = open_log(path);
    const bool is_known = std::ranges::any_of(
        files_, [&](const log_file &file) { return file.opened.inode == made.inode; });
    if (!made.file && !made.is_missing) {
        note_error(made.error);
    }
    if (!made.file || is_known) {
        return;
    }
    files_.insert(in_front ? files_.begin() : files_.end(), {path, std::move(made)});
}

void sink_reader::refresh() {
    struct stat entry {};
    if (!files_.empty() && fstat(files_.back().opened.file.get(), &entry) == 0) {
        files_.back().opened.size = static_cast<std::uint64_t>(entry.st_size);
    }
    const bool is_other = lstat(path_.c_str(), &entry) == 0 &&
                          (files_.empty() || files_.back().opened.inode != entry.st_ino);
    if (is_other) {
        open(path_, false);
    }
}

// Reads on in the first file; false at its end.
bool sink_reader::read_block() {
    buffer_.erase(0, taken_);
    offset_ += std::exchange(taken_, 0);
    const log_file &file = files_.front();
    const std::uint64_t from = offset_ + buffer_.size();
    if (from >= file.opened.size) {
        return false;
    }
    std::string block(
        static_cast<std::size_t>(std::min<std::uint64_t>(file.opened.size - from, block_size)),
        '\0');
    ssize_t count = 0;
    do {
        count = pread(file.opened.file.get(), block.data(), block.size(), static_cast<off_t>(from));
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
        note_error(fmt::format("{}: {}", file.path, std::strerror(errno)));
    }
    buffer_.append(block, 0, count < 0 ? 0 : static_cast<std::size_t>(count));
    return count > 0;
}

void sink_reader::note_error(const std::string &error) {
    if (std::ranges::find(errors_, error) == errors_.end()) {
        errors_.push_back(error);
    }
}

void sink_reader::note_bad_line() {
    if (bad_lines_++ == 0) {
        first_bad_line_ = fmt::format("{}: byte {}", files_.front().path, offset_ + taken_);
    }
}

std::optional<std::string> sink_reader::next_text() {
    while (!files_.empty()) {
        const std::size_t end = buffer_.find('\n', taken_);
        if (end != std::string::npos || buffer_.size() - taken_ >= block_size) {
            return buffer_.substr(taken_, end - taken_);
        }
        if (read_block()) {
            continue;
        }
        if (files_.size() == 1) {
            break; // what there is of a last line may become whole
        }
        if (!buffer_.empty()) {
            note_bad_line();
        }
        files_.erase(files_.begin());
        buffer_.clear();
        offset_ = 0;
    }
    return std::nullopt;
}

const log_line *sink_reader::peek() {
    while (!head_) {
        const std::optional<std::string> text = next_text();
        if (!text) {
            return nullptr;
        }
        std::optional<log_line> line = parse_log_line(*text);
        // A writer that found another's line half written has ended it with an empty one.
        if (!line && !text->empty()) {
            note_bad_line();
        } else if (line && filter_.lets_through(*line)) {
            head_ = std::move(line);
        }
        taken_ = std::min(taken_ + text->size() + 1, buffer_.size());
    }
    return &*head_;
}

log_line sink_reader::take() {
    return *std::exchange(head_, std::nullopt);
}

std::vector<std::string> sink_reader::complaints() const {
    std::vector<std::string> said = errors_;
    if (bad_lines_ == 1) {
        said.push_back(first_bad_line_ + ": is not a log line, left out");
    } else if (bad_lines_ > 1) {
        said.push_back(fmt::format("{}: is not a log line, left out, and so are {} after it",
                                   first_bad_line_, bad_lines_ - 1));
    }
    return said;
}

log_reader::log_reader(const std::string &run_directory, const log_query &query) {
    for (const std::string &sink : query.sinks) {
        sinks_.emplace_back(run_directory, sink, query.all_runs, query.filter);
    }
    while (query.limit) {
        std::optional<log_line> line = merged();
        if (!line) {
            break;
        }
        latest_.push_back(std::move(*line));
        if (latest_.size() > *query.limit) {
            latest_.pop_front();
        }
    }
}

std::optional<log_line> log_reader::next() {
    if (latest_.empty()) {
        return merged();
    }
    log_line line = std::move(latest_.front());
    latest_.pop_front();
    return line;
}

std::optional<log_line> log_reader::merged() {
    sink_reader *first = nullptr;
    for (sink_reader &sink : sinks_) {
        const log_line *line = sink.peek();
        if (line != nullptr && (first == nullptr || line->time < first->peek()->time)) {
            first = &sink;
        }
    }
    return first == nullptr ? std::nullopt : std::optional(first->take());
}

void log_reader::refresh() {
    std::ranges::for_each(sinks_, &sink_reader::refresh);
}

std::vector<std::string> log_reader::complaints() const {
    std::vector<std::string> said;
    for (const sink_reader &sink : sinks_) {
        std::ranges::copy(sink.complaints(), std::back_inserter(said));
    }
    return said;
}

bool log_reader::has_failed() const {
    return std::ranges::any_of(sinks_, &sink_reader::has_failed);
}

} // namespace sim
