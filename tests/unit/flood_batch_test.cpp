// The payload of a flood update: as its builder fills it, from any address, and of batches of any
// size.
#include "flood_batch.h"
#include "l2_message.h"

#include <algorithm>

namespace {

using fake::platform;
using Sizes = std::vector<std::size_t>;

class FloodPayloadTest : public FloodRequestTest {
protected:
    std::int32_t build(std::uint8_t *was, std::uint8_t *is, std::uint16_t count,
                       std::uint8_t *payload) {
        return vell_build_nerb_flood_ltl_pyld(was, is, count,
                                              reinterpret_cast<vell_flood_payload *>(payload));
    }
};

TEST_F(FloodPayloadTest, IsBuiltAtAnyAddress) {
    const auto was = message_of({{0x11121314, {{5}, {4}}}, {7, {{9}}}});
    const auto is = message_of({{0x11121314, {{6}, {5}}}, {7, {{9}}}});
    const auto payload = hex("02000000"
                             "14131211 0000000000000000 60000000 00000000 02000000"
                             "04000000 02000000 06000000 01000000"
                             "07000000 0000000000000000 00020000 00000000 00000000");
    for (const auto side : {GuardedBuffer::Side::front, GuardedBuffer::Side::back}) {
        for (const std::size_t distance : {0U, 1U, 2U, 3U}) {
            SCOPED_TRACE(distance);
            GuardedBuffer old_message(was, side, distance);
            GuardedBuffer new_message(is, side, (distance + 1) % 4);
            GuardedBuffer built(bytes(payload.size()), side, (distance + 2) % 4);
            EXPECT_EQ(build(old_message.data(), new_message.data(), 2, built.data()), 0);
            EXPECT_CALLS(delta_begun(0x11121314), looked_up(5), looked_up(6),
                         delta_traced("0x60", {{4, 2}, {6, 1}}), delta_begun(7), looked_up(9),
                         delta_traced("0x200", {}));
            EXPECT_EQ(built.content(), payload);
            EXPECT_EQ(old_message.content(), message_of({{0x11121314, {{4}, {5}}}, {7, {{9}}}}));
            EXPECT_EQ(new_message.content(), message_of({{0x11121314, {{5}, {6}}}, {7, {{9}}}}));
            EXPECT_TRUE(old_message.surroundings_untouched() &&
                        new_message.surroundings_untouched() && built.surroundings_untouched());
        }
    }
}

TEST_F(FloodPayloadTest, OfNoVlansIsACountOf0) {
    auto message = message_of({});
    auto payload = hex("c1c2c3c4c5c6c7c8");
    EXPECT_EQ(build(message.data(), message.data(), 0, payload.data()), 0);
    EXPECT_NO_CALLS();
    EXPECT_EQ(payload, hex("00000000c5c6c7c8"));
}

TEST_F(FloodPayloadTest, OfNoVlansNeedsNoMessages) {
    auto payload = hex("c1c2c3c4c5c6c7c8");
    EXPECT_EQ(build(nullptr, nullptr, 0, payload.data()), 0);
    EXPECT_NO_CALLS();
    EXPECT_EQ(payload, hex("00000000c5c6c7c8"));
}

TEST_F(FloodPayloadTest, TakesTheVlansOfTheOldMessage) {
    auto was = message_of({{10, {{1}}}});
    auto is = message_of({{11, {{1}}}});
    auto payload = bytes(28);
    EXPECT_EQ(build(was.data(), is.data(), 1, payload.data()), 0);
    EXPECT_CALLS(delta_begun(10), looked_up(1), delta_traced("0x2", {}));
    EXPECT_EQ(payload, hex("01000000 0a000000 0000000000000000 02000000 00000000 00000000"));
}

TEST_F(FloodPayloadTest, OfAVlanWithoutInterfacesIsSteppedOverByTheCountThatWasThere) {
    auto message = message_of({{10, {}}, {20, {}}});
    auto payload = patched(bytes(60), 24, hex("01000000"));
    EXPECT_EQ(build(message.data(), message.data(), 2, payload.data()), 0);
    EXPECT_CALLS(delta_begun(10), nothing_there(), delta_begun(20), nothing_there());
    EXPECT_EQ(payload, hex("02000000"
                           "0a000000 0000000000000000 00000000 00000000 01000000 0000000000000000"
                           "14000000 0000000000000000 00000000 00000000 00000000"));
}

TEST_F(FloodPayloadTest, ReturnsTheStatusOfTheLookupThatFailed) {
    for (const auto status : failures) {
        SCOPED_TRACE(status);
        fake::reset_platform();
        platform().if_index_type.returns_at(2, status);
        auto was = message_of({{10, {{1}}}, {20, {{2}}}, {30, {{3}}}});
        auto is = was;
        auto payload = bytes(76);
        EXPECT_EQ(build(was.data(), is.data(), 3, payload.data()),
                  static_cast<std::int32_t>(status));
        EXPECT_CALLS(
            delta_begun(10), looked_up(1), delta_traced("0x2", {}), delta_begun(20),
            fake::IfIndexType{2},
            error_logged("vell_set_flc_bitmask", 1055,
                         "Failed to get if_index type for 0x%x, status 0x%x\n",
                         "Failed to get if_index type for 0x2, status " + hex_text(status) + "\n"),
            error_logged("vell_find_oiflist_delta", 1134, "Set LC bitmask failed\n",
                         "Set LC bitmask failed\n"));
        EXPECT_EQ(
            payload,
            zero_padded(
                hex("03000000 0a000000 0000000000000000 02000000 00000000 00000000 14000000"), 76));
    }
}

TEST_F(FloodPayloadTest, NeedsNoClient) {
    set_client_state({.id = 0, .queue = 0, .uuid = client.uuid});
    auto message = message_of({{10, {}}});
    auto payload = bytes(28);
    EXPECT_EQ(build(message.data(), message.data(), 1, payload.data()), 0);
    EXPECT_CALLS(delta_begun(10), nothing_there());
}

class FloodMessageTest : public FloodRequestTest {
protected:
    struct Case {
        const char *what;
        Vlans was;
        Vlans is;
        std::uint32_t result;
        fake::Calls calls;
        Vlans was_after = was;
        Vlans is_after = is;
        std::uint32_t lookup_that_fails = 0; // the first one's is 1; 0 is none
    };

