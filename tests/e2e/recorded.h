// What a recorded snapshot says the switch should have, read as plainly as can be and without a line of
// vellfeed's; and what the switch says that it has, in the same words.
#pragma once

#include <nlohmann/json.hpp>
#include <ostream>
#include <set>
#include <string>

// One text per row, with the name and the number of every interface in it.
struct plain_tables {
    std::set<std::string> routes;
    std::set<std::string> groups;
    std::set<std::string> floods;
    std::multiset<std::string> ltls; // without tags and indexes: several may be equal

    bool operator==(const plain_tables &) const = default;
    friend void PrintTo(const plain_tables &tables, std::ostream *out);
};

// `directory` has any of routes.json, links.json, mdb.json and ports.json.
plain_tables recorded_tables(const std::string &directory);

// What `vellsim show` prints as JSON of the tables `routes`, `l2`, `flood` and `ltl`.
plain_tables shown_tables(const nlohmann::json &routes, const nlohmann::json &l2,
                          const nlohmann::json &flood, const nlohmann::json &ltl);
