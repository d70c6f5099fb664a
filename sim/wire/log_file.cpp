#include "sim/wire/log_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace sim {

namespace {

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

// A full disk may have cut the last line. Its end is missing, but it must not take the next with it.
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
