// The table of operations: each is one thing that a client does, in up to three versions.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace bench {

enum version { vell, floor_version, plain_version };
inline constexpr unsigned version_count = 3;
inline constexpr const char *version_names[version_count] = {"vell", "floor", "plain"};

// Runs a version of an operation this often and returns the sum of what its functions returned.
using runner = std::function<std::uint32_t(unsigned times)>;

struct operation {
    std::string name;
    std::uint32_t size = 0; // 0: it has none
    const char *unit = "";  // one of what the size counts
    runner run[version_count] = {};

    // What one run does several times; times and counts are divided by it.
    std::uint32_t repeats = 1;
    // How many runs there are between two calls of restore, which brings back what they changed.
    unsigned batch = 1000;
    std::function<void()> restore = {}; // may be none

    // The most that the library may cost, as a part of another version's cost; 0: nothing is asked.
    double target = 0;
    version target_of = plain_version;

    bool history_open = true;
    bool registered = true;
    bool guarded = false;  // its instructions are on record
    bool on_curve = false; // a size that only the plot needs
};

// The same call in each version. A pointer: to a function, or to a record of several.
template <typename Call>
struct versions {
    Call *calls[version_count];

    versions(Call *of_vell, std::type_identity_t<Call> *of_floor,
             std::type_identity_t<Call> *of_plain = nullptr)
        : calls{of_vell, of_floor, of_plain} {}
};

// Gives the operation its versions: `once(call, i)` makes the call for the i-th time in a batch.
template <typename Call, typename Once>
operation with(operation made, const versions<Call> &calls, Once once) {
    for (unsigned v = 0; v < version_count; ++v)
        if (Call *const call = calls.calls[v])
            made.run[v] = [call, once](unsigned times) {
                std::uint32_t results = 0;
                for (unsigned i = 0; i < times; ++i)
                    results += static_cast<std::uint32_t>(once(*call, i));
                return results;
            };
    return made;
}

using operations = std::vector<operation>;
void add_requests(operations &table);
void add_l2_messages(operations &table);
void add_flood_updates(operations &table);

// As it is named in the table and on record.
inline std::string label(const operation &op) {
    std::string text = op.name;
    if (op.size != 0)
        text += ", " + std::to_string(op.size) + " " + op.unit + (op.size == 1 ? "" : "s");
    return op.history_open ? text : text + ", history closed";
}

} // namespace bench
