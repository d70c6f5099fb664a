#include "sim/switch/switch_log.h"

#include "sim/base/text.h"
#include "sim/switch/console.h"
#include "sim/wire/log_file.h"

#include <fcntl.h>
#include <fmt/format.h>
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

file_descriptor open_spare() {
    return file_descriptor(open("/dev/null", O_RDONLY | O_CLOEXEC));
}

} // namespace

switch_log::switch_log(std::string run_directory, bool quiet)
    : run_directory_(std::move(run_directory)), quiet_(quiet), spare_(open_spare()) {}

std::string switch_log::append(const log_line &line) {
    if (append_log_line(run_directory_, line).empty()) {
        return {};
    }
    spare_.reset();
    std::string error = append_log_line(run_directory_, line);
    spare_ = open_spare();
    return error;
}

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
    const std::string error = append({.time = log_time_now(),
                                      .sink = "service",
                                      .pid = static_cast<std::uint32_t>(getpid()),
                                      .uuid = 0,
                                      .module = 0,
                                      .level = level,
                                      .text = text});
    // Said once per outage, even when quiet: lines are being lost.
    if (!error.empty() && !file_failed_) {
        complain(error + ": lines are lost");
    }
    file_failed_ = !error.empty();
    if (!quiet_) {
        complain(printable(text));
    }
}

} // namespace sim
