// What every test of the library starts from and ends with.
#pragma once

#include "client/client_state.h"
#include "expectations.h"
#include "fake/platform.h"

#include <vell.h>

#include <gtest/gtest.h>
#include <ostream>

// The library's state, to compare as a whole.
struct ClientState {
    unsigned id = 0;
    std::uint32_t queue = 0;
    std::uint32_t uuid = 384;

    bool operator==(const ClientState &) const = default;
};
std::ostream &operator<<(std::ostream &out, const ClientState &state);

ClientState client_state();
void set_client_state(const ClientState &state);

// Where the next TLV goes.
struct TlvCursor {
    std::uint32_t address = 0;
    std::uint32_t size = 0;

    bool operator==(const TlvCursor &) const = default;
};
std::ostream &operator<<(std::ostream &out, const TlvCursor &cursor);

TlvCursor tlv_cursor();
void set_tlv_cursor(const TlvCursor &cursor);

// The state of a library just loaded, but for the last LTL requests, and a platform that knows of
// no call.
void reset_library();

// Starts from the state of a library just loaded, and a platform that knows of no call. At the end
// every call must have been expected, and every reference of the library's own released.
class LibraryTest : public testing::Test {
protected:
    LibraryTest();
    void TearDown() override;

    // Of the logs only the client's takes messages then.
    static void close_log_gates();

    // The public way into each state; the platform knows of nothing afterwards.
    static void register_client(std::uint32_t queue, std::uint32_t uuid);
    static void acknowledge(std::uint8_t id);
    static void become_acknowledged(const ClientState &state);
};

// What a send may return that is no failure, with the other values that a careless comparison takes
// for one.
inline constexpr std::int32_t successful_results[] = {0,    1,     -2, 0x7fffffff, -0x7fffffff - 1,
                                                      0xff, 0xffff};
