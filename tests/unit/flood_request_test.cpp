// The flood update request: its checks, its failures, and what they leave behind.
#include "flood_batch.h"

#include <algorithm>
#include <initializer_list>

namespace {

using fake::platform;
using Sizes = std::vector<std::size_t>;

// VLAN 10 changes, VLAN 20 has no interface.
const Vlans was_10_20 = {{10, {{2}, {1}}}, {20, {}}};
const Vlans is_10_20 = {{10, {{3}, {2}}}, {20, {}}};
const Updates updates_10 = {{1, 2}, {3, 1}};

const bytes payload_10_20 = hex("02000000"
                                "0a000000 0000000000000000 0c000000 00000000 02000000"
                                "01000000 02000000"
                                "03000000 01000000"
                                "14000000 0000000000000000 00000000 00000000 00000000");

class FloodUpdateTest : public FloodRequestTest {
protected:
    // What is called for VLANs 10 and 20 up to the send.
    static fake::Calls built_10_20() {
        return fake::in_order(counted(2), delta_begun(10), looked_up(2), looked_up(3),
                              delta_traced("0xc", updates_10), delta_begun(20), nothing_there());
    }

    void expect_sorted_10_20() {
        EXPECT_EQ(was_, message_of({{10, {{1}, {2}}}, {20, {}}}));
        EXPECT_EQ(is_, message_of({{10, {{2}, {3}}}, {20, {}}}));
    }