    // Messages that are not to change are where they cannot.
    void expect_sent_from(const Case &expected, GuardedBuffer &old_message,
                          GuardedBuffer &new_message) {
        if (message_of(expected.was_after) == message_of(expected.was))
            old_message.make_read_only();
        if (message_of(expected.is_after) == message_of(expected.is))
            new_message.make_read_only();
        platform().if_index_fields = fake::Behaviour<std::uint32_t>{0};
        platform().if_index_fields.returns_at(expected.lookup_that_fails, 0x62);
        EXPECT_EQ(FloodRequestTest::send(
                      old_message.data(), static_cast<std::uint16_t>(expected.was.size()),
                      new_message.data(), static_cast<std::uint16_t>(expected.is.size())),
                  expected.result);
        EXPECT_CALLS(expected.calls);
        EXPECT_EQ(old_message.content(), message_of(expected.was_after));
        EXPECT_EQ(new_message.content(), message_of(expected.is_after));
        EXPECT_TRUE(old_message.surroundings_untouched() && new_message.surroundings_untouched());
        EXPECT_EQ(allocations_.unreleased(), 0U);
    }

    // From addresses of every alignment, hard against either guard, the two messages' alignments
    // independent.
    void expect_sent(const Case &expected) {
        SCOPED_TRACE(expected.what);
        for (const auto side : {GuardedBuffer::Side::front, GuardedBuffer::Side::back}) {
            for (unsigned distances = 0; distances < 16; ++distances) {
                SCOPED_TRACE(distances);
                GuardedBuffer old_message(message_of(expected.was), side, distances % 4);
                GuardedBuffer new_message(message_of(expected.is), side, distances / 4);
                expect_sent_from(expected, old_message, new_message);
            }
        }
    }
};

TEST_F(FloodMessageTest, MayLieAnywhere) {
    const Vlans was = {{10, {{2}, {1}}}, {20, {}}, {30, {{7}, {5}, {6}}}};
    const Vlans is = {{10, {{3}, {2}}}, {20, {{4}}}, {30, {}}};
    const Vlans was_sorted = {{10, {{1}, {2}}}, {20, {}}, {30, {{5}, {6}, {7}}}};
    const Vlans is_sorted = {{10, {{2}, {3}}}, {20, {{4}}}, {30, {}}};
    const auto first = fake::in_order(counted(3), delta_begun(10), looked_up(2), looked_up(3),
                                      delta_traced("0xc", {{1, 2}, {3, 1}}));
    expect_sent(
        {"sent", was, is, 1,
         fake::in_order(first, delta_begun(20), looked_up(4), delta_traced("0x10", {{4, 1}}),
                        delta_begun(30), delta_traced("0x0", {{5, 2}, {6, 2}, {7, 2}}),
                        update_sent(hex("03000000"
                                        "0a000000 0000000000000000 0c000000 00000000 02000000"
                                        "01000000 02000000 03000000 01000000"
                                        "14000000 0000000000000000 10000000 00000000 01000000"
                                        "04000000 01000000"
                                        "1e000000 0000000000000000 00000000 00000000 03000000"
                                        "05000000 02000000 06000000 02000000 07000000 02000000"))),
         was_sorted, is_sorted});
    expect_sent({"no VLANs", {}, {}, 1, fake::in_order(counted(0), update_sent(hex("00000000")))});
    expect_sent({"the last VLAN differs",
                 was,
                 {is[0], is[1], {31, {}}},
                 0,
                 fake::in_order(counted(3),
                                failed(1332, "At index %d old VLAN %d not equal to new VLAN %d\n",
                                       "At index 2 old VLAN 30 not equal to new VLAN 31\n"))});
    expect_sent(
        {"the last lookup fails",
         was,
         is,
         0,
         fake::in_order(first, delta_begun(20), looked_up(4),
                        error_logged("vell_set_flc_bitmask", 1063,
                                     "Failed to get if_index fields for 0x%x, status 0x%x\n",
                                     "Failed to get if_index fields for 0x4, status 0x62\n"),
                        error_logged("vell_find_oiflist_delta", 1175, "Set LC bitmask failed\n",
                                     "Set LC bitmask failed\n"),
                        failed(1361, "Building NERB request payload failed 0x%x\n",
                               "Building NERB request payload failed 0x62\n")),
         {was_sorted[0], was[1], was[2]},
         is_sorted,
         3});
}

// What is traced is the other tests' affair.
class BigBatchTest : public FloodRequestTest {
protected:
    BigBatchTest() {
        platform().history_check.returns(1);
        platform().console_check.returns(0);
    }

