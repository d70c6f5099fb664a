#include "comparison.h"

#include "sim/base/print.h"

namespace feed {

std::string closing_line(const comparison &result, const char *what) {
    if (result.equal())
        return fmt::format("all {} fed {} arrived", result.fed, what);
    return fmt::format("of {} fed {} {} arrived, {} differ, {} are missing; {} unexpected",
                       result.fed, what, result.fed - result.differing - result.missing,
                       result.differing, result.missing, result.unexpected);
}

void print_comparison(const comparison &result, const char *what, std::ostream &out) {
    for (const std::string &line : result.lines)
        fmt::print(out, "{}\n", line);
    fmt::print(out, "{}\n", closing_line(result, what));
}

} // namespace feed
