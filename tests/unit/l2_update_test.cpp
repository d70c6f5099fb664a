// Sending a layer-2 message: its header, the markers around it, and what is left when it cannot be
// sent.
#include "l2_message.h"

#include <algorithm>
#include <iterator>

namespace {

using fake::platform;

// A header by its flags, as they lie in the buffer and as they go out.
constexpr Field begin_marker = {"0100", "0001"};
constexpr Field end_marker = {"0200", "0002"};
constexpr Field both_markers = {"0300", "0003"};

// A record of type 18 without entries, and one of type 21 without entries and with MAC addresses.
const Fields lookup_mode = {{"12"},
                            {"01020304050607"},
                            {"c1c2c3c4", "50000000"},
                            {"11121314", "14131211"},
                            {"00000000"},
                            {"15161718191a1b1c1d1e1f202122232425262728292a2b2c2d2e2f30313233343536"
                             "3738393a3b3c3d3e3f404142434445464748494a4b4c4d4e4f50"}};
const Fields mbd_entry = {{"15"},
                          {"08090a0b0c0d0e"},
                          {"c1c2c3c4", "50000000"},
                          {"11121314", "14131211"},
                          {"15161718", "18171615"},
                          {"191a1b1c", "1c1b1a19"},
                          {"1d1e1f20", "201f1e1d"},
                          {"21222324", "24232221"},
                          {"2526", "2625"},
                          {"02000000", "00000002"},
                          {"5152535455565758595a5b5c5d5e5f60"},
                          {"02000000", "00000002"},
                          {"6162636465666768696a6b6c6d6e6f70"},
                          {"00000000"},
                          {"f1f2"}};

class L2UpdateTest : public L2MessageTest {
protected:
    static fake::Send marker_sent(std::uint8_t marker, std::uint32_t queue = acknowledged.queue) {
        return sent({.queue = queue,
                     .sap = 213,
                     .opcode = 75804,
                     .option_word1 = 0,
                     .payload = {marker, 0, 0, 0}});
    }

    static fake::Calls marker_failed() {
        return logged(error_of("vell_send_igmp_oob_notification", 609,
                               "KYT send fail for KYT_OPC_VELL_IGMP_OOB_MSG\n", acknowledged.uuid));
    }

    static fake::Calls refused(std::uint32_t uuid) {
        return logged(error_of("vell_send_l2_mc_update", 422, "Client not registered\n", uuid));
    }

    // Sends a header with these flags and no record, from a buffer that is kept.
    int send(const Field &flags) {
        message_ = header("0000", flags);
        buffer_ = before(message_);
        return update(buffer_.data(), buffer_.size(), 0);
    }

    fake::Send message_sent() const { return update_sent(after(message_)); }

    bool reference_is_untouched() const {
        return std::all_of(std::begin(reference_.opaque), std::end(reference_.opaque),
                           [](std::uint8_t byte) { return byte == 0; });
    }

