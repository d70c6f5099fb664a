// Snooping databases written by hand.
#pragma once

#include "bridge_mdb.h"

#include <string>

namespace feed {

inline std::string mdb_text(const std::string &entries, const std::string &router = "{}") {
    return R"([{"mdb":[)" + entries + R"(],"router":)" + router + "}]";
}

inline mdb_table mdb_of(const std::string &entries, const std::set<std::string> &bridges = {}) {
    return parse_mdb({"mdb.json", mdb_text(entries)}, bridges);
}

} // namespace feed
