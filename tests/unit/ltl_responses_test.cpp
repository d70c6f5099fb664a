// The manager's replies to requests for LTL indexes.
#include "ltl_test.h"

#include <initializer_list>

namespace {

using fake::platform;

// Both result words between other bytes, at odd addresses.
class LtlReplyTest : public LtlTest {
protected:
    using Handler = int (*)(const void *, std::uint32_t *, std::uint32_t *);

    explicit LtlReplyTest(Handler handler) : handler_(handler) {}

    int handle() {
        return handler_(&rsp_, reinterpret_cast<std::uint32_t *>(results_.data() + 3),
                        reinterpret_cast<std::uint32_t *>(results_.data() + 9));
    }

    void expect_success(const char *result1, const char *result2, const fake::Calls &calls) {
        results_ = pattern(16);
        EXPECT_EQ(handle(), 1);
        EXPECT_CALLS(calls);
        EXPECT_EQ(results_, patched(patched(pattern(16), 3, hex(result1)), 9, hex(result2)));
        EXPECT_EQ(allocations_.take_sizes(), std::vector<std::size_t>{});
    }

    void expect_failure(const fake::Calls &calls) {
        results_ = pattern(16);
        EXPECT_EQ(handle(), 0);
        EXPECT_CALLS(calls);
        EXPECT_EQ(results_, pattern(16));
        EXPECT_EQ(allocations_.take_sizes(), std::vector<std::size_t>{});
    }

    Handler handler_;
    int rsp_ = 0;
    bytes results_ = pattern(16);
};

class LtlResponseTest : public LtlReplyTest {
protected:
    LtlResponseTest() : LtlReplyTest(vell_nerb_handle_l2_response) {
        auto &reply = platform().reply;
        reply.status = 0;
        reply.entry_count = 1;
        reply.entries = {{{0x11121314, 0x21222324, 0x31323334, 0}}};
    }

    static fake::Calls failed(int line, const std::string &format, const std::string &text) {
        return error_logged("vell_nerb_handle_l2_response", line, format, text);
    }

    fake::Calls status_asked() const { return {fake::RspStatus{&rsp_}}; }
    fake::Calls count_asked() const {
        return fake::in_order(status_asked(), fake::RspEntryCount{&rsp_, 0});
    }
    fake::Calls entry_asked() const {
        return fake::in_order(count_asked(), fake::RspInfo{&rsp_, 1});
    }

    void expect_status_failure(std::uint32_t failure, std::uint32_t status) {
        SCOPED_TRACE(testing::Message() << failure << ", " << status);
        expect_failure(
            fake::in_order(status_asked(), failed(1654, "NERB rsp returned err=%d, status=%d",
                                                  "NERB rsp returned err=" + signed_text(failure) +
                                                      ", status=" + signed_text(status))));
    }

    void expect_count_failure(std::uint32_t failure, std::uint32_t count) {
        SCOPED_TRACE(testing::Message() << failure << ", " << count);
        expect_failure(fake::in_order(
            count_asked(), failed(1662, "NERB get returned err=%d with entry count (%d)",
                                  "NERB get returned err=" + signed_text(failure) +
                                      " with entry count (" + signed_text(count) + ")")));
    }

    void expect_entry_failure(std::uint32_t failure, std::uint32_t status) {
        SCOPED_TRACE(testing::Message() << failure << ", " << status);
        expect_failure(fake::in_order(
            entry_asked(), failed(1669, "NERB info returned err=%d in parsing resp, status:%d",
                                  "NERB info returned err=" + signed_text(failure) +
                                      " in parsing resp, status:" + signed_text(status))));
    }
};

TEST_F(LtlResponseTest, GivesWords0And2) {
    expect_success("14131211", "34333231", entry_asked());
}

TEST_F(LtlResponseTest, NeedsNoClient) {
    set_client_state({});
    expect_success("14131211", "34333231", entry_asked());
}

TEST_F(LtlResponseTest, AStatusThatCannotBeReadIsError1654) {
    for (const auto failure : failures) {
        platform().rsp_status.returns(failure);
        for (const std::uint32_t status : {0U, 9U}) {
            platform().reply.status = status;
            expect_status_failure(failure, status);
        }
        platform().reply.status.reset();
        expect_status_failure(failure, 0);
    }
}

TEST_F(LtlResponseTest, AReplyOfFailureIsError1654) {
    for (const auto status : failures) {
        platform().reply.status = status;
        expect_status_failure(0, status);
    }
}

TEST_F(LtlResponseTest, ACountThatCannotBeReadIsError1662) {
    for (const auto failure : failures) {
        platform().rsp_entry_count.returns(failure);
        for (const std::uint32_t count : {0U, 1U, 2U}) {
            platform().reply.entry_count = count;
            expect_count_failure(failure, count);
        }
        platform().reply.entry_count.reset();
        expect_count_failure(failure, 0);
    }
}

TEST_F(LtlResponseTest, AnotherNumberThan1IsError1662) {
    for (const std::uint32_t count : {0U, 2U, 0x101U, 0x10001U, 0x80000001U, 0xffffffffU}) {
        platform().reply.entry_count = count;
        expect_count_failure(0, count);
    }
    platform().reply.entry_count.reset();
    expect_count_failure(0, 0);
}

TEST_F(LtlResponseTest, AnEntryThatCannotBeReadIsError1669) {
    for (const auto failure : failures) {
        platform().rsp_info.returns(failure);
        for (const std::uint32_t status : {0U, 9U}) {
            platform().reply.entries = {{{1, 2, 3, status}}};
            expect_entry_failure(failure, status);
        }
        platform().reply.entries.clear();
        expect_entry_failure(failure, 0);
    }
}

TEST_F(LtlResponseTest, AnEntryOfFailureIsError1669) {
    platform().reply.entries = {{{0x11121314, 0x21222324, 0x31323334, 5}}};
    expect_entry_failure(0, 5);
    for (const auto status : failures) {
        platform().reply.entries = {{{0x11121314, 0x21222324, 0x31323334, status}}};
        expect_entry_failure(0, status);
    }
}

class LtlAllocResponseTest : public LtlReplyTest {
protected:
    LtlAllocResponseTest() : LtlReplyTest(vell_nerb_handle_l2_alloc_response) {
        auto &reply = platform().reply;
        reply.alloc_status = 0;
        reply.alloc_entry_count = 1;
        reply.parm_status = 0;
        reply.parm = {{0x11121314, 0x21222324, 0x31323334}};
    }

