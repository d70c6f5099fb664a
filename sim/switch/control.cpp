// What `vellsim fault` and `vellsim stop` ask.
#include "sim/switch/answer.h"
#include "sim/switch/question.h"
#include "sim/switch/service.h"

#include <fmt/format.h>

namespace sim {

answer change_faults(service &vell, const question &asked) {
    fault_modes changed = asked.truth("clear") ? fault_modes{} : vell.faults;
    const std::string wanted = asked.text("modes").value_or("");
    if (const std::string error = set_faults(changed, wanted); !error.empty()) {
        throw wrong_question{error};
    }
    vell.faults = changed;
    const std::string modes = fault_text(changed);
    if (asked.truth("clear") || !wanted.empty()) {
        log_faults(vell);
    }
    answer made(asked);
    made.once([modes](output &out, row_count &) {
        out.json("modes", modes);
        out.text("fault modes: {}\n", modes.empty() ? "none" : modes);
    });
    return made;
}

answer stop_switch(service &vell, const question &asked) {
    vell.is_stopped = true;
    return answer(asked);
}

} // namespace sim