    Fields message_;
    bytes buffer_;
};

TEST_F(L2UpdateTest, WithoutRecordsConvertsAndSendsTheHeaderAlone) {
    expect_converted(header("0000"), 0);
    expect_converted(
        header("0000") + Fields{{"12"}, {"01020304050607"}, {"c1c2c3c4"}, {"11121314"}}, 0);
}

TEST_F(L2UpdateTest, SendsTheExpectedBytes) {
    std::uint8_t message[] = {0xb1, 0xb2, 0xb3, 0xb4, 0xb5, 0xb6, 0xf4, 0xb8};
    EXPECT_EQ(update(message, 8, 0), 1);
    EXPECT_CALLS(update_sent(hex("e7b2 0000 6261 b8f4")));
    EXPECT_EQ(bytes(std::begin(message), std::end(message)), hex("e7b2 0000 6261 b8f4"));
}

TEST_F(L2UpdateTest, WritesCountAndValueInNetworkOrder) {
    const auto start = before(header("0000") + Fields{{"10"}, {"01020304050607"}, {"c1c2c3c4"}});
    auto buffer = start;
    EXPECT_EQ(vell_send_l2_mc_update(buffer.data(), buffer.size(), 0x7172, 0xfffe,
                                     reinterpret_cast<std::uintptr_t>(&reference_)),
              1);
    const auto expected = hex("e7b2 7172 fffe 5450 10 01020304050607 00000000");
    EXPECT_CALLS(update_sent(expected));
    EXPECT_EQ(buffer, expected);
}

TEST_F(L2UpdateTest, SendsAsManyBytesAsItIsTold) {
    const auto records = header("0001") + lookup_mode;
    const auto expected = after(records);
    for (const std::size_t length : {0U, 5U, 8U, 87U, 88U}) {
        SCOPED_TRACE(length);
        auto buffer = before(records);
        EXPECT_EQ(update(buffer.data(), length, 1), 1);
        EXPECT_CALLS(traced(486), update_sent(part(expected, 0, length)));
        EXPECT_EQ(buffer, expected);
    }
}

TEST_F(L2UpdateTest, ConvertsNoMoreRecordsThanItIsTold) {
    const Fields second = {{"12"}, {"01020304050607"}, {"c1c2c3c4"}, {"11121314"}, {"00000000"}};
    expect_converted(header("0001") + mbd_entry + second, 1, traced(478));
}

TEST_F(L2UpdateTest, ASecondCallConvertsRecordsWithoutEntriesBack) {
    const auto start = before(header("0001") + lookup_mode);
    auto buffer = start;
    EXPECT_EQ(update(buffer.data(), buffer.size(), 1), 1);
    EXPECT_EQ(update(buffer.data(), buffer.size(), 1), 1);
    // But for what the library writes itself: id, count, value and the length.
    const auto expected = patched(patched(start, 0, hex("e7b2 0001 6261")), 16, hex("50000000"));
    EXPECT_CALLS(traced(486), update_sent(after(header("0001") + lookup_mode)), traced(486),
                 update_sent(expected));
    EXPECT_EQ(buffer, expected);
}

// An address family in network order is an unknown one, at which the second conversion stops.
TEST_F(L2UpdateTest, ASecondCallLeavesAddressesInNetworkOrder) {
    const auto start = before(header("0001") + mbd_entry);
    auto buffer = start;
    EXPECT_EQ(update(buffer.data(), buffer.size(), 1), 1);
    EXPECT_EQ(update(buffer.data(), buffer.size(), 1), 1);
    auto expected = patched(patched(start, 0, hex("e7b2 0001 6261")), 16, hex("50000000"));
    for (const std::size_t family : {8U + 34, 8U + 54})
        expected = patched(expected, family, hex("00000002"));
    EXPECT_CALLS(traced(478), update_sent(after(header("0001") + mbd_entry)), traced(478),
                 update_sent(expected));
    EXPECT_EQ(buffer, expected);
}

TEST_F(L2UpdateTest, LeavesTheReferenceOfASentMessageToTheCaller) {
    EXPECT_EQ(send(no_markers), 1);
    EXPECT_CALLS(message_sent());
    ASSERT_EQ(platform().sent.size(), 1U);
    EXPECT_FALSE(platform().sent[0].released);
    EXPECT_TRUE(std::equal(std::begin(reference_.opaque), std::end(reference_.opaque),
                           std::begin(platform().sent[0].content.opaque)));
}

TEST_F(L2UpdateTest, PassesAReferenceOf0On) {
    platform().kyt_send.returns(-1);
    auto buffer = before(header("0000"));
    EXPECT_EQ(vell_send_l2_mc_update(buffer.data(), buffer.size(), 0, 0x6261, 0), 0);
    auto expected = update_sent(after(header("0000")));
    expected.reference = fake::Reference::null;
    EXPECT_CALLS(expected);
}

TEST_F(L2UpdateTest, TakesEveryResultButMinus1ForSuccess) {
    for (const auto result : successful_results) {
        SCOPED_TRACE(result);
        fake::reset_platform();
        platform().callers_reference = &reference_;
        platform().kyt_send.returns(result);
        EXPECT_EQ(send(end_marker), 1);
        EXPECT_CALLS(message_sent(), marker_sent(2), released(acknowledged.queue, 2), traced(514));
    }
}

TEST_F(L2UpdateTest, AfterAFailedSendSaysNothingAndLeavesTheBufferConverted) {
    platform().kyt_send.returns(-1);
    const auto message = header("0001") + lookup_mode;
    auto buffer = before(message);
    EXPECT_EQ(update(buffer.data(), buffer.size(), 1), 0);
    EXPECT_CALLS(traced(486), update_sent(after(message)));
    EXPECT_EQ(buffer, after(message));
    EXPECT_EQ(client_state(), acknowledged);
    EXPECT_TRUE(reference_is_untouched());
}

TEST_F(L2UpdateTest, WithoutAQueueIsRefusedWithError422AndTouchesNothing) {
    for (const ClientState state : {ClientState{}, ClientState{.id = 9, .queue = 0, .uuid = 5}}) {
        SCOPED_TRACE(state);
        set_client_state(state);
        const auto start = before(header("0002", both_markers) + lookup_mode + mbd_entry);
        auto buffer = start;
        EXPECT_EQ(update(buffer.data(), buffer.size(), 2), 0);
        EXPECT_CALLS(refused(state.uuid));
        EXPECT_EQ(buffer, start);
        EXPECT_EQ(client_state(), state);
    }
    EXPECT_TRUE(reference_is_untouched());
}

TEST_F(L2UpdateTest, WithoutAQueueDoesNotReadTheBuffer) {
    set_client_state({});
    EXPECT_EQ(vell_send_l2_mc_update(nullptr, 8, 1, 2, 0), 0);
    EXPECT_CALLS(refused(384));
}

TEST_F(L2UpdateTest, GoesOutWithId0BeforeTheAcknowledgment) {
    set_client_state({});
    register_client(7, 5);
    platform().callers_reference = &reference_;
    EXPECT_EQ(send(both_markers), 1);
    EXPECT_CALLS(marker_sent(1, 7), released(7), traced(436),
                 update_sent(hex("00b2 0000 6261 0003"), 7), marker_sent(2, 7), released(7, 3),
                 traced(514));
    EXPECT_EQ(client_state(), (ClientState{.id = 0, .queue = 7, .uuid = 5}));
}

class MarkersTest : public L2UpdateTest {
protected:
    // What the marker's send and trace call when the send succeeds, as the send with that number,
    // and when it fails.
    static fake::Calls began() {
        return fake::in_order(marker_sent(1), released(acknowledged.queue, 1), traced(436));
    }
    static fake::Calls began_in_vain() {
        return fake::in_order(marker_sent(1), marker_failed(), traced(436));
    }
    static fake::Calls ended(unsigned send) {
        return fake::in_order(marker_sent(2), released(acknowledged.queue, send), traced(514));
    }
    static fake::Calls ended_in_vain() {
        return fake::in_order(marker_sent(2), marker_failed(), traced(514));
    }

