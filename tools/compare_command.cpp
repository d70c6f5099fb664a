#include "commands.h"
#include "compare_routes.h"
#include "held_routes.h"
#include "text_input.h"

#include <fmt/ostream.h>
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

int compare_command::run(std::ostream &out) const {
    table.check(held_path);
    const route_plan plan = load_plan(table, false, out);
    const text_input held =
        held_path.empty() ? read_command({find_vellsim(), "show", "routes", "--json"}) : read_text(held_path);
    const comparison result = compare_routes(plan.routes, parse_held_routes(held));
    if (!table.quiet) {
        for (const std::string &line : result.lines)
            fmt::print(out, "{}\n", line);
        fmt::print(out, "{}\n", closing_line(result));
    }
    return result.equal() ? 0 : 1;
}

} // namespace feed