    // The payloads that were sent, and the texts of the errors.
    struct Taken {
        std::vector<bytes> payloads = {};
        std::vector<std::string> errors = {};

        bool operator==(const Taken &) const = default;
    };

    static Taken taken() {
        Taken taken;
        for (const auto &call : fake::take_calls()) {
            if (const auto *update = std::get_if<fake::FloodUpdate>(&call))
                taken.payloads.push_back(update->payload);
            const auto *log = std::get_if<fake::ClientLog>(&call);
            if (log != nullptr && part(log->record, 0, 4) == word(error))
                taken.errors.emplace_back(log->record.begin() + 4, log->record.end() - 1);
        }
        return taken;
    }

    static bytes sent_payload() {
        const auto [payloads, errors] = taken();
        EXPECT_EQ(errors, std::vector<std::string>{});
        EXPECT_EQ(payloads.size(), 1U);
        return payloads.empty() ? bytes{} : payloads.front();
    }
};

// VLAN i loses interface i and gains interface i + 1, both on its own line card and next to it; one
// VLAN in four has none, but not the last one.
class FourThousandVlansTest : public BigBatchTest {
protected:
    static constexpr std::uint32_t vlans = 4000;
    static constexpr std::size_t allocated = 4 + 24 * vlans + 8 * 3000 * 4;