    // A call on a platform and with a reference that know of none before.
    void start_anew() {
        fake::reset_platform();
        reference_ = {};
        platform().callers_reference = &reference_;
    }
};

TEST_F(MarkersTest, AreSentAsTheFlagsAskWhicheverSendsFail) {
    const Field none = {"0000", "0000"};
    const auto message_of = [&](const char *flags) {
        return update_sent(hex("e7b2 0000 6261") + hex(flags));
    };
    // Failing sends by their number in the call. The platform numbers the references of successful
    // sends alone.
    const struct {
        Field flags;
        std::vector<unsigned> failing;
        int result;
        fake::Calls calls;
    } rows[] = {
        {none, {}, 1, {message_of("0000")}},
        {none, {1}, 0, {message_of("0000")}},

        {begin_marker, {}, 1, fake::in_order(began(), message_of("0001"))},
        {begin_marker, {1}, 1, fake::in_order(began_in_vain(), message_of("0001"))},
        {begin_marker, {2}, 0, fake::in_order(began(), message_of("0001"))},
        {begin_marker, {1, 2}, 0, fake::in_order(began_in_vain(), message_of("0001"))},

        {end_marker, {}, 1, fake::in_order(message_of("0002"), ended(2))},
        {end_marker, {1}, 0, {message_of("0002")}},
        {end_marker, {2}, 1, fake::in_order(message_of("0002"), ended_in_vain())},
        {end_marker, {1, 2}, 0, {message_of("0002")}},

        {both_markers, {}, 1, fake::in_order(began(), message_of("0003"), ended(3))},
        {both_markers, {1}, 1, fake::in_order(began_in_vain(), message_of("0003"), ended(2))},
        {both_markers, {2}, 0, fake::in_order(began(), message_of("0003"))},
        {both_markers, {3}, 1, fake::in_order(began(), message_of("0003"), ended_in_vain())},
        {both_markers, {1, 2}, 0, fake::in_order(began_in_vain(), message_of("0003"))},
        {both_markers,
         {1, 3},
         1,
         fake::in_order(began_in_vain(), message_of("0003"), ended_in_vain())},
        {both_markers, {2, 3}, 0, fake::in_order(began(), message_of("0003"))},
        {both_markers, {1, 2, 3}, 0, fake::in_order(began_in_vain(), message_of("0003"))},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::Message() << "flags " << row.flags.after << ", failing "
                                        << testing::PrintToString(row.failing));
        start_anew();
        for (const auto number : row.failing)
            platform().kyt_send.returns_at(number, -1);
        EXPECT_EQ(send(row.flags), row.result);
        EXPECT_CALLS(row.calls);
        EXPECT_EQ(buffer_, hex("e7b2 0000 6261") + hex(row.flags.after));
        EXPECT_EQ(client_state(), acknowledged);
        EXPECT_EQ(reference_is_untouched(), row.result == 0);
        EXPECT_EQ(platform().unreleased_references(), 0U);
    }
}

