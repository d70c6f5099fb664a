#include "sim/switch/ltl.h"
#include "tests/switch/ltl_bytes.h"

#include <gtest/gtest.h>

namespace {

// Two entries of an allocation or modification, the second without interfaces; every byte is
// another where it can be.
bytes two_entries() {
    return literal({
        0x01, 0x02, 0x03, 0x04,                         // 0    cookie
        0x02, 0x00, 0x00, 0x00,                         // 4    2 entries
        0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18, // 8    keys
        0x02, 0x00, 0x00, 0x00,                         // 16   2 interfaces
        0x21, 0x22, 0x23, 0x24, 0x25, 0x26, 0x27, 0x28, // 20
        0x31, 0x32, 0x33, 0x34, 0x35, 0x36, 0x37, 0x38, // 28   keys
        0x00, 0x00, 0x00, 0x00,                         // 36   no interface
    });
}

bytes two_releases() {
    return literal({
        0x01, 0x02, 0x03, 0x04,                                                 // 0    cookie
        0x02, 0x00, 0x00, 0x00,                                                 // 4    2 entries
        0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18, 0x19, 0x1a, 0x1b, 0x1c, // 8
        0x21, 0x22, 0x23, 0x24, 0x25, 0x26, 0x27, 0x28, 0x29, 0x2a, 0x2b, 0x2c, // 20
    });
}

bytes two_vlans() {
    return literal({
        0x01, 0x02, 0x03, 0x04,                         // 0    context
        0x02, 0x00, 0x00, 0x00,                         // 4    2 VLANs
        0x11, 0x12, 0x13, 0x14,                         // 8    VLAN id
        0xe1, 0xe2, 0xe3, 0xe4, 0xe5, 0xe6, 0xe7, 0xe8, // 12   not read
        0x21, 0x22, 0x23, 0x24,                         // 20   line-card mask
        0xe9, 0xea, 0xeb, 0xec,                         // 24   not read
        0x02, 0x00, 0x00, 0x00,                         // 28   2 updates
        0x31, 0x32, 0x33, 0x34, 0x35, 0x36, 0x37, 0x38, // 32   interface, operation
        0x41, 0x42, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, // 40
        0x51, 0x52, 0x53, 0x54,                         // 48   VLAN id
        0xd1, 0xd2, 0xd3, 0xd4, 0xd5, 0xd6, 0xd7, 0xd8, // 52
        0x61, 0x62, 0x63, 0x64,                         // 60   line-card mask
        0xd9, 0xda, 0xdb, 0xdc,                         // 64
        0x00, 0x00, 0x00, 0x00,                         // 68   no update
    });
}

std::string entries_refusal(const bytes &sent) {
    return refusal_of([&] { sim::decode_ltl_request(sent); });
}
std::string release_refusal(const bytes &sent) {
    return refusal_of([&] { sim::decode_ltl_release(sent); });
}
std::string flood_refusal(const bytes &sent) {
    return refusal_of([&] { sim::decode_flood_request(sent); });
}

// Every message that ends too early is refused.
template <typename Refusal>
void expect_no_shorter_one(const bytes &whole, Refusal refusal) {
    EXPECT_EQ(refusal(whole), "accepted");
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_NE(refusal(cut(whole, size)), "accepted") << size;
    }
}

} // namespace

TEST(LtlMessage, CarriesEntriesWithInterfaces) {
    const auto decoded = sim::decode_ltl_request(two_entries());
    EXPECT_EQ(decoded.cookie, 0x04030201u);
    ASSERT_EQ(decoded.entries.size(), 2u);
    EXPECT_EQ(decoded.entries[0].keys, sim::ltl_keys(0x14131211, 0x18171615));
    EXPECT_EQ(decoded.entries[0].interfaces, (test_words{0x24232221, 0x28272625}));
    EXPECT_EQ(decoded.entries[1].keys, sim::ltl_keys(0x34333231, 0x38373635));
    EXPECT_TRUE(decoded.entries[1].interfaces.empty());
}

TEST(LtlMessage, CarriesReleases) {
    const auto decoded = sim::decode_ltl_release(two_releases());
    EXPECT_EQ(decoded.cookie, 0x04030201u);
    EXPECT_EQ(decoded.entries,
              (std::vector<sim::ltl_keys>{{0x14131211, 0x18171615}, {0x24232221, 0x28272625}}));
}

