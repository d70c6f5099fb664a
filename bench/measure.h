// Times and instruction counts of operations.
#pragma once

#include "operation.h"

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

// Of one run of one version of an operation; 0 where there is none.
struct cost {
    double nanoseconds = 0;
    double instructions = 0;
};
struct costs {
    cost of[version_count];
};

// Registers both the library and the floors, so that what needs a client has one.
void register_clients();

// Whether all versions of an operation make the same calls with the same bytes.
bool versions_agree(const operation &op);

// Fills in the times: of each version the least of all rounds.
void measure_times(const operations &table, std::vector<costs> &results);

// Runs every version of every operation where callgrind counts it, one part of its output each.
void run_for_callgrind(const operations &table);

// Fills in the instructions, by running this program with `arguments` under callgrind. With these
// it must call run_for_callgrind for the same operations.
void count_instructions(const operations &table, const std::string &arguments,
                        std::vector<costs> &results);

} // namespace bench
