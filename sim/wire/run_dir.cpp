#include "sim/wire/run_dir.h"

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

// lstat would follow a symbolic link that is written with a slash behind it.
std::string without_trailing_slashes(std::string path) {
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

std::string mode_text(mode_t mode) {
    char text[16];
    std::snprintf(text, sizeof text, "%04o", mode & 07777u);
    return text;
}

std::string check_own_directory(const std::string &path) {
    struct stat entry {};
    if (lstat(path.c_str(), &entry) != 0)
        return path + ": " + std::strerror(errno);
    if (S_ISLNK(entry.st_mode))
        return path + ": is a symbolic link";
    if (!S_ISDIR(entry.st_mode))
        return path + ": is not a directory";
    if (entry.st_uid != geteuid())
        return path + ": belongs to user " + std::to_string(entry.st_uid) + ", not to user " +
               std::to_string(geteuid());
    if ((entry.st_mode & 077u) != 0)
        return path + ": is open to other users (mode " + mode_text(entry.st_mode) +
               ", it must be 0700)";
    return {};
}

std::string make_own_directory(const std::string &path) {
    if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST)
        return path + ": " + std::strerror(errno);
    return check_own_directory(path);
}

} // namespace

std::string run_dir() {
    if (const std::string path = environment("VELLSIM_RUN_DIR"); !path.empty())
        return without_trailing_slashes(path);
    if (const std::string path = environment("XDG_RUNTIME_DIR"); path.starts_with('/'))
        return without_trailing_slashes(path) + "/vellsim";
    return "/tmp/vellsim-" + std::to_string(geteuid());
}

std::string prepare_run_dir(const std::string &path) {
    const std::string directory = without_trailing_slashes(path);
    if (std::string reason = make_own_directory(directory); !reason.empty())
        return reason;
    return make_own_directory(directory + "/log");
}

std::string check_run_dir(const std::string &path) {
    return check_own_directory(without_trailing_slashes(path));
}

} // namespace sim
