#include "sim/switch/client.h"
#include "tests/switch/message_bytes.h"

#include <gtest/gtest.h>

namespace {

bytes register_request(std::uint32_t uuid, std::string_view segment) {
    // The reserved bytes hold rubbish: nobody may look at them.
    return message().u8(0).fill(3, 0xa5).u32(uuid).text(segment, 240);
}

std::string refusal_of_register(const bytes &request) {
    return refusal_of([&] { sim::decode_register_request(request); });
}

} // namespace

TEST(RegisterRequest, IsDecoded) {
    bytes request =
        literal({0x00, 0xd1, 0xd2, 0xd3, 0x81, 0x72, 0x63, 0x54, 's', 'e', 'g', '-', '1'});
    request.resize(248);
    const sim::register_request decoded = sim::decode_register_request(request);
    EXPECT_EQ(decoded.uuid, 0x54637281u);
    EXPECT_EQ(decoded.segment, "seg-1");
}

TEST(RegisterRequest, MayHaveAnEmptyAndALongestSegmentName) {
    EXPECT_EQ(sim::decode_register_request(register_request(500, "")).segment, "");
    const std::string longest(239, 'n');
    EXPECT_EQ(sim::decode_register_request(register_request(500, longest)).segment, longest);
}

TEST(RegisterRequest, IgnoresWhatFollowsTheNul) {
    bytes request = register_request(500, "seg");
    request[247] = std::byte{'x'};
    EXPECT_EQ(sim::decode_register_request(request).segment, "seg");
}

TEST(RegisterRequest, IsRefusedWithoutANul) {
    EXPECT_EQ(refusal_of_register(register_request(500, std::string(240, 'n'))),
              "offset 8: the segment name has no NUL within its 240 bytes");
}

TEST(RegisterRequest, OfAUuidWithoutSegmentMayHoldAnythingInItsName) {
    for (const std::uint32_t uuid : {286u, 592u}) {
        const auto decoded =
            sim::decode_register_request(register_request(uuid, std::string(240, 'n')));
        EXPECT_EQ(decoded.uuid, uuid);
        EXPECT_EQ(decoded.segment, "");
    }
    EXPECT_NE(refusal_of_register(register_request(287, std::string(240, 'n'))), "accepted");
}

TEST(RegisterRequest, IsRefusedWithAnIdInIt) {
    EXPECT_EQ(refusal_of_register(patched(register_request(500, "seg"), 0, {7})),
              "offset 0: client id is 7, it must be 0 in a register request");
}

TEST(RegisterRequest, HasOneLengthOnly) {
    EXPECT_EQ(refusal_of_register({}), "offset 0: the message is 0 bytes long, it must be 248");
    EXPECT_EQ(refusal_of_register(cut(register_request(500, "seg"), 247)),
              "offset 247: the message is 247 bytes long, it must be 248");
    EXPECT_EQ(refusal_of_register(cut(register_request(500, "seg"), 249)),
              "offset 248: the message is 249 bytes long, it must be 248");
}

TEST(DeregisterRequest, IsItsIdAndNothingElse) {
    EXPECT_EQ(sim::decode_deregister_request(message().u8(0xc3).fill(247, 0x5a).get()), 0xc3);
}

TEST(DeregisterRequest, HasOneLengthOnly) {
    const auto refusal_of_length = [](std::size_t length) {
        return refusal_of([&] { sim::decode_deregister_request(bytes(length)); });
    };
    EXPECT_EQ(refusal_of_length(0), "offset 0: the message is 0 bytes long, it must be 248");
    EXPECT_EQ(refusal_of_length(1), "offset 1: the message is 1 bytes long, it must be 248");
    EXPECT_EQ(refusal_of_length(249), "offset 248: the message is 249 bytes long, it must be 248");
}

TEST(RegisterAck, IsAFrameOfTwoBytes) {
    const bytes expected = message()
                               .u32(0x3154594b) // magic
                               .u32(2)          // a message
                               .u32(2)          // bytes of payload
                               .u32(0)
                               .u32(212)
                               .u32(75796)
                               .u32(0)
                               .fill(19 * 4, 0)
                               .u8(0xc3)
                               .u8(1);
    EXPECT_EQ(sim::encode_register_ack(0xc3, true), expected);
    EXPECT_EQ(sim::encode_register_ack(0, false), patched(expected, 104, {0, 0}));
}