    void expect_untouched(const Vlans &was, const Vlans &is) {
        EXPECT_EQ(was_, message_of(was));
        EXPECT_EQ(is_, message_of(is));
        EXPECT_EQ(allocations_.take_sizes(), Sizes{});
    }
};

TEST_F(FloodUpdateTest, SendsTheDeltasOfABatch) {
    bytes whole;
    platform().flood_update.runs([&] {
        const auto *const payload = platform().payload_address;
        whole.assign(payload, payload + 84);
    });
    EXPECT_EQ(send(was_10_20, is_10_20), 1U);
    EXPECT_CALLS(built_10_20(), update_sent(payload_10_20));
    EXPECT_EQ(allocations_.take_sizes(), Sizes{84});
    EXPECT_EQ(whole, zero_padded(payload_10_20, 84)) << "what no delta took is zero";
}

TEST_F(FloodUpdateTest, SortsTheEntriesAndWritesNothingElse) {
    EXPECT_EQ(send(was_10_20, is_10_20), 1U);
    fake::take_calls();
    expect_sorted_10_20();
}

TEST_F(FloodUpdateTest, MakesRoomForTheEntriesOfBothMessages) {
    const Updates updates = {{3, 1}, {4, 1}, {5, 1}};
    EXPECT_EQ(send({{10, {}}}, {{10, {{3}, {4}, {5}}}}), 1U);
    EXPECT_CALLS(counted(1), delta_begun(10), looked_up(3), looked_up(4), looked_up(5),
                 delta_traced("0x38", updates),
                 update_sent(hex("01000000"
                                 "0a000000 0000000000000000 38000000 00000000 03000000"
                                 "03000000 01000000 04000000 01000000 05000000 01000000")));
    EXPECT_EQ(allocations_.take_sizes(), Sizes{4 + 24 + 8 * 3});

    EXPECT_EQ(send({{10, {{3}, {4}, {5}}}}, {{10, {{4}}}}), 1U);
    fake::take_calls();
    EXPECT_EQ(allocations_.take_sizes(), Sizes{4 + 24 + 8 * 4});
}

TEST_F(FloodUpdateTest, NoVlansAreACountOf0) {
    EXPECT_EQ(send({}, {}), 1U);
    EXPECT_CALLS(counted(0), update_sent(hex("00000000")));
    EXPECT_EQ(allocations_.take_sizes(), Sizes{4});
}

TEST_F(FloodUpdateTest, AQueueIsEnough) {
    set_client_state({.id = 0, .queue = client.queue, .uuid = client.uuid});
    EXPECT_EQ(send(was_10_20, is_10_20), 1U);
    EXPECT_CALLS(built_10_20(), update_sent(payload_10_20));
}

TEST_F(FloodUpdateTest, ThePayloadIsThereUntilTheSendReturns) {
    std::size_t held = 0;
    platform().flood_update.runs([&] { held = allocations_.unreleased(); });
    EXPECT_EQ(send(was_10_20, is_10_20), 1U);
    EXPECT_EQ(held, 1U);
    EXPECT_EQ(allocations_.unreleased(), 0U);
    fake::take_calls();
}

TEST_F(FloodUpdateTest, NullPointersAreError1295) {
    const auto nothing = failed(1295, "Null parameters\n", "Null parameters\n");
    auto was = message_of(was_10_20);
    auto is = message_of(is_10_20);
    // Whatever else is wrong, too.
    for (const auto old_count : std::initializer_list<std::uint16_t>{2, 3}) {
        for (const std::uint32_t queue : {client.queue, 0U}) {
            set_client_state({.id = 9, .queue = queue, .uuid = client.uuid});
            EXPECT_EQ(
                vell_send_l2_mc_update_flood_ltl(nullptr, 0, old_count, is.data(), 0, 2, &context_),
                0U);
            EXPECT_CALLS(nothing);
            EXPECT_EQ(vell_send_l2_mc_update_flood_ltl(was.data(), 0, old_count, nullptr, 0, 2,
                                                       &context_),
                      0U);
            EXPECT_CALLS(nothing);
            EXPECT_EQ(vell_send_l2_mc_update_flood_ltl(was.data(), 0, old_count, is.data(), 0, 2,
                                                       nullptr),
                      0U);
            EXPECT_CALLS(nothing);
        }
    }
    EXPECT_EQ(was, message_of(was_10_20));
    EXPECT_EQ(is, message_of(is_10_20));
    EXPECT_EQ(allocations_.take_sizes(), Sizes{});
}

TEST_F(FloodUpdateTest, CountsThatDifferAreError1300BeforeAnythingElse) {
    for (const std::uint32_t queue : {client.queue, 0U}) {
        set_client_state({.id = 9, .queue = queue, .uuid = client.uuid});
        const Vlans was = {{10}, {20}, {30}};
        const Vlans is = {{11}, {21}};
        EXPECT_EQ(send(was, is), 0U);
        EXPECT_CALLS(failed(1300, "Old count %d not equal to new count %d\n",
                            "Old count 3 not equal to new count 2\n"));
        expect_untouched(was, is);
    }
}

TEST_F(FloodUpdateTest, CountsAreUnsigned) {
    auto message = message_of({});
    EXPECT_EQ(send(message.data(), 65535, message.data(), 0), 0U);
    EXPECT_CALLS(failed(1300, "Old count %d not equal to new count %d\n",
                        "Old count 65535 not equal to new count 0\n"));
}

TEST_F(FloodUpdateTest, WithoutAQueueItIsError1310BehindTheTrace) {
    set_client_state({.id = 9, .queue = 0, .uuid = client.uuid});
    const Vlans is = {{11, {{3}, {2}}}, {20, {}}};
    EXPECT_EQ(send(was_10_20, is), 0U);
    EXPECT_CALLS(counted(2), failed(1310, "Client not registered\n", "Client not registered\n"));
    expect_untouched(was_10_20, is);
}

TEST_F(FloodUpdateTest, NoVlansWithoutAQueueAreError1310BehindTheTraceToo) {
    set_client_state({.id = 9, .queue = 0, .uuid = client.uuid});
    EXPECT_EQ(send({}, {}), 0U);
    EXPECT_CALLS(counted(0), failed(1310, "Client not registered\n", "Client not registered\n"));
    expect_untouched({}, {});
}

TEST_F(FloodUpdateTest, VlansThatDifferAreError1332) {
    const struct {
        Vlans is;
        const char *text;
    } rows[] = {
        {{{10, {{3}, {2}}}, {21, {}}}, "At index 1 old VLAN 20 not equal to new VLAN 21\n"},
        {{{9, {{3}, {2}}}, {20, {}}}, "At index 0 old VLAN 10 not equal to new VLAN 9\n"},
        {{{20, {}}, {10, {}}}, "At index 0 old VLAN 10 not equal to new VLAN 20\n"},
        {{{10, {{3}}}, {0xffffffff, {}}}, "At index 1 old VLAN 20 not equal to new VLAN -1\n"},
        {{{10, {}}, {0x10014, {}}}, "At index 1 old VLAN 20 not equal to new VLAN 65556\n"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(send(was_10_20, row.is), 0U);
        EXPECT_CALLS(counted(2),
                     failed(1332, "At index %d old VLAN %d not equal to new VLAN %d\n", row.text));
        expect_untouched(was_10_20, row.is);
    }
}

TEST_F(FloodUpdateTest, WithoutMemoryItIsError1352) {
    allocations_.fail();
    EXPECT_EQ(send(was_10_20, is_10_20), 0U);
    EXPECT_CALLS(counted(2),
                 failed(1352, "Memory allocation failed\n", "Memory allocation failed\n"));
    EXPECT_EQ(allocations_.take_sizes(), Sizes{84});
    expect_untouched(was_10_20, is_10_20);
}

TEST_F(FloodUpdateTest, ARefusedRequestIsError1368) {
    for (const auto status : failures) {
        SCOPED_TRACE(status);
        platform().flood_update.returns(status);
        EXPECT_EQ(send(was_10_20, is_10_20), 0U);
        EXPECT_CALLS(built_10_20(), update_sent(payload_10_20),
                     failed(1368, "Sending LTL update to NERB failed 0x%x\n",
                            "Sending LTL update to NERB failed " + hex_text(status) + "\n"));
        EXPECT_EQ(allocations_.unreleased(), 0U);
        expect_sorted_10_20();
    }
}

// Each lookup of a batch of three VLANs fails in turn.
class FloodLookupFailureTest : public FloodRequestTest {
protected:
    static inline const Vlans was = {{10, {{2}, {1}}}, {20, {{6}, {5}}}, {30, {{8}, {7}}}};
    static inline const Vlans is = {{10, {{3}, {2}}}, {20, {{6}, {4}}}, {30, {{9}, {8}}}};
    static inline const Vlans was_sorted = {{10, {{1}, {2}}}, {20, {{5}, {6}}}, {30, {{7}, {8}}}};
    static inline const Vlans is_sorted = {{10, {{2}, {3}}}, {20, {{4}, {6}}}, {30, {{8}, {9}}}};

    struct Lookup {
        unsigned number; // the first one's is 1
        std::uint32_t if_index;
        int line;
        fake::Calls before;
        std::size_t sorted; // VLANs, from the first one
    };

    static std::vector<Lookup> lookups() {
        const auto first = fake::in_order(counted(3), delta_begun(10));
        const auto second = fake::in_order(first, looked_up(2), looked_up(3),
                                           delta_traced("0xc", updates_10), delta_begun(20));
        const auto third = fake::in_order(second, looked_up(4), looked_up(6),
                                          delta_traced("0x50", {{4, 1}, {5, 2}}), delta_begun(30));
        return {{1, 2, 1134, first, 1},  {2, 3, 1175, fake::in_order(first, looked_up(2)), 1},
                {3, 4, 1158, second, 2}, {4, 6, 1134, fake::in_order(second, looked_up(4)), 2},
                {5, 8, 1134, third, 3},  {6, 9, 1175, fake::in_order(third, looked_up(8)), 3}};
    }

    // Its first VLANs as they are in the one batch, the others as in the other.
    static Vlans mixed(const Vlans &front, std::size_t count, Vlans back) {
        std::copy_n(front.begin(), count, back.begin());
        return back;
    }

    void expect_failure(const Lookup &lookup, const fake::Calls &reported) {
        SCOPED_TRACE(testing::Message() << "lookup " << lookup.number);
        EXPECT_EQ(send(was, is), 0U);
        EXPECT_CALLS(lookup.before, reported,
                     error_logged("vell_find_oiflist_delta", lookup.line, "Set LC bitmask failed\n",
                                  "Set LC bitmask failed\n"),
                     failed(1361, "Building NERB request payload failed 0x%x\n",
                            "Building NERB request payload failed 0x80000062\n"));
        EXPECT_EQ(was_, message_of(mixed(was_sorted, lookup.sorted, was)));
        EXPECT_EQ(is_, message_of(mixed(is_sorted, lookup.sorted, is)));
        EXPECT_EQ(allocations_.take_sizes(), Sizes{4 + 3 * 24 + 12 * 8});
        EXPECT_EQ(allocations_.unreleased(), 0U);
    }
};

TEST_F(FloodLookupFailureTest, OfATypeIsError1361AndSendsNothing) {
    for (const auto &lookup : lookups()) {
        fake::reset_platform();
        platform().if_index_type.returns_at(lookup.number, 0x80000062);
        expect_failure(
            lookup,
            fake::in_order(fake::IfIndexType{lookup.if_index},
                           error_logged("vell_set_flc_bitmask", 1055,
                                        "Failed to get if_index type for 0x%x, status 0x%x\n",
                                        "Failed to get if_index type for " +
                                            hex_text(lookup.if_index) + ", status 0x80000062\n")));
    }
}

TEST_F(FloodLookupFailureTest, OfFieldsIsError1361AndSendsNothing) {
    for (const auto &lookup : lookups()) {
        fake::reset_platform();
        platform().if_index_fields.returns_at(lookup.number, 0x80000062);
        expect_failure(
            lookup,
            fake::in_order(looked_up(lookup.if_index),
                           error_logged("vell_set_flc_bitmask", 1063,
                                        "Failed to get if_index fields for 0x%x, status 0x%x\n",
                                        "Failed to get if_index fields for " +
                                            hex_text(lookup.if_index) + ", status 0x80000062\n")));
    }
}

} // namespace
