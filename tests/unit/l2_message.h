// Layer-2 messages for tests, written field by field as the caller makes them and as they go out.
#pragma once

#include "guarded_buffer.h"
#include "library_test.h"

#include <string_view>
#include <vector>

// Bytes that lie back to back, in hexadecimal digits. Without an `after` they go out as they are.
struct Field {
    std::string_view before;
    std::string_view after = {};
};
using Fields = std::vector<Field>;

Fields operator+(Fields first, const Fields &second);

bytes before(const Fields &fields);
bytes after(const Fields &fields);

// A registered client whose message reference is known to the platform.
class L2MessageTest : public LibraryTest {
protected:
    static constexpr ClientState acknowledged = {.id = 0xe7, .queue = 0x14131211, .uuid = 5};

    L2MessageTest();

    // The header's client id, reserved byte, count and value; the flags follow. `count` is in
    // network order.
    static Fields header(std::string_view count, const Field &flags = no_markers);
    // Asks for no marker in either order, so that a second call does not, either.
    static constexpr Field no_markers = {"5054", "5450"};

    // vell_send_l2_mc_update with the value of `header`.
    int update(std::uint8_t *message, std::size_t length, std::uint16_t count);

    fake::Send update_sent(const bytes &payload, std::uint32_t queue = acknowledged.queue) const;

    static fake::Calls traced(int line);

    // Sends the message from addresses of every alignment, hard against either guard, and holds
    // what was sent, what is left in the buffer and what was called against what should be.
    void expect_converted(const Fields &message, std::uint16_t count,
                          const fake::Calls &traces = {});

    kyt_msg_ref reference_ = {};
};
