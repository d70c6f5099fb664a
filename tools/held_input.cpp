#include "held_input.h"

#include <limits.h>
#include <unistd.h>

namespace feed {

namespace {

// The vellsim that was built or installed beside this program, else the one on the PATH.
std::string find_vellsim() {
    char self[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", self, sizeof self);
    if (length > 0) {
        std::string path(self, static_cast<std::size_t>(length));
        path.replace(path.rfind('/') + 1, std::string::npos, "vellsim");
        if (access(path.c_str(), X_OK) == 0)
            return path;
    }
    return "vellsim";
}

} // namespace

text_input read_held(const std::string &path, const std::string &table) {
    return path.empty() ? read_command({find_vellsim(), "show", table, "--json"}) : read_text(path);
}

} // namespace feed