    FourThousandVlansTest() {
        payload = word(vlans);
        for (std::uint32_t i = 0; i < vlans; ++i)
            add_vlan(i + 1, i, i % 4 == 1);
    }

    void add_vlan(std::uint32_t id, std::uint32_t lost, bool empty) {
        was.push_back({id, empty ? Oifs{} : Oifs{{0x2000}, {lost}}});
        is.push_back({id, empty ? Oifs{} : Oifs{{0x2000}, {lost + 1}}});
        was_sorted.push_back({id, empty ? Oifs{} : Oifs{{lost}, {0x2000}}});
        is_sorted.push_back({id, empty ? Oifs{} : Oifs{{lost + 1}, {0x2000}}});
        const std::uint32_t mask = empty ? 0 : 1U | 1U << (lost + 1) % 256 % 32;
        const Updates updates = empty ? Updates{} : Updates{{lost, 2}, {lost + 1, 1}};
        payload = std::move(payload) + word(id) + bytes(8) + word(mask);
        payload = std::move(payload) + bytes(4) + word(static_cast<std::uint32_t>(updates.size()));
        payload = std::move(payload) + bytes_of(updates);
    }

    // Sends the batch, and compares what came of it; `sizes` are those of the allocations.
    void expect_failure(const Taken &expected, const Sizes &sizes) {
        EXPECT_EQ(send(was, is), 0U);
        const auto after = taken();
        EXPECT_EQ(after.errors, expected.errors);
        EXPECT_TRUE(after.payloads == expected.payloads);
        EXPECT_EQ(allocations_.take_sizes(), sizes);
        EXPECT_EQ(allocations_.unreleased(), 0U);
    }

    void expect_messages(const Vlans &old_vlans, const Vlans &new_vlans) {
        EXPECT_TRUE(was_ == message_of(old_vlans));
        EXPECT_TRUE(is_ == message_of(new_vlans));
    }

