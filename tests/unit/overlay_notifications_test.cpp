// The overlay's messages that the caller has built, which need a queue of the caller's and no
// registration.
#include "guarded_buffer.h"
#include "overlay_notifications.h"

#include <algorithm>
#include <iterator>

namespace {

using fake::platform;

// Lengths that a header says and that have to be believed.
struct Length {
    const char *field;
    std::size_t size;
};
constexpr Length lengths_of_a_head[] = {
    {"0000", 0}, {"0100", 1}, {"0200", 2}, {"0300", 3}, {"0400", 4}};
constexpr Length short_lengths[] = {{"0600", 6}, {"0000", 0}, {"0100", 1}, {"0400", 4}};

// Where a message of no more than its head may lie: nothing of what is around it may be read or
// written.
struct Place {
    GuardedBuffer::Side side;
    std::size_t distance;
};
constexpr Place places[] = {{GuardedBuffer::Side::back, 0},
                            {GuardedBuffer::Side::back, 1},
                            {GuardedBuffer::Side::front, 0},
                            {GuardedBuffer::Side::front, 3}};

// A message in the middle of other bytes, with type 9 and the length at offset 2.
class OverlayMessageTest : public LibraryTest {
protected:
    OverlayMessageTest() { platform().callers_reference = &reference_; }

    static constexpr std::size_t margin = 4;
    static constexpr std::size_t length = 11;

    void place(std::size_t offset, const char *length_field = "0b00") {
        at_ = margin + offset;
        before_ = patched(pattern(32), at_, hex("0900") + hex(length_field));
        buffer_ = before_;
    }

    void place_longest() {
        at_ = 0;
        before_ = patched(pattern(0xffff), 0, hex("0900 ffff"));
        buffer_ = before_;
    }

    void *message() { return buffer_.data() + at_; }
    bytes sent_bytes(const bytes &raw, std::size_t size = length) const {
        return part(raw, at_, size);
    }

    std::size_t at_ = 0;
    bytes before_;
    bytes buffer_;
    kyt_msg_ref reference_ = {};
};

class VlansDisableTest : public OverlayMessageTest {
protected:
    VlansDisableTest() { place(0); }

    int send() { return vell_send_zeb_vlans_disable(queue, message()); }

    // All bytes with type 2 written.
    bytes written() const { return patched(before_, at_, {2, 0}); }