    static fake::Calls failed(int line, const std::string &format, const std::string &text) {
        return error_logged("vell_nerb_handle_l2_alloc_response", line, format, text);
    }

    fake::Calls count_asked() const {
        return {fake::AllocEntryCount{.rsp = &rsp_, .kind = 13, .count_was = 0}};
    }
    fake::Calls parm_asked() const {
        return fake::in_order(count_asked(),
                              fake::AllocRspParm{.rsp = &rsp_, .same_status = true, .kind = 13});
    }

    void expect_count_failure(std::uint32_t failure, std::uint32_t status, std::uint16_t count) {
        SCOPED_TRACE(testing::Message() << failure << ", " << status << ", " << count);
        expect_failure(fake::in_order(
            count_asked(), failed(1616, "NERB get returned err=%d, status=%d, count=%d",
                                  "NERB get returned err=" + signed_text(failure) + ", status=" +
                                      signed_text(status) + ", count=" + signed_text(count))));
    }

    void expect_parm_failure(std::uint32_t failure, std::uint32_t status) {
        SCOPED_TRACE(testing::Message() << failure << ", " << status);
        expect_failure(
            fake::in_order(parm_asked(), failed(1623, "NERB parm returned err=%d, status=%d",
                                                "NERB parm returned err=" + signed_text(failure) +
                                                    ", status=" + signed_text(status))));
    }
};

TEST_F(LtlAllocResponseTest, GivesWords1And2) {
    expect_success("24232221", "34333231", parm_asked());
}

TEST_F(LtlAllocResponseTest, NeedsNoClient) {
    set_client_state({});
    expect_success("24232221", "34333231", parm_asked());
}

TEST_F(LtlAllocResponseTest, ACountThatCannotBeReadIsError1616) {
    for (const auto failure : failures) {
        platform().alloc_entry_count.returns(failure);
        for (const std::uint32_t status : {0U, 9U}) {
            for (const auto count : std::initializer_list<std::uint16_t>{0, 1, 2, 65535}) {
                platform().reply.alloc_status = status;
                platform().reply.alloc_entry_count = count;
                expect_count_failure(failure, status, count);
            }
        }
        platform().reply.alloc_status.reset();
        platform().reply.alloc_entry_count.reset();
        expect_count_failure(failure, 0, 0);
    }
}

TEST_F(LtlAllocResponseTest, AReplyOfFailureIsError1616) {
    for (const auto status : failures) {
        platform().reply.alloc_status = status;
        expect_count_failure(0, status, 1);
    }
}

TEST_F(LtlAllocResponseTest, AnotherNumberThan1IsError1616) {
    for (const auto count : std::initializer_list<std::uint16_t>{0, 2, 0x101, 65535}) {
        platform().reply.alloc_entry_count = count;
        expect_count_failure(0, 0, count);
    }
    platform().reply.alloc_entry_count.reset();
    expect_count_failure(0, 0, 0);
}

TEST_F(LtlAllocResponseTest, ParametersThatCannotBeReadAreError1623) {
    for (const auto failure : failures) {
        platform().alloc_rsp_parm.returns(failure);
        for (const std::uint32_t status : {0U, 9U}) {
            platform().reply.parm_status = status;
            expect_parm_failure(failure, status);
        }
        platform().reply.parm_status.reset();
        platform().reply.parm.reset();
        expect_parm_failure(failure, 0);
    }
}

TEST_F(LtlAllocResponseTest, ParametersOfFailureAreError1623) {
    for (const auto status : failures) {
        platform().reply.parm_status = status;
        expect_parm_failure(0, status);
    }
}

} // namespace
