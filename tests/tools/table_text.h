// Tables written by hand.
#pragma once

#include "mroute_table.h"

#include <string>

namespace feed {

inline mroute_table table_of(const std::string &text) {
    return parse_mroute_table({"table.json", text});
}

} // namespace feed