    Vlans was, is, was_sorted, is_sorted;
    bytes payload;
};

TEST_F(FourThousandVlansTest, GoOutAsOneRequest) {
    EXPECT_EQ(send(was, is), 1U);
    EXPECT_TRUE(sent_payload() == payload);
    EXPECT_EQ(allocations_.take_sizes(), Sizes{allocated});
    expect_messages(was_sorted, is_sorted);
}

TEST_F(FourThousandVlansTest, TheLastMayDiffer) {
    is.back().id = 4001;
    expect_failure({.errors = {"vell_send_l2_mc_update_flood_ltl(1332):ERROR: "
                               "At index 3999 old VLAN 4000 not equal to new VLAN 4001\n"}},
                   {});
    expect_messages(was, is);
}

TEST_F(FourThousandVlansTest, WithoutMemoryNothingIsSorted) {
    allocations_.fail();
    expect_failure(
        {.errors = {"vell_send_l2_mc_update_flood_ltl(1352):ERROR: Memory allocation failed\n"}},
        {allocated});
    expect_messages(was, is);
}

TEST_F(FourThousandVlansTest, TheVeryLastLookupMayFail) {
    platform().if_index_type.returns_at(3000 * 2, 0x62);
    expect_failure({.errors = {"vell_set_flc_bitmask(1055):ERROR: Failed to get if_index type for "
                               "0x2000, status 0x62\n",
                               "vell_find_oiflist_delta(1134):ERROR: Set LC bitmask failed\n",
                               "vell_send_l2_mc_update_flood_ltl(1361):ERROR: Building NERB "
                               "request payload failed 0x62\n"}},
                   {allocated});
    expect_messages(was_sorted, is_sorted);
}

TEST_F(FourThousandVlansTest, MayBeRefused) {
    platform().flood_update.returns(0x62);
    expect_failure({.payloads = {payload},
                    .errors = {"vell_send_l2_mc_update_flood_ltl(1368):ERROR: "
                               "Sending LTL update to NERB failed 0x62\n"}},
                   {allocated});
    expect_messages(was_sorted, is_sorted);
}

void store_word(bytes &raw, std::size_t offset, std::uint32_t number) {
    const auto stored = word(number);
    std::copy(stored.begin(), stored.end(), raw.begin() + static_cast<std::ptrdiff_t>(offset));
}

TEST_F(BigBatchTest, AsManyVlansAsCanBeCountedGoOut) {
    constexpr std::uint32_t vlans = 65535;
    bytes message(8 + 80 * vlans);
    bytes expected = word(vlans) + bytes(24 * vlans);
    for (std::uint32_t i = 0; i < vlans; ++i) {
        message = patched(std::move(message), 8 + 80 * i + 24, word(i));
        expected = patched(std::move(expected), 4 + 24 * i, word(i));
    }
    auto other = message;
    EXPECT_EQ(send(message.data(), vlans, other.data(), vlans), 1U);
    EXPECT_EQ(sent_payload(), expected);
    EXPECT_EQ(allocations_.take_sizes(), Sizes{4 + 24 * vlans});
}

// More entries than a C library sorts without memory of its own.
TEST_F(BigBatchTest, AVlanOfManyInterfacesIsSorted) {
    constexpr std::uint32_t interfaces = 5000;
    Oifs backward(interfaces), forward(interfaces);
    for (std::uint32_t i = 0; i < interfaces; ++i)
        backward[interfaces - 1 - i] = forward[i] = {0x1000 + i};
    EXPECT_EQ(send({{10, backward}}, {{10, forward}}), 1U);
    EXPECT_EQ(sent_payload(), hex("01000000 0a000000 0000000000000000 ffffffff 00000000 00000000"));
    EXPECT_EQ(was_, message_of({{10, forward}}));
    EXPECT_EQ(is_, message_of({{10, forward}}));
}

TEST_F(BigBatchTest, AVlanMayHaveMoreInterfacesThan16BitsCount) {
    constexpr std::uint32_t interfaces = 65537;
    constexpr std::size_t first_oif = 8 + 74, last_oif = first_oif + 32 * (interfaces - 1);
    bytes was(8 + 2 * 80 + 32 * interfaces);
    for (std::uint32_t i = 0; i < interfaces; ++i)
        store_word(was, first_oif + 32 * i + 16, 0x1000 + i);
    store_word(was, 8 + 24, 10);
    store_word(was, 8 + 70, interfaces);
    store_word(was, 8 + 80 + 32 * interfaces + 24, 20);
    auto is = was;
    store_word(was, last_oif + 16, 0x20000);
    store_word(is, last_oif + 16, 0x20001);
    EXPECT_EQ(send(was.data(), 2, is.data(), 2), 1U);
    EXPECT_EQ(sent_payload(),
              zero_padded(hex("02000000 0a000000 0000000000000000 ffffffff 00000000 02000000"
                              "00000200 02000000 01000200 01000000 14000000"),
                          68));
    EXPECT_EQ(allocations_.take_sizes(), Sizes{4 + 2 * 24 + 8 * 2 * interfaces});
}

TEST_F(BigBatchTest, AVlanMayChangeInMoreInterfacesThan16BitsCount) {
    constexpr std::uint32_t interfaces = 65537;
    bytes was(8 + 80), is(8 + 80 + 32 * interfaces), updates(8 * interfaces);
    store_word(was, 8 + 24, 10);
    store_word(is, 8 + 24, 10);
    store_word(is, 8 + 70, interfaces);
    for (std::uint32_t i = 0; i < interfaces; ++i) {
        store_word(is, 8 + 74 + 32 * i + 16, 0x1000 + i);
        store_word(updates, 8 * i, 0x1000 + i);
        store_word(updates, 8 * i + 4, 1);
    }
    EXPECT_EQ(send(was.data(), 1, is.data(), 1), 1U);
    EXPECT_EQ(sent_payload(),
              hex("01000000 0a000000 0000000000000000 ffffffff 00000000 01000100") + updates);
}

} // namespace
