// What the switch has now, as `vellsim show` prints it.
#pragma once

#include "feed/json_rows.h"
#include "feed/plan.h"
#include "feed/state.h"

#include <functional>
#include <string>
#include <string_view>

namespace feed {

// Says what is left out: of two LTLs of the same VLAN and tag, which another client may have
// allocated, the one with the larger index.
using say_function = std::function<void(const std::string &)>;

// Runs vellsim and reads what it prints, row by row, however long it is. Throws input_error when it
// fails or prints something else, session_error when no switch answers.
state ask_installed(
    const table_choice &only, const say_function &say = [](const std::string &) {});

// Leaves the groups, flood sets and LTLs of those VLANs only.
void keep_vlans(state &installed, const std::set<std::uint16_t> &vlans);

// Adds what `vellsim show SHOWN --json` printed: flood, l2, ltl or routes. Throws input_error for
// anything but a whole table.
void read_installed(const json_input &from, std::string_view shown, const say_function &say,
                    state &into);

} // namespace feed
