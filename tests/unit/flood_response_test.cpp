// The manager's answer to a flood update, and the layer-2 message that is made of it.
#include "ltl_test.h"

#include <optional>

namespace {

using fake::platform;
using Sizes = std::vector<std::size_t>;

class FloodResponseTest : public LtlTest {
protected:
    FloodResponseTest() { answer(0, {{{100, 0x51525354, 0x61626364, 0}}}); }

    void TearDown() override {
        release();
        LtlTest::TearDown();
    }

    static void answer(std::uint32_t status, const std::vector<nerb_rsp_info> &vlans) {
        auto &reply = platform().reply;
        reply.status = status;
        reply.entry_count = static_cast<std::uint32_t>(vlans.size());
        reply.entries = vlans;
    }

    std::uint32_t handle() {
        release();
        std::uint8_t stale = 0;
        result_ = &stale;
        return vell_handle_l2_mc_update_flood_ltl_resp(&rsp_, &result_);
    }

    void release() {
        allocations_.release(result_);
        result_ = nullptr;
    }

    bytes result(std::size_t size) const { return {result_, result_ + size}; }

    fake::Calls parsed(std::uint32_t count) const {
        return {fake::RspStatus{&rsp_}, fake::RspEntryCount{&rsp_, 0}, fake::RspInfo{&rsp_, count}};
    }

    static fake::Calls failed(int line, const std::string &format, const std::string &text) {
        return error_logged("vell_handle_l2_mc_update_flood_ltl_resp", line, format, text);
    }

    static fake::Calls refused(std::uint32_t vlan, std::uint32_t status) {
        return failed(1454, "Nack for vlan %d status %d\n",
                      "Nack for vlan " + signed_text(vlan) + " status " + signed_text(status) +
                          "\n");
    }

    void expect_no_result(const Sizes &asked_for = {}) {
        EXPECT_EQ(result_, nullptr);
        EXPECT_EQ(allocations_.take_sizes(), asked_for);
    }

