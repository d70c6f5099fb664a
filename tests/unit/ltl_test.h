// What the tests of the LTL manager's operations share: the client, its allocations, and messages
// with values.
#pragma once

#include "library_allocations.h"
#include "library_test.h"

#include <string>
#include <vector>

// An outgoing interface as a caller describes it.
struct Oif {
    std::uint32_t if_index = 0;
    bool svi = false;

    bool operator==(const Oif &) const = default;
};
using Oifs = std::vector<Oif>;

// Its 32 bytes. Those that are not looked at are different for every interface.
bytes bytes_of(const Oif &oif);
bytes bytes_of(const Oifs &oifs);

// An update of a flood set, as the LTL manager is sent it.
struct Update {
    std::uint32_t if_index = 0;
    std::uint32_t operation = 0;

    bool operator==(const Update &) const = default;
};
using Updates = std::vector<Update>;

bytes bytes_of(const Updates &updates);

// A client with a queue. At the end everything that the library allocated must have been released,
// once.
class LtlTest : public LibraryTest {
protected:
    static constexpr ClientState client = {.id = 9, .queue = 0x14131211, .uuid = 5};

    LtlTest();
    void TearDown() override;

    // All calls of a message with values: its body in the format, and as it comes out.
    static fake::Calls error_logged(const std::string &function, int line,
                                    const std::string &format, const std::string &text);
    static fake::Calls trace_logged(const std::string &function, int line,
                                    const std::string &format, const std::string &text);

    // The calls to find a physical Ethernet port's line card.
    static fake::Calls looked_up(std::uint32_t if_index);

    // The traces of a delta that was computed.
    static fake::Calls delta_traced(const std::string &bitmask, const Updates &updates);

    LibraryAllocations allocations_;
};

// Statuses that are no success, those among them that a careless comparison takes for one.
inline constexpr std::uint32_t failures[] = {1,          7,          0x100,     0x10000,
                                             0x7fffffff, 0x80000000, 0xffffffff};

// How a number comes out of "%d".
std::string signed_text(std::uint32_t number);

// How a number comes out of "0x%x".
std::string hex_text(std::uint32_t number);