    fake::Send disable_sent(std::size_t size = length) const {
        return sent({.queue = queue,
                     .sap = 213,
                     .opcode = 75820,
                     .option_word1 = 1,
                     .payload = sent_bytes(written(), size)});
    }
};

TEST_F(VlansDisableTest, SendsTheExpectedBytes) {
    std::uint8_t message[] = {0x09, 0xf9, 0x07, 0x00, 0xa5, 0xa6, 0xa7, 0xa8};
    EXPECT_EQ(vell_send_zeb_vlans_disable(queue, message), 1);
    EXPECT_CALLS(sent({.queue = queue,
                       .sap = 213,
                       .opcode = 75820,
                       .option_word1 = 1,
                       .payload = hex("0200 0700 a5a6a7")}),
                 released(queue));
    EXPECT_EQ(bytes(std::begin(message), std::end(message)), hex("0200 0700 a5a6a7a8"));
    EXPECT_EQ(platform().payload_address, message);
}

TEST_F(VlansDisableTest, WritesType2AndSendsAsMuchAsTheHeaderSaysFromAnyAddress) {
    for (const std::size_t offset : {0U, 1U, 2U, 3U}) {
        SCOPED_TRACE(offset);
        fake::reset_platform();
        place(offset);
        EXPECT_EQ(send(), 1);
        EXPECT_CALLS(disable_sent(), released(queue));
        EXPECT_EQ(buffer_, written());
    }
}

TEST_F(VlansDisableTest, BelievesALengthShorterThanItsHeaderOr0) {
    for (const auto &row : short_lengths) {
        SCOPED_TRACE(row.size);
        fake::reset_platform();
        place(1, row.field);
        EXPECT_EQ(send(), 1);
        EXPECT_CALLS(disable_sent(row.size), released(queue));
        EXPECT_EQ(buffer_, written());
    }
}

TEST_F(VlansDisableTest, SendsTheLongestMessage) {
    place_longest();
    EXPECT_EQ(send(), 1);
    EXPECT_CALLS(disable_sent(0xffff), released(queue));
    EXPECT_EQ(buffer_, written());
}

TEST_F(VlansDisableTest, TouchesAndSendsNothingBeyondAHeadAlone) {
    for (const auto &[field, size] : lengths_of_a_head) {
        for (const auto &[side, distance] : places) {
            SCOPED_TRACE(testing::Message() << size << " bytes, distance " << distance);
            fake::reset_platform();
            GuardedBuffer buffer(hex("09f9") + hex(field), side, distance);
            EXPECT_EQ(vell_send_zeb_vlans_disable(queue, buffer.data()), 1);
            const auto expected = hex("0200") + hex(field);
            EXPECT_CALLS(sent({.queue = queue,
                               .sap = 213,
                               .opcode = 75820,
                               .option_word1 = 1,
                               .payload = part(expected, 0, size)}),
                         released(queue));
            EXPECT_EQ(buffer.content(), expected);
            EXPECT_TRUE(buffer.surroundings_untouched());
        }
    }
}

TEST_F(VlansDisableTest, HasWrittenTheTypeWhenItSends) {
    std::uint32_t type_at_send = 0;
    platform().kyt_send.runs([&] { type_at_send = buffer_[at_]; });
    EXPECT_EQ(send(), 1);
    EXPECT_EQ(type_at_send, 2U);
    EXPECT_CALLS(disable_sent(), released(queue));
}

TEST_F(VlansDisableTest, ReportsAFailedSendWithError370UnderTheClientsUuidAndLeavesTheType) {
    platform().kyt_send.returns(-1);
    for (const auto &state : states) {
        SCOPED_TRACE(state);
        place(0);
        set_client_state(state);
        EXPECT_EQ(send(), 0);
        EXPECT_CALLS(disable_sent(), logged(error_of("vell_send_zeb_vlans_disable", 370,
                                                     "KYT send failed\n", state.uuid)));
        EXPECT_EQ(buffer_, written());
        EXPECT_EQ(client_state(), state);
    }
}

TEST_F(VlansDisableTest, WithTheGatesClosedReportsAFailedSendToTheClientLogAlone) {
    platform().kyt_send.returns(-1);
    close_log_gates();
    EXPECT_EQ(send(), 0);
    EXPECT_CALLS(disable_sent(), logged_to_client_alone(error_of("vell_send_zeb_vlans_disable", 370,
                                                                 "KYT send failed\n")));
}

TEST_F(VlansDisableTest, NeedsNoClientAndLeavesItsState) {
    for (const auto &state : states) {
        SCOPED_TRACE(state);
        fake::reset_platform();
        set_client_state(state);
        EXPECT_EQ(send(), 1);
        EXPECT_CALLS(disable_sent(), released(queue));
        EXPECT_EQ(client_state(), state);
    }
}

TEST_F(VlansDisableTest, TakesEveryResultButMinus1ForSuccess) {
    for (const auto result : successful_results) {
        SCOPED_TRACE(result);
        fake::reset_platform();
        platform().kyt_send.returns(result);
        EXPECT_EQ(send(), 1);
        EXPECT_CALLS(disable_sent(), released(queue));
    }
}

TEST_F(VlansDisableTest, WithoutAQueueOrABufferIsSilentAndTouchesNothing) {
    for (const auto &state : states) {
        SCOPED_TRACE(state);
        set_client_state(state);
        EXPECT_EQ(vell_send_zeb_vlans_disable(0, message()), 0);
        EXPECT_EQ(vell_send_zeb_vlans_disable(queue, nullptr), 0);
        EXPECT_EQ(vell_send_zeb_vlans_disable(0, nullptr), 0);
        EXPECT_NO_CALLS();
        EXPECT_EQ(buffer_, before_);
        EXPECT_EQ(client_state(), state);
    }
}

class OverlayRouteTest : public OverlayMessageTest {
protected:
    OverlayRouteTest() { place(0); }

    int send() { return vell_send_zeb_route_update(queue, message(), &reference_); }

    fake::Send update_sent(std::size_t size = length) const {
        return sent({.queue = queue,
                     .sap = 213,
                     .opcode = 75818,
                     .option_word1 = 1,
                     .payload = sent_bytes(before_, size),
                     .reference = fake::Reference::callers});
    }

