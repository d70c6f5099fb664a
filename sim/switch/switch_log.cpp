#include "sim/switch/switch_log.h"

#include "sim/base/text.h"
#include "sim/wire/log_file.h"

#include <climits>
#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>
#include <utility>

namespace sim {

namespace {

constexpr std::uint64_t written_times = 3;

// Seldom enough for a peer that never stops, soon enough for a person who looks on.
bool is_counted_at(std::uint64_t times) {
    while (times % 10 == 0) {
        times /= 10;
    }
    return times == 1;
}

} // namespace

switch_log::switch_log(std::string run_directory, bool quiet)
    : run_directory_(std::move(run_directory)), quiet_(quiet) {}

void switch_log::write(std::uint32_t level, const std::string &text) {
    if (level != last_level_ || text != last_text_) {
        write_count();
        last_level_ = level;
        last_text_ = text;
        times_ = 0;
    }
    if (++times_ <= written_times) {
        put(level, text);
        return;
    }
    ++uncounted_;
    if (is_counted_at(times_)) {
        write_count();
    }
}

void switch_log::write_count() {
    if (uncounted_ > 0) {
        put(last_level_, fmt::format("{} more like the line before", std::exchange(uncounted_, 0)));
    }
}

void switch_log::put(std::uint32_t level, const std::string &text) {
    const std::string error =
        append_log_line(run_directory_, {.time = log_time_now(),
                                         .sink = "service",
                                         .pid = static_cast<std::uint32_t>(getpid()),
                                         .uuid = 0,
                                         .module = 0,
                                         .level = level,
                                         .text = text});
    // Said once per outage, even when quiet: lines are being lost.
    if (!error.empty() && !file_failed_) {
        print(error + ": lines are lost");
    }
    file_failed_ = !error.empty();
    if (!quiet_) {
        print(printable(text));
    }
}

void switch_log::print(const std::string &text) {
    std::string lines =
        unprinted_ == 0 ? ""
                        : fmt::format("vellsim: {} left out here\n", counted(unprinted_, "line"));
    lines += fmt::format("vellsim: {}\n", text);
    // A pipe that is said to take something takes this much without a wait.
    if (lines.size() > PIPE_BUF) {
        lines.resize(PIPE_BUF);
        lines.back() = '\n';
    }
    pollfd taker{STDERR_FILENO, POLLOUT, 0};
    const bool is_taken = poll(&taker, 1, 0) == 1 && (taker.revents & POLLOUT) != 0 &&
                          ::write(STDERR_FILENO, lines.data(), lines.size()) > 0;
    unprinted_ = is_taken ? 0 : unprinted_ + 1;
}

} // namespace sim
