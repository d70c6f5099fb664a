#include "sim/switch/frame_input.h"
#include "tests/switch/bytes.h"

#include <gtest/gtest.h>

namespace {

using state = sim::frame_input::state;

bytes framed(std::uint32_t kind, const bytes &payload) {
    return message()
        .u32(0x3154594b)
        .u32(kind)
        .u32(static_cast<std::uint32_t>(payload.size()))
        .fill(16, 0x3c)
        .fill(76, 0)
        .add(payload);
}

bytes payload_of(const sim::frame_input &input) {
    const auto payload = input.front().payload;
    return bytes(payload.begin(), payload.end());
}

} // namespace

TEST(FrameInput, PutsAFrameTogetherFromSingleBytes) {
    const bytes sent = framed(1, literal({7, 8, 9}));
    sim::frame_input input;
    for (std::size_t i = 0; i < sent.size(); ++i) {
        EXPECT_EQ(input.look(), state::incomplete) << i;
        input.receive(std::span(sent).subspan(i, 1));
    }
    ASSERT_EQ(input.look(), state::whole);
    EXPECT_EQ(payload_of(input), literal({7, 8, 9}));
    EXPECT_EQ(input.front().head.sap, 0x3c3c3c3cu);
}

TEST(FrameInput, TakesSeveralFramesFromOnePiece) {
    const bytes sent =
        message().add(framed(1, literal({7}))).add(framed(3, {})).add(framed(1, literal({8, 9})));
    sim::frame_input input;
    input.receive(sent);
    ASSERT_EQ(input.look(), state::whole);
    EXPECT_EQ(payload_of(input), literal({7}));
    input.drop_frame();
    ASSERT_EQ(input.look(), state::whole);
    EXPECT_EQ(input.front().head.kind, sim::frame_kind::question);
    input.drop_frame();
    ASSERT_EQ(input.look(), state::whole);
    EXPECT_EQ(payload_of(input), literal({8, 9}));
    input.drop_frame();
    EXPECT_EQ(input.look(), state::incomplete);
    EXPECT_EQ(input.held(), 0u);
}

TEST(FrameInput, KeepsAPartialFrameBehindADroppedOne) {
    const bytes next = framed(1, literal({8, 9}));
    sim::frame_input input;
    input.receive(message().add(framed(1, literal({7}))).add(cut(next, 50)).get());
    input.drop_frame();
    EXPECT_EQ(input.progress(), "50 of at least 104 bytes");
    input.receive(std::span(next).subspan(50, 55));
    EXPECT_EQ(input.look(), state::incomplete);
    EXPECT_EQ(input.progress(), "105 of 106 bytes");
    input.receive(std::span(next).subspan(105));
    ASSERT_EQ(input.look(), state::whole);
    EXPECT_EQ(payload_of(input), literal({8, 9}));
}

TEST(FrameInput, IsBrokenByAWrongMagic) {
    sim::frame_input input;
    input.receive(patched(framed(1, {}), 0, {0x4c}));
    EXPECT_EQ(input.look(), state::broken);
    EXPECT_EQ(input.broken_reason(), "frame magic is 0x3154594c, not 0x3154594b");
}

TEST(FrameInput, IsBrokenByALengthAboveTheLimitBeforeThePayloadComes) {
    sim::frame_input input;
    input.receive(patched(framed(1, {}), 8, {0x00, 0x00, 0x00, 0x01}));
    EXPECT_EQ(input.look(), state::incomplete) << "16 MiB are allowed";
    sim::frame_input above;
    above.receive(patched(framed(1, {}), 8, {0x01, 0x00, 0x00, 0x01}));
    EXPECT_EQ(above.look(), state::broken);
    EXPECT_EQ(above.broken_reason(), "frame length 16777217 exceeds 16777216 bytes");
}

TEST(FrameInput, IsBrokenByAKindThatPeersDoNotSend) {
    for (const std::uint32_t kind : {0u, 2u, 4u, 6u, 0xffffffffu}) {
        sim::frame_input input;
        input.receive(framed(kind, {}));
        EXPECT_EQ(input.look(), state::broken) << kind;
    }
}