    int rsp_ = 0;
    std::uint8_t *result_ = nullptr;
};

TEST_F(FloodResponseTest, OneAcknowledgedVlan) {
    EXPECT_EQ(handle(), 1U);
    EXPECT_CALLS(parsed(1));
    EXPECT_EQ(allocations_.take_sizes(), Sizes{88});
    bytes expected(88);
    expected[3] = 0x01;
    expected[7] = 0x01;
    expected[9] = 0x01;
    expected[35] = 0x64;
    EXPECT_EQ(result(88), expected);
}

TEST_F(FloodResponseTest, VlanIdsAreInNetworkOrder) {
    answer(0, {{{0x11121314, 1, 1, 0}}});
    EXPECT_EQ(handle(), 1U);
    EXPECT_CALLS(parsed(1));
    EXPECT_EQ(part(result(88), 32, 4), hex("11121314"));
}

TEST_F(FloodResponseTest, AnOverallFailureLeavesTheHeadersFlagsAt0) {
    for (const auto status : failures) {
        SCOPED_TRACE(status);
        answer(status, {{{1, 0, 0, 0}}, {{2, 0, 0, 0}}});
        EXPECT_EQ(handle(), 1U);
        EXPECT_CALLS(parsed(2));
        bytes expected = hex("0000 0002 0000 0000");
        expected = zero_padded(expected + hex("0001"), 8 + 24);
        expected = zero_padded(expected + hex("00000001"), 8 + 80);
        expected = zero_padded(expected + hex("0001"), 8 + 80 + 24);
        expected = zero_padded(expected + hex("00000002"), 8 + 160);
        EXPECT_EQ(result(168), expected);
    }
}

TEST_F(FloodResponseTest, ARefusedVlanIsError1454AndNoFailure) {
    answer(0, {{{1, 0, 0, 0}}, {{2, 0, 0, 7}}});
    EXPECT_EQ(handle(), 1U);
    EXPECT_CALLS(parsed(2), refused(2, 7));
    bytes expected = zero_padded(hex("0000 0002 0000 0001 0001"), 8 + 24);
    expected = zero_padded(expected + hex("00000001"), 8 + 80 + 24);
    expected = zero_padded(expected + hex("00000002"), 8 + 160);
    EXPECT_EQ(result(168), expected);
}

TEST_F(FloodResponseTest, EveryRefusedVlanIsNamed) {
    answer(5, {{{0xffffffff, 0, 0, 0x80000000}},
               {{2, 0, 0, 0}},
               {{3, 0, 0, 0x100}},
               {{4, 0, 0, 0x10000}}});
    EXPECT_EQ(handle(), 1U);
    EXPECT_CALLS(parsed(4), refused(0xffffffff, 0x80000000), refused(3, 0x100),
                 refused(4, 0x10000));
    const auto message = result(8 + 4 * 80);
    EXPECT_EQ(part(message, 0, 8), hex("0000 0004 0000 0000"));
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_EQ(message[8 + 80 * i + 1], i == 1 ? 1 : 0) << i;
}

TEST_F(FloodResponseTest, AsManyAs4095VlansAreTaken) {
    std::vector<nerb_rsp_info> vlans(4095);
    bytes expected = hex("0000 0fff 0000 0001");
    fake::Calls refusals;
    for (std::uint32_t i = 0; i < 4095; ++i) {
        const bool refuse = i % 1000 == 999;
        vlans[i] = {{i, ~i, i + 7, refuse ? i : 0}};
        bytes record(80);
        record[1] = refuse ? 0 : 1;
        record[26] = static_cast<std::uint8_t>(i >> 8);
        record[27] = static_cast<std::uint8_t>(i);
        expected = std::move(expected) + record;
        if (refuse)
            fake::add(refusals, refused(i, i));
    }
    answer(0, vlans);
    EXPECT_EQ(handle(), 1U);
    EXPECT_CALLS(parsed(4095), refusals);
    EXPECT_EQ(allocations_.take_sizes(), Sizes{8 + 80 * 4095});
    EXPECT_EQ(result(expected.size()), expected);
}

TEST_F(FloodResponseTest, NoVlanOrMoreThan4095AreError1411) {
    for (const std::uint32_t count : {0U, 4096U, 4097U, 0x10001U, 0x80000001U, 0xffffffffU}) {
        SCOPED_TRACE(count);
        platform().reply.entry_count = count;
        EXPECT_EQ(handle(), 0U);
        EXPECT_CALLS(
            fake::RspStatus{&rsp_}, fake::RspEntryCount{&rsp_, 0},
            failed(1411, "NERB returned status=%d with entry count (%d)\n",
                   "NERB returned status=0 with entry count (" + signed_text(count) + ")\n"));
        expect_no_result();
    }
}

TEST_F(FloodResponseTest, AStatusThatIsNotStoredIs0) {
    answer(9, {{{100, 0, 0, 0}}});
    EXPECT_EQ(handle(), 1U);
    fake::take_calls();
    platform().reply.status.reset();
    EXPECT_EQ(handle(), 1U);
    EXPECT_CALLS(parsed(1));
    EXPECT_EQ(part(result(88), 0, 8), hex("0000 0001 0000 0001"));
}

TEST_F(FloodResponseTest, ACountThatIsNotStoredIs0) {
    platform().reply.entry_count.reset();
    EXPECT_EQ(handle(), 0U);
    EXPECT_CALLS(fake::RspStatus{&rsp_}, fake::RspEntryCount{&rsp_, 0},
                 failed(1411, "NERB returned status=%d with entry count (%d)\n",
                        "NERB returned status=0 with entry count (0)\n"));
    expect_no_result();
}

TEST_F(FloodResponseTest, AStatusThatCannotBeReadIsError1404WithoutALineFeed) {
    for (const auto failure : failures) {
        for (const bool stored : {true, false}) {
            SCOPED_TRACE(failure);
            platform().rsp_status.returns(failure);
            if (!stored)
                platform().reply.status.reset();
            EXPECT_EQ(handle(), 0U);
            EXPECT_CALLS(fake::RspStatus{&rsp_},
                         failed(1404, "NERB parse rsp status=%d",
                                "NERB parse rsp status=" + signed_text(failure)));
            expect_no_result();
        }
    }
}

TEST_F(FloodResponseTest, ACountThatCannotBeReadIsError1411) {
    const struct {
        std::optional<std::uint32_t> count;
        const char *text;
    } rows[] = {{1, "1"}, {5000, "5000"}, {{}, "0"}};
    for (const auto failure : failures) {
        for (const auto &row : rows) {
            SCOPED_TRACE(testing::Message() << failure << ", " << row.text);
            platform().rsp_entry_count.returns(failure);
            platform().reply.entry_count = row.count;
            EXPECT_EQ(handle(), 0U);
            EXPECT_CALLS(fake::RspStatus{&rsp_}, fake::RspEntryCount{&rsp_, 0},
                         failed(1411, "NERB returned status=%d with entry count (%d)\n",
                                "NERB returned status=" + signed_text(failure) +
                                    " with entry count (" + row.text + ")\n"));
            expect_no_result();
        }
    }
}

TEST_F(FloodResponseTest, EntriesThatCannotBeReadAreError1418) {
    for (const auto failure : failures) {
        for (const bool stored : {true, false}) {
            SCOPED_TRACE(failure);
            platform().rsp_info.returns(failure);
            if (!stored)
                platform().reply.entries.clear();
            EXPECT_EQ(handle(), 0U);
            EXPECT_CALLS(parsed(1), failed(1418, "NERB returned status=%d for get resp info\n",
                                           "NERB returned status=" + signed_text(failure) +
                                               " for get resp info\n"));
            expect_no_result();
        }
    }
}

TEST_F(FloodResponseTest, EntriesThatAreNotStoredAre0) {
    answer(0, {{{~0U, ~0U, ~0U, ~0U}}, {{~0U, ~0U, ~0U, ~0U}}});
    EXPECT_EQ(handle(), 1U);
    fake::take_calls();
    platform().reply.entries.clear();
    EXPECT_EQ(handle(), 1U);
    EXPECT_CALLS(parsed(2));
    bytes expected = zero_padded(hex("0000 0002 0000 0001 0001"), 8 + 80);
    expected = zero_padded(expected + hex("0001"), 8 + 160);
    EXPECT_EQ(result(168), expected);
}

TEST_F(FloodResponseTest, WithoutMemoryItIsError1428) {
    allocations_.fail();
    answer(0, {{{1, 0, 0, 9}}, {{2, 0, 0, 0}}});
    EXPECT_EQ(handle(), 0U);
    EXPECT_CALLS(parsed(2),
                 failed(1428, "Memory allocation failed\n", "Memory allocation failed\n"));
    expect_no_result({168});
}

TEST_F(FloodResponseTest, NeedsNoClient) {
    set_client_state({.id = 0, .queue = 0, .uuid = client.uuid});
    EXPECT_EQ(handle(), 1U);
    EXPECT_CALLS(parsed(1));
    EXPECT_NE(result_, nullptr);
}

} // namespace
