#include "sim/switch/switch_log.h"

#include "sim/base/text.h"
#include "sim/switch/console.h"
#include "sim/wire/log_line.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>
#include <utility>

namespace sim {

namespace {

int open_spare() {
    return open("/dev/null", O_RDONLY | O_CLOEXEC);
}

} // namespace

switch_log::switch_log(std::string run_directory, bool quiet)
    : run_directory_(std::move(run_directory)), quiet_(quiet), spare_(open_spare()) {}

bool switch_log::append(const log_line &line) {
    if (append_log_line(run_directory_, line)) {
        return true;
    }
    if (errno != EMFILE && errno != ENFILE) {
        return false;
    }
    spare_.reset();
    const bool written = append_log_line(run_directory_, line);
    const int error = errno;
    spare_.reset(open_spare());
    errno = error;
    return written;
}

void switch_log::write(std::uint32_t level, const std::string &text) {
    const log_line line{.time = log_time_now(),
                        .sink = "service",
                        .pid = static_cast<std::uint32_t>(getpid()),
                        .uuid = 0,
                        .module = 0,
                        .level = level,
                        .text = text};
    const bool written = append(line);
    // Said once per outage, even when quiet: lines are being lost.
    if (!written && !std::exchange(file_failed_, true)) {
        complain(fmt::format("{}/log/service: {}: lines are lost", run_directory_,
                             std::strerror(errno)));
    }
    if (written) {
        file_failed_ = false;
    }
    if (!quiet_) {
        complain(printable(text));
    }
}

} // namespace sim
