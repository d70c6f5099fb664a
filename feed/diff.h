// From what is installed to what is wanted, row by row.
#pragma once

#include "feed/state.h"

#include <vector>

namespace feed {

// One row that differs. It points into the two tables that were compared.
template <typename Row>
struct change {
    const typename Row::key_type *key;
    const Row *before; // null: not installed
    const Row *after;  // null: not wanted
};

// In the order of the keys.
template <typename Row>
std::vector<change<Row>> diff(const table<Row> &installed, const table<Row> &wanted) {
    std::vector<change<Row>> changes;
    auto before = installed.begin();
    auto after = wanted.begin();
    while (before != installed.end() || after != wanted.end()) {
        if (after == wanted.end() || (before != installed.end() && before->first < after->first)) {
            changes.push_back({&before->first, &before->second, nullptr});
            ++before;
        } else if (before == installed.end() || after->first < before->first) {
            changes.push_back({&after->first, nullptr, &after->second});
            ++after;
        } else {
            if (!(before->second == after->second)) {
                changes.push_back({&after->first, &before->second, &after->second});
            }
            ++before;
            ++after;
        }
    }
    return changes;
}

// Makes the change in the table of what is installed.
template <typename Row>
void adopt(table<Row> &installed, const change<Row> &done) {
    if (done.after == nullptr) {
        installed.erase(typename Row::key_type(*done.key));
    } else {
        installed.insert_or_assign(*done.key, *done.after);
    }
}

} // namespace feed
