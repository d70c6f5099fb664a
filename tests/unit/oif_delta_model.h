// A plain model of the deltas, and random lists to hold the library against it.
#pragma once

#include "ltl_test.h"

#include <random>

// What the interface library says in a round.
struct Lookups {
    std::uint32_t mix = 0; // tells the interfaces that are no Ethernet ports; with 0 all are
    std::size_t failing =
        0; // the number of the lookup that fails, the first one's being 1; 0 is none
    bool fields_fail = false; // its fields cannot be had, when it has any; otherwise its type

    static constexpr std::uint32_t status = 0x62;

    bool ethernet(std::uint32_t if_index) const;

    // The fake platform's from now on.
    void apply() const;
};

// What a delta comes to: its bytes, the interfaces looked up in order, and the client log's texts.
struct Outcome {
    std::uint32_t result = 0;
    bytes delta = {};
    std::vector<std::uint32_t> looked_up = {};
    std::vector<std::string> texts = {};
};

// Of lists in order, and a delta of these bytes.
Outcome model_of(const Oifs &was, const Oifs &is, const bytes &delta, const Lookups &lookups);

// What the library looked up and logged since the last time.
Outcome take_outcome();

// The same interfaces as the others, in order.
void expect_sorted(const Oifs &sorted, Oifs oifs);

class RandomOifs {
public:
    explicit RandomOifs(unsigned seed) : random_(seed) {}

    std::uint32_t below(std::uint32_t bound);

    // At most `most` interfaces of `indexes` from `first` on, so many in a hundred SVIs.
    Oifs list(std::uint32_t most, std::uint32_t indexes, std::uint32_t svi_in_a_hundred,
              std::uint32_t first);

    // The failing lookup one of the first `failing_within` - 1, or none.
    Lookups lookups(std::uint32_t failing_within);

private:
    std::mt19937 random_;
};