TEST(LtlMessage, CarriesFloodUpdates) {
    const auto decoded = sim::decode_flood_request(two_vlans());
    EXPECT_EQ(decoded.cookie, 0x04030201u);
    ASSERT_EQ(decoded.entries.size(), 2u);
    EXPECT_EQ(decoded.entries[0].vlan, 0x14131211u);
    EXPECT_EQ(decoded.entries[0].line_card_mask, 0x24232221u);
    ASSERT_EQ(decoded.entries[0].updates.size(), 2u);
    EXPECT_EQ(decoded.entries[0].updates[0].if_index, 0x34333231u);
    EXPECT_EQ(decoded.entries[0].updates[0].operation, 0x38373635u);
    EXPECT_EQ(decoded.entries[0].updates[1].if_index, 0x44434241u);
    EXPECT_EQ(decoded.entries[0].updates[1].operation, 0x48474645u);
    EXPECT_EQ(decoded.entries[1].vlan, 0x54535251u);
    EXPECT_EQ(decoded.entries[1].line_card_mask, 0x64636261u);
    EXPECT_TRUE(decoded.entries[1].updates.empty());
}

TEST(LtlMessage, MayHaveNoEntries) {
    const bytes none = words({7, 0});
    EXPECT_TRUE(sim::decode_ltl_request(none).entries.empty());
    EXPECT_TRUE(sim::decode_ltl_release(none).entries.empty());
    EXPECT_TRUE(sim::decode_flood_request(none).entries.empty());
}

TEST(LtlMessage, IsRefusedWhenItEndsTooEarly) {
    expect_no_shorter_one(two_entries(), entries_refusal);
    expect_no_shorter_one(two_releases(), release_refusal);
    expect_no_shorter_one(two_vlans(), flood_refusal);
    EXPECT_EQ(entries_refusal({}),
              "offset 0: the message has 0 bytes left here, cookie or context needs 4");
    EXPECT_EQ(entries_refusal(cut(two_entries(), 7)),
              "offset 4: the message has 3 bytes left here, number of entries needs 4");
    EXPECT_EQ(entries_refusal(cut(two_entries(), 31)),
              "offset 4: 2 entries take 24 bytes or more, the message has 23 "
              "left after their number");
    EXPECT_EQ(entries_refusal(cut(two_entries(), 39)),
              "offset 36: the message has 3 bytes left here, number of interfaces needs 4");
    EXPECT_EQ(release_refusal(cut(two_releases(), 31)),
              "offset 4: 2 entries take 24 bytes or more, the message has 23 "
              "left after their number");
    EXPECT_EQ(flood_refusal(cut(two_vlans(), 71)),
              "offset 68: the message has 3 bytes left here, number of updates needs 4");
    EXPECT_EQ(flood_refusal(cut(two_vlans(), 7)),
              "offset 4: the message has 3 bytes left here, number of VLANs needs 4");
    EXPECT_EQ(flood_refusal(cut(two_vlans(), 61)),
              "offset 60: the message has 1 bytes left here, line-card mask needs 4");
}

TEST(LtlMessage, IsRefusedWhenItsCountsGoBeyondIt) {
    EXPECT_EQ(
        entries_refusal(patched(two_entries(), 4, {3})),
        "offset 4: 3 entries take 36 bytes or more, the message has 32 left after their number");
    EXPECT_EQ(entries_refusal(cut(two_entries(), 34)),
              "offset 32: the message has 2 bytes left here, key word 2 needs 4");
    EXPECT_EQ(entries_refusal(patched(two_entries(), 4, {0xff, 0xff, 0xff, 0xff})),
              "offset 4: 4294967295 entries take 51539607540 bytes or more, the message has 32 "
              "left after their number");
    EXPECT_EQ(
        entries_refusal(patched(two_entries(), 36, {1})),
        "offset 36: 1 interfaces take 4 bytes or more, the message has 0 left after their number");
    EXPECT_EQ(entries_refusal(patched(two_entries(), 16, {0, 0, 0, 0x80})),
              "offset 16: 2147483648 interfaces take 8589934592 bytes or more, the message has 20 "
              "left after their "
              "number");
    EXPECT_EQ(
        release_refusal(patched(two_releases(), 4, {3})),
        "offset 4: 3 entries take 36 bytes or more, the message has 24 left after their number");
    EXPECT_EQ(
        flood_refusal(patched(two_vlans(), 4, {3})),
        "offset 4: 3 VLANs take 72 bytes or more, the message has 64 left after their number");
    EXPECT_EQ(
        flood_refusal(patched(two_vlans(), 28, {6})),
        "offset 28: 6 updates take 48 bytes or more, the message has 40 left after their number");
    EXPECT_EQ(flood_refusal(patched(two_vlans(), 68, {0, 0, 0, 0x20})),
              "offset 68: 536870912 updates take 4294967296 bytes or more, the message has 0 left "
              "after their number");
}

TEST(LtlMessage, HasNoMoreInterfacesInAnEntryThanSixteenBitsCount) {
    const auto entry_of = [](std::uint32_t count) -> bytes {
        return message().add(words({7, 1, 10, 7, count})).fill(std::size_t{count} * 4, 0x11);
    };
    EXPECT_EQ(sim::decode_ltl_request(entry_of(65535)).entries.at(0).interfaces.size(), 65535u);
    EXPECT_EQ(entries_refusal(entry_of(65536)),
              "offset 16: 65536 interfaces, an entry has at most 65535");
}