    bool reference_is_untouched() const {
        return std::all_of(std::begin(reference_.opaque), std::end(reference_.opaque),
                           [](std::uint8_t byte) { return byte == 0; });
    }
};

TEST_F(OverlayRouteTest, SendsTheExpectedBytes) {
    const std::uint8_t message[] = {0x09, 0xf9, 0x07, 0x00, 0xa5, 0xa6, 0xa7, 0xa8};
    EXPECT_EQ(vell_send_zeb_route_update(queue, message, &reference_), 1);
    auto expected = update_sent();
    expected.payload = hex("09f9 0700 a5a6a7");
    EXPECT_CALLS(expected);
    EXPECT_EQ(platform().payload_address, message);
}

TEST_F(OverlayRouteTest, WritesNothingAndSendsAsMuchAsTheHeaderSaysFromAnyAddress) {
    for (const std::size_t offset : {0U, 1U, 2U, 3U}) {
        SCOPED_TRACE(offset);
        place(offset);
        EXPECT_EQ(send(), 1);
        EXPECT_CALLS(update_sent());
        EXPECT_EQ(buffer_, before_);
    }
}

TEST_F(OverlayRouteTest, BelievesALengthShorterThanItsHeaderOr0) {
    for (const auto &row : short_lengths) {
        SCOPED_TRACE(row.size);
        place(1, row.field);
        EXPECT_EQ(send(), 1);
        EXPECT_CALLS(update_sent(row.size));
        EXPECT_EQ(buffer_, before_);
    }
}

TEST_F(OverlayRouteTest, SendsTheLongestMessage) {
    place_longest();
    EXPECT_EQ(send(), 1);
    EXPECT_CALLS(update_sent(0xffff));
    EXPECT_EQ(buffer_, before_);
}

TEST_F(OverlayRouteTest, ReadsNothingBeyondAHeadAloneAndWritesNothing) {
    for (const auto &[field, size] : lengths_of_a_head) {
        for (const auto &[side, distance] : places) {
            SCOPED_TRACE(testing::Message() << size << " bytes, distance " << distance);
            const auto message = hex("09f9") + hex(field);
            GuardedBuffer buffer(message, side, distance);
            buffer.make_read_only();
            EXPECT_EQ(vell_send_zeb_route_update(queue, buffer.data(), &reference_), 1);
            auto expected = update_sent();
            expected.payload = part(message, 0, size);
            EXPECT_CALLS(expected);
            EXPECT_EQ(platform().payload_address, buffer.data());
        }
    }
}

TEST_F(OverlayRouteTest, LeavesTheReferenceOfASentMessageToTheCaller) {
    EXPECT_EQ(send(), 1);
    EXPECT_CALLS(update_sent());
    ASSERT_EQ(platform().sent.size(), 1U);
    EXPECT_FALSE(platform().sent[0].released);
    kyt_drop(queue, &reference_);
    EXPECT_CALLS(fake::Drop{.queue = queue, .reference = fake::Reference::callers, .send = 1});
    EXPECT_TRUE(platform().sent[0].released);
}

TEST_F(OverlayRouteTest, ReportsAFailedSendWithError281AndLeavesTheReferenceAlone) {
    platform().kyt_send.returns(-1);
    for (const auto &state : states) {
        set_client_state(state);
        EXPECT_EQ(send(), 0);
        EXPECT_CALLS(update_sent(), logged(error_of("vell_send_zeb_route_update", 281,
                                                    "KYT send failed\n", state.uuid)));
        EXPECT_EQ(client_state(), state);
    }
    EXPECT_EQ(buffer_, before_);
    EXPECT_TRUE(reference_is_untouched());
}

TEST_F(OverlayRouteTest, WithTheGatesClosedReportsAFailedSendToTheClientLogAlone) {
    platform().kyt_send.returns(-1);
    close_log_gates();
    EXPECT_EQ(send(), 0);
    EXPECT_CALLS(update_sent(), logged_to_client_alone(error_of("vell_send_zeb_route_update", 281,
                                                                "KYT send failed\n")));
}

TEST_F(OverlayRouteTest, NeedsNoClientAndLeavesItsState) {
    for (const auto &state : states) {
        SCOPED_TRACE(state);
        set_client_state(state);
        EXPECT_EQ(send(), 1);
        EXPECT_CALLS(update_sent());
        EXPECT_EQ(client_state(), state);
    }
}

TEST_F(OverlayRouteTest, TakesEveryResultButMinus1ForSuccess) {
    for (const auto result : successful_results) {
        SCOPED_TRACE(result);
        platform().kyt_send.returns(result);
        EXPECT_EQ(send(), 1);
        EXPECT_CALLS(update_sent());
    }
}

// Whichever are missing, the pointers behind the first missing one are not followed.
TEST_F(OverlayRouteTest, WithoutAQueueABufferOrAReplyIsSilentAndSendsNothing) {
    for (const auto &state : states) {
        SCOPED_TRACE(state);
        set_client_state(state);
        EXPECT_EQ(vell_send_zeb_route_update(0, message(), &reference_), 0);
        EXPECT_EQ(vell_send_zeb_route_update(queue, nullptr, &reference_), 0);
        EXPECT_EQ(vell_send_zeb_route_update(queue, message(), nullptr), 0);
        EXPECT_EQ(vell_send_zeb_route_update(queue, nullptr, nullptr), 0);
        EXPECT_EQ(vell_send_zeb_route_update(0, nullptr, nullptr), 0);
        EXPECT_NO_CALLS();
        EXPECT_EQ(client_state(), state);
    }
    EXPECT_EQ(buffer_, before_);
    EXPECT_TRUE(reference_is_untouched());
}

} // namespace
