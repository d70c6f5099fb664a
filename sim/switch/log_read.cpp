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

sink_reader::place sink_reader::end() const {
    return files_.empty() ? place{} : place{files_.size() - 1, files_.back().opened.size};
}

void sink_reader::go_to(const place &where) {
    current_ = where.file;
    offset_ = where.offset;
    buffer_.clear();
    taken_ = 0;
    head_.reset();
}

bool sink_reader::read_block(std::uint64_t from, std::uint64_t to, std::string &block) {
    const log_file &file = files_[current_];
    block.resize(static_cast<std::size_t>(std::min<std::uint64_t>(to - from, block_size)));
    ssize_t count = 0;
    do {
        count = pread(file.opened.file.get(), block.data(), block.size(), static_cast<off_t>(from));
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
        note_error(fmt::format("{}: {}", file.path, std::strerror(errno)));
    }
    block.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
    return !block.empty();
}

void sink_reader::note_error(const std::string &error) {
    if (std::ranges::find(errors_, error) == errors_.end()) {
        errors_.push_back(error);
    }
}

void sink_reader::note_bad_line() {
    if (bad_lines_++ == 0) {
        first_bad_line_ = fmt::format("{}: byte {}", files_[current_].path, offset_ + taken_);
    }
}

std::optional<std::string> sink_reader::next_text() {
    while (current_ < files_.size()) {
        const std::size_t end = buffer_.find('\n', taken_);
        if (end != std::string::npos || buffer_.size() - taken_ >= block_size) {
            const std::string text = buffer_.substr(taken_, end - taken_);
            return text;
        }
        buffer_.erase(0, taken_);
        offset_ += std::exchange(taken_, 0);
        std::string block;
        const std::uint64_t from = offset_ + buffer_.size();
        const std::uint64_t to = files_[current_].opened.size;
        if (from < to && read_block(from, to, block)) {
            buffer_ += block;
        } else if (current_ + 1 == files_.size()) {
            return std::nullopt; // what there is of a last line may become whole
        } else {
            if (!buffer_.empty()) {
                note_bad_line();
            }
            go_to({current_ + 1, 0});
        }
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
        if (!line) {
            note_bad_line();
        } else if (filter_.lets_through(*line)) {
            head_ = std::move(line);
        }
        taken_ = std::min(taken_ + text->size() + 1, buffer_.size());
    }
    return &*head_;
}

log_line sink_reader::take() {
    return *std::exchange(head_, std::nullopt);
}

// The buffer holds what lies before the place where the reader is, which is its end.
std::optional<std::string> sink_reader::text_before() {
    while (current_ < files_.size()) {
        const std::size_t last =
            buffer_.size() < 2 ? std::string::npos : buffer_.rfind('\n', buffer_.size() - 2);
        if (last != std::string::npos || buffer_.size() >= block_size ||
            (offset_ == 0 && !buffer_.empty())) {
            const std::size_t start = last == std::string::npos ? 0 : last + 1;
            std::string text = buffer_.substr(start);
            buffer_.resize(start);
            return text;
        }
        std::string block;
        const std::uint64_t from = offset_ - std::min<std::uint64_t>(offset_, block_size);
        if (from < offset_ && read_block(from, offset_, block)) {
            buffer_.insert(0, block);
            offset_ = from;
        } else if (current_ == 0) {
            return std::nullopt;
        } else {
            go_to({current_ - 1, files_[current_ - 1].opened.size});
        }
    }
    return std::nullopt;
}

std::optional<sink_reader::earlier_line> sink_reader::step_back() {
    while (std::optional<std::string> text = text_before()) {
        if (text->ends_with('\n')) {
            text->pop_back();
        }
        const std::optional<log_line> line = parse_log_line(*text);
        if (line && line->time < filter_.since) {
            return std::nullopt;
        }
        if (line && filter_.lets_through(*line)) {
            return earlier_line{*line, {current_, offset_ + buffer_.size()}};
        }
    }
    return std::nullopt;
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
    if (query.limit) {
        skip_all_but(*query.limit);
    }
}

// Steps back over as many lines as are wanted, in the sink whose line before is the latest.
void log_reader::skip_all_but(std::uint32_t limit) {
    struct tail {
        sink_reader *sink;
        sink_reader::place start;
        std::optional<sink_reader::earlier_line> before;
    };
    std::vector<tail> tails;
    for (sink_reader &sink : sinks_) {
        sink.go_to(sink.end());
        tails.push_back({&sink, sink.end(), sink.step_back()});
    }
    tail *latest = nullptr;
    for (std::uint32_t count = 0; count < limit; ++count) {
        // Not before another line is wanted: it may be far away.
        if (latest != nullptr) {
            latest->before = latest->sink->step_back();
        }
        latest = nullptr;
        for (tail &one : tails) {
            if (one.before &&
                (latest == nullptr || one.before->line.time >= latest->before->line.time)) {
                latest = &one;
            }
        }
        if (latest == nullptr) {
            break;
        }
        latest->start = latest->before->start;
    }
    for (const tail &one : tails) {
        one.sink->go_to(one.start);
    }
}

std::optional<log_line> log_reader::next() {
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