// An answer has 16 bytes and 16 more for each entry, and a message 16 MiB at most.
TEST(LtlMessage, HasNoMoreEntriesThanAnAnswerHasRoomFor) {
    constexpr std::uint32_t most = 1'048'575;
    const auto releases = [](std::uint32_t count) -> bytes {
        return message().add(words({7, count})).fill(std::size_t{count} * 12, 0x11);
    };
    EXPECT_EQ(sim::decode_ltl_release(releases(most)).entries.size(), most);
    EXPECT_EQ(sim::encode_ltl_answer({release, 7, std::vector<sim::ltl_result>(most)}).size(),
              std::size_t{16} << 20);
    const std::string why = " would be longer than a message may be, it has room for 1048575";
    EXPECT_EQ(release_refusal(releases(most + 1)), "offset 4: the answer to 1048576 entries" + why);
    EXPECT_EQ(
        entries_refusal(message().add(words({7, most + 1})).fill(std::size_t{most + 1} * 12, 0)),
        "offset 4: the answer to 1048576 entries" + why);
    EXPECT_EQ(
        flood_refusal(message().add(words({7, most + 1})).fill(std::size_t{most + 1} * 24, 0)),
        "offset 4: the answer to 1048576 VLANs" + why);
}

TEST(LtlMessage, IsRefusedWhenBytesFollow) {
    EXPECT_EQ(entries_refusal(message().add(two_entries()).u8(0)),
              "offset 40: 1 bytes follow the last of 2 entries");
    EXPECT_EQ(entries_refusal(patched(two_entries(), 4, {1})),
              "offset 28: 12 bytes follow the last of 1 entries");
    EXPECT_EQ(release_refusal(message().add(two_releases()).u32(0)),
              "offset 32: 4 bytes follow the last of 2 entries");
    EXPECT_EQ(flood_refusal(message().add(two_vlans()).u64(0)),
              "offset 72: 8 bytes follow the last of 2 VLANs");
    EXPECT_EQ(flood_refusal(message().add(words({7, 0})).u8(0)),
              "offset 8: 1 bytes follow the last of 0 VLANs");
}

TEST(LtlAnswer, CarriesKindStatusCookieAndResults) {
    const std::vector<sim::ltl_result> results = {
        {{0x11121314, 0x15161718, 0x191a1b1c}, NERB_SIM_DONE},
        {{0x21222324, 0x25262728, 0x292a2b2c}, NERB_SIM_TAG_MISMATCH}};
    for (const auto &[opcode, kind] :
         {std::pair(allocation, 13u), {modification, 14u}, {release, 15u}, {flood_update, 16u}}) {
        EXPECT_EQ(sim::encode_ltl_answer({opcode, 0x01020304, results}),
                  words({kind, 1, 0x01020304, 2, 0x11121314, 0x15161718, 0x191a1b1c, 0, 0x21222324,
                         0x25262728, 0x292a2b2c, 4}));
    }
}

TEST(LtlAnswer, HasAnOverallStatus) {
    const auto overall = [](std::uint32_t opcode, const std::vector<nerb_sim_status> &statuses) {
        sim::ltl_answer answer{opcode, 0, {}};
        for (const nerb_sim_status status : statuses) {
            answer.results.push_back({{}, status});
        }
        return words_of(sim::encode_ltl_answer(answer)).at(1);
    };
    for (const std::uint32_t opcode : {allocation, modification, release}) {
        EXPECT_EQ(overall(opcode, {NERB_SIM_POOL_EXHAUSTED}), 3u) << "of a single entry its own";
        EXPECT_EQ(overall(opcode, {NERB_SIM_TAG_MISMATCH}), 4u);
        EXPECT_EQ(overall(opcode, {NERB_SIM_DONE, NERB_SIM_POOL_EXHAUSTED}), 1u);
        EXPECT_EQ(overall(opcode, {NERB_SIM_TAG_MISMATCH, NERB_SIM_TAG_MISMATCH}), 1u);
    }
    EXPECT_EQ(overall(flood_update, {NERB_SIM_INTERFACE_ABSENT}), 1u) << "of a flood update never";
    EXPECT_EQ(overall(flood_update, {NERB_SIM_INTERFACE_ABSENT, NERB_SIM_DONE}), 1u);
    for (const std::uint32_t opcode : {allocation, modification, release, flood_update}) {
        EXPECT_EQ(overall(opcode, {}), 0u);
        EXPECT_EQ(overall(opcode, {NERB_SIM_DONE}), 0u);
        EXPECT_EQ(overall(opcode, {NERB_SIM_DONE, NERB_SIM_DONE}), 0u);
    }
}
