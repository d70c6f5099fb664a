#include "sim/wire/log_file.h"

#include "sim/base/text.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <fmt/chrono.h>
#include <iterator>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace sim {

namespace {

bool is_printable(char byte) {
    return byte >= 0x20 && byte < 0x7f;
}

struct escape {
    char byte;
    std::string_view text;
};
constexpr escape escapes[] = {{'\\', "\\\\"}, {'\n', "\\n"}, {'\t', "\\t"}};

void append_escaped(std::string &to, char byte) {
    const auto found = std::ranges::find(escapes, byte, &escape::byte);
    if (found != std::end(escapes)) {
        to += found->text;
    } else if (is_printable(byte)) {
        to += byte;
    } else {
        to += fmt::format("\\x{:02x}", static_cast<unsigned char>(byte));
    }
}

// Of an escape sequence that formatting does not make, anything.
std::string unescape(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const auto found = std::ranges::find(escapes, text.substr(0, 2), &escape::text);
        std::size_t length = 1;
        char byte = text.front();
        if (found != std::end(escapes)) {
            length = 2;
            byte = found->byte;
        } else if (text.starts_with("\\x")) {
            const std::string_view digits = text.substr(2, 2);
            unsigned value = 0;
            std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
            length = 2 + digits.size();
            byte = static_cast<char>(value);
        }
        result += byte;
        text.remove_prefix(length);
    }
    return result;
}

constexpr std::string_view time_form = "0000-00-00T00:00:00.000000Z";

std::string failed(const std::string &path, int error) {
    return path + ": " + std::strerror(error);
}

// O_NONBLOCK, since a FIFO would wait for somebody at its other end.
opened_log open_regular(const std::string &path, int flags) {
    opened_log made;
    file_descriptor file = above_standard(
        file_descriptor(open(path.c_str(), flags | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600)));
    struct stat entry {};
    if (!file || fstat(file.get(), &entry) != 0) {
        made.is_missing = errno == ENOENT;
        made.error = errno == ELOOP ? path + ": is a symbolic link" : failed(path, errno);
    } else if (!S_ISREG(entry.st_mode)) {
        made.error = path + ": is not a regular file";
    } else {
        made.file = std::move(file);
        made.size = static_cast<std::uint64_t>(entry.st_size);
        made.inode = entry.st_ino;
    }
    return made;
}

opened_log open_to_append(const std::string &path) {
    return open_regular(path, O_RDWR | O_APPEND | O_CREAT);
}

// Without waiting for a process that holds the folder's lock, which may be stopped: one line too
// many does no harm.
void move_full_file(const std::string &run_directory, const std::string &path,
                    std::uint64_t inode) {
    const file_descriptor folder = above_standard(file_descriptor(
        open((run_directory + "/log").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
    if (!folder || flock(folder.get(), LOCK_EX | LOCK_NB) != 0) {
        return;
    }
    // Another process may have moved it meanwhile.
    struct stat entry {};
    if (lstat(path.c_str(), &entry) == 0 && entry.st_ino == inode) {
        std::rename(path.c_str(), (path + ".older").c_str());
    }
}

// A full disk may have cut the last line. Its end is missing, but it must not take the next with
// it. Another process may also be writing it: then the line feed makes an empty line, which readers
// skip.
bool ends_within_a_line(const opened_log &log) {
    char last = '\n';
    return log.size > 0 && pread(log.file.get(), &last, 1, static_cast<off_t>(log.size - 1)) == 1 &&
           last != '\n';
}

// Returns the errno of a failure.
int write_whole(int fd, const std::string &text) {
    ssize_t written = 0;
    do {
        written = write(fd, text.data(), text.size());
    } while (written < 0 && errno == EINTR);
    if (written < 0) {
        return errno;
    }
    // A line that is cut short has no error of its own.
    return written == static_cast<ssize_t>(text.size()) ? 0 : ENOSPC;
}

bool remove_file(const std::string &path) {
    return unlink(path.c_str()) == 0 || errno == ENOENT;
}

} // namespace

bool is_start_of_log_time(std::string_view text) {
    return text.size() <= time_form.size() &&
           std::equal(text.begin(), text.end(), time_form.begin(), [](char byte, char want) {
               return want == '0' ? byte >= '0' && byte <= '9' : want == byte;
           });
}

bool is_log_sink(std::string_view name) {
    return std::ranges::find(log_sinks, name) != std::end(log_sinks);
}

std::string format_log_line(const log_line &line) {
    std::string result = fmt::format("{} {} {} {} {:#x} {} ", line.time, line.sink, line.pid,
                                     line.uuid, line.module, line.level);
    for (const char byte : line.text) {
        append_escaped(result, byte);
    }
    return result;
}

std::optional<log_line> parse_log_line(std::string_view text) {
    std::string_view rest = text;
    log_line line;
    line.time = take_until(rest, " ");
    line.sink = take_until(rest, " ");
    for (std::uint32_t *number : {&line.pid, &line.uuid, &line.module, &line.level}) {
        *number = static_cast<std::uint32_t>(parse_number(take_until(rest, " ")).value_or(0));
    }
    line.text = unescape(rest);
    const bool is_line = line.time.size() == time_form.size() && is_start_of_log_time(line.time) &&
                         is_log_sink(line.sink) && format_log_line(line) == text;
    return is_line ? std::optional(std::move(line)) : std::nullopt;
}

std::string log_time_ago(std::uint32_t seconds) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:06}Z", fmt::gmtime(now.tv_sec - seconds),
                       now.tv_nsec / 1000);
}

std::string log_path(const std::string &run_directory, std::string_view sink,
                     std::string_view suffix) {
    return (run_directory + "/log/").append(sink).append(suffix);
}

opened_log open_log(const std::string &path) {
    return open_regular(path, O_RDONLY);
}

std::string append_log_line(const std::string &run_directory, const log_line &line) {
    // The sink becomes a file name.
    if (!is_log_sink(line.sink)) {
        return line.sink + ": is not a log sink";
    }
    const std::string path = log_path(run_directory, line.sink);
    std::string text = format_log_line(line) + "\n";
    opened_log log = open_to_append(path);
    if (log.file && log.size > 0 && log.size + text.size() > log_file_limit) {
        move_full_file(run_directory, path, log.inode);
        log = open_to_append(path);
    }
    if (!log.file) {
        return log.error;
    }
    if (ends_within_a_line(log)) {
        text.insert(0, "\n");
    }
    const int error = write_whole(log.file.get(), text);
    return error == 0 ? std::string() : failed(path, error);
}

std::string start_logs(const std::string &run_directory) {
    for (const std::string_view sink : log_sinks) {
        const std::string path = log_path(run_directory, sink);
        const std::string previous = log_path(run_directory, sink, ".previous");
        const bool moved = remove_file(path + ".older") && remove_file(previous) &&
                           (std::rename(path.c_str(), previous.c_str()) == 0 || errno == ENOENT);
        if (!moved) {
            return failed(path, errno);
        }
    }
    return {};
}

} // namespace sim