TEST_F(MarkersTest, AreAskedForByTheLowestTwoBitsAlone) {
    for (const Field &flags : {Field{"fcff", "fffc"}, Field{"0001", "0100"}, Field{"0002", "0200"},
                               Field{"0003", "0300"}, Field{"0400", "0004"}}) {
        SCOPED_TRACE(flags.before);
        EXPECT_EQ(send(flags), 1);
        EXPECT_CALLS(message_sent());
        EXPECT_EQ(buffer_, after(message_));
    }
    start_anew();
    EXPECT_EQ(send({"ffff", "ffff"}), 1);
    EXPECT_CALLS(began(), message_sent(), ended(3));
    start_anew();
    EXPECT_EQ(send({"02f5", "f502"}), 1);
    EXPECT_CALLS(message_sent(), ended(2));
}

// The header but for its flags is written by then, and the records are the caller's still.
TEST_F(MarkersTest, OfTheBeginningAreSentAndTracedBeforeTheFlagsAreConverted) {
    const auto message = header("0001", both_markers) + lookup_mode;
    auto buffer = before(message);
    std::vector<bytes> seen;
    platform().kyt_send.runs([&] { seen.push_back(buffer); });
    platform().client_log.runs([&] { seen.push_back(buffer); });
    EXPECT_EQ(update(buffer.data(), buffer.size(), 1), 1);
    EXPECT_CALLS(marker_sent(1), released(acknowledged.queue, 1), traced(436), traced(486),
                 update_sent(after(message)), marker_sent(2), released(acknowledged.queue, 3),
                 traced(514));

    const auto head_written = patched(before(message), 0, hex("e7b2 0001 6261 0300"));
    const auto length_missing = patched(after(message), 16, hex("c1c2c3c4"));
    EXPECT_EQ(seen, (std::vector<bytes>{head_written, head_written, length_missing, after(message),
                                        after(message), after(message)}));
}

// What the caller's flags were counts, not what the buffer holds after the send.
TEST_F(MarkersTest, OfTheEndAreAskedForBeforeTheSend) {
    platform().kyt_send.runs([&] { std::fill(buffer_.begin(), buffer_.end(), std::uint8_t{0}); });
    EXPECT_EQ(send(end_marker), 1);
    EXPECT_CALLS(message_sent(), marker_sent(2), released(acknowledged.queue, 2), traced(514));
}

TEST_F(MarkersTest, AreTracedToTheClientLogAloneWhenTheGatesAreClosed) {
    close_log_gates();
    const auto message = header("0002", both_markers) + lookup_mode + mbd_entry;
    auto buffer = before(message);
    EXPECT_EQ(update(buffer.data(), buffer.size(), 2), 1);
    const auto silently_traced = [](int line, const char *body) {
        return logged_to_client_alone(
            trace_of("vell_send_l2_mc_update", line, body, acknowledged.uuid));
    };
    EXPECT_CALLS(marker_sent(1), released(acknowledged.queue, 1),
                 silently_traced(436, "Sent OOB begin marker\n"),
                 silently_traced(486, "Send lkup mode change\n"),
                 silently_traced(478, "Send VELL_OP_ADD/DEL_L2_MBD update\n"),
                 update_sent(after(message)), marker_sent(2), released(acknowledged.queue, 3),
                 silently_traced(514, "Sent OOB end marker\n"));
}

TEST_F(MarkersTest, AndRecordsAreTracedInTheOrderOfWhatHappens) {
    const auto message = header("0003", both_markers) + mbd_entry + lookup_mode + mbd_entry;
    auto buffer = before(message);
    EXPECT_EQ(update(buffer.data(), buffer.size(), 3), 1);
    EXPECT_CALLS(marker_sent(1), released(acknowledged.queue, 1), traced(436), traced(478),
                 traced(486), traced(478), update_sent(after(message)), marker_sent(2),
                 released(acknowledged.queue, 3), traced(514));
    EXPECT_EQ(buffer, after(message));
}

} // namespace
