// Differences and counts, as text and as JSON.
#pragma once

#include "feed/diff.h"
#include "feed/plan.h"
#include "sim/base/output.h"

#include <cstddef>
#include <ostream>
#include <string_view>

namespace feed {

struct difference_counts {
    std::size_t wanted = 0;
    std::size_t missing = 0;
    std::size_t unexpected = 0;
    std::size_t differing = 0;

    bool equal() const { return missing == 0 && unexpected == 0 && differing == 0; }
};

// Prints how the installed tables differ from the wanted ones, of the chosen tables, and a closing
// line for each: in text one line per field that differs, in JSON one object with a list for each table.
// Streams to `out` as it goes. Returns the counts of all tables together.
difference_counts print_differences(const state &installed, const state &wanted,
                                    const table_choice &only, sim::output_form form,
                                    std::ostream &out);

} // namespace feed
