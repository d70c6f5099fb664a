#include "sim/base/c_boundary.h"

#include <tessel.h>

#include <cstdarg>
#include <cstdio>
#include <string>

// Room for a process to write its own name into.
char tessel_dbg_modname[32] = "vell";

namespace {

// The text, or an empty string when it cannot be formatted.
std::string formatted(const char *format, va_list values) {
    va_list again;
    va_copy(again, values);
    const int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    if (length < 0)
        return {};
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, values);
    text.pop_back();
    return text;
}

void print_line(const void *modname, const char *format, va_list values) {
    std::string line = static_cast<const char *>(modname == nullptr ? tessel_dbg_modname : modname);
    line += ": ";
    line += formatted(format, values);
    if (line.back() != '\n')
        line += '\n';
    // In one piece, so that the lines of several processes on one terminal do not mix.
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
}

} // namespace

void debug_print(uint32_t, void *modname, uint32_t, const char *format, ...) {
    const sim::errno_keeper keeper;
    va_list values;
    va_start(values, format);
    sim::guarded(0, [&] {
        print_line(modname, format, values);
        return 0;
    });
    va_end(values);
}
