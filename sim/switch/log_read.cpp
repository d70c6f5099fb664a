#include "sim/switch/log_read.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <fstream>
#include <sys/stat.h>

namespace sim {

namespace {

void read_file(const std::string &path, log_contents &contents) {
    std::ifstream file(path);
    if (!file) {
        // A sink that nothing was written to has no file.
        if (errno != ENOENT) {
            contents.complaints.push_back(fmt::format("{}: {}", path, std::strerror(errno)));
        }
        return;
    }
    std::string text;
    for (std::size_t number = 1; std::getline(file, text); ++number) {
        if (std::optional<log_line> line = parse_log_line(text)) {
            contents.lines.push_back(std::move(*line));
        } else {
            contents.complaints.push_back(
                fmt::format("{}: line {} is no log line, left out", path, number));
        }
    }
}

} // namespace

log_contents read_log_files(const std::string &run_directory, const std::string &sink) {
    log_contents contents;
    const std::string folder = run_directory + "/log";
    struct stat entry {};
    if (stat(folder.c_str(), &entry) != 0) {
        contents.error = fmt::format("{}: {}", folder, std::strerror(errno));
        return contents;
    }
    for (const char *name : {"history", "client", "service"}) {
        if (sink.empty() || sink == name) {
            read_file(folder + "/" + name, contents);
        }
    }
    std::ranges::stable_sort(contents.lines, {}, &log_line::time);
    return contents;
}

} // namespace sim
