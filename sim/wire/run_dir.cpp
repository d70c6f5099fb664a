#include "sim/wire/run_dir.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace sim {

namespace {

std::string environment(const char *name) {
    const char *value = std::getenv(name);
    return value == nullptr ? "" : value;
}

std::string mode_text(mode_t mode) {
    char text[16];
    std::snprintf(text, sizeof text, "%04o", mode & 07777u);
    return text;
}

std::string check_spelling(const std::string &path) {
    if (path.empty()) {
        return "the run directory's path is empty: name a directory";
    }
    // Its parent may have been reached through a link, which lstat would not show.
    if (path == ".." || path.ends_with("/..")) {
        return path + ": ends in \"..\": name the directory itself";
    }
    return {};
}

std::string check_own_directory(const std::string &path) {
    struct stat entry {};
    if (lstat(path.c_str(), &entry) != 0) {
        return path + ": " + std::strerror(errno);
    }
    if (S_ISLNK(entry.st_mode)) {
        return path + ": is a symbolic link";
    }
    if (!S_ISDIR(entry.st_mode)) {
        return path + ": is not a directory";
    }
    if (entry.st_uid != geteuid()) {
        return path + ": belongs to user " + std::to_string(entry.st_uid) + ", not to user " +
               std::to_string(geteuid());
    }
    if ((entry.st_mode & 077u) != 0) {
        return path + ": is open to other users (mode " + mode_text(entry.st_mode) +
               ", it must be 0700)";
    }
    return {};
}

std::string make_own_directory(const std::string &path) {
    if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) {
        return path + ": " + std::strerror(errno);
    }
    return check_own_directory(path);
}

} // namespace

std::string clean_path(std::string_view path) {
    std::string clean(path.substr(0, path.starts_with('/') ? 1 : 0));
    const bool is_empty = path.empty();
    while (!path.empty()) {
        const std::size_t end = std::min(path.find('/'), path.size());
        const std::string_view component = path.substr(0, end);
        path.remove_prefix(std::min(end + 1, path.size()));
        if (component.empty() || component == ".") {
            continue;
        }
        if (!clean.empty() && clean.back() != '/') {
            clean += '/';
        }
        clean += component;
    }
    return clean.empty() && !is_empty ? "." : clean;
}

std::string run_dir() {
    if (const std::string path = environment("VELLSIM_RUN_DIR"); !path.empty()) {
        return clean_path(path);
    }
    if (const std::string path = environment("XDG_RUNTIME_DIR"); path.starts_with('/')) {
        return clean_path(path + "/vellsim");
    }
    return "/tmp/vellsim-" + std::to_string(geteuid());
}

std::string prepare_run_dir(const std::string &path) {
    const std::string directory = clean_path(path);
    if (std::string reason = check_spelling(directory); !reason.empty()) {
        return reason;
    }
    if (std::string reason = make_own_directory(directory); !reason.empty()) {
        return reason;
    }
    return make_own_directory(directory + "/log");
}

std::string check_run_dir(const std::string &path) {
    const std::string directory = clean_path(path);
    const std::string reason = check_spelling(directory);
    return reason.empty() ? check_own_directory(directory) : reason;
}

} // namespace sim
