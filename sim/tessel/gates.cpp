// The gates: which levels the history takes and the console prints. They are read at each call, so
// that a debugger or a test can change them while the process runs:
//
//   TESSEL_HISTORY   all (the default), error or off
//   TESSEL_CONSOLE   all, error or off (the default)
#include "sim/base/c_boundary.h"

#include <tessel.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr uint32_t level_error = 102;

enum class setting { all, error, off };

struct gate {
    const char *variable;
    setting preset;
    bool complained;
};

struct word {
    const char *text;
    setting meaning;
};

constexpr word words[] = {{"all", setting::all}, {"error", setting::error}, {"off", setting::off}};

const char *text_of(setting wanted) {
    for (const word &candidate : words)
        if (candidate.meaning == wanted)
            return candidate.text;
    return "";
}

void complain_once(gate &which, const char *value) {
    if (which.complained)
        return;
    which.complained = true;
    std::fprintf(stderr,
                 "libtessel: %s is \"%s\", which is none of all, error and off; taken as %s\n",
                 which.variable, value, text_of(which.preset));
}

setting read(gate &which) {
    const char *value = std::getenv(which.variable);
    if (value == nullptr || *value == '\0')
        return which.preset;
    for (const word &candidate : words)
        if (std::strcmp(value, candidate.text) == 0)
            return candidate.meaning;
    complain_once(which, value);
    return which.preset;
}

bool lets_through(gate &which, uint32_t level) {
    const sim::errno_keeper keeper;
    const setting now = read(which);
    return now == setting::all || (now == setting::error && level == level_error);
}

gate history = {"TESSEL_HISTORY", setting::all, false};
gate console = {"TESSEL_CONSOLE", setting::off, false};

} // namespace

uint32_t tessel_hist_event_subtype_check(uint32_t, uint32_t level) {
    return lets_through(history, level) ? 0 : 1;
}

uint32_t tessel_chk_int(uint32_t level, uint32_t, uint32_t, uint32_t) {
    return lets_through(console, level) ? 1 : 0;
}
