// The route message that carries a dux role.
#include "library_test.h"

#include <algorithm>

namespace {

using fake::platform;

constexpr ClientState acknowledged = {.id = 0xe7, .queue = 0x14131211, .uuid = 5};
constexpr TlvCursor some_cursor = {.address = 0x71, .size = 0x72};

struct Role {
    const char *name;
    std::uint32_t value;
    std::uint32_t constant;
    std::uint32_t (*send)();
    bytes flags;
};

const Role roles[] = {
    {"all", 1, vell_dux_role_forward_all, vell_mrib_send_dux_role_forward_all, {0, 0, 0x04, 0}},
    {"even", 2, vell_dux_role_forward_even, vell_mrib_send_dux_role_forward_even, {0, 0, 0x08, 0}},
    {"odd", 3, vell_dux_role_forward_odd, vell_mrib_send_dux_role_forward_odd, {0, 0, 0x10, 0}},
    {"none", 4, vell_dux_role_forward_none, vell_mrib_send_dux_role_forward_none, {0, 0, 0, 0x02}},
};

class DuxRoleTest : public LibraryTest {
protected:
    DuxRoleTest() {
        set_client_state(acknowledged);
        set_tlv_cursor(some_cursor);
    }

    // The message of 52 bytes, or more when the TLV array is larger than nothing.
    static fake::Send role_message(const bytes &flags, std::size_t length = 52) {
        const bytes head = {0xe7, 0, 1, 0, 0xa5, 0x5a, 0, 0, 23, 0, 0, 0};
        return sent({.queue = 0x14131211,
                     .sap = 214,
                     .opcode = 75831,
                     .option_word1 = 0,
                     .payload = zero_padded(head + flags, length)});
    }

    // The array that was measured lies in the message that was sent afterwards.
    static fake::SizeGet size_asked() { return {platform().payload_address + 48, 0}; }

    static void expect_role_sent(const bytes &flags) {
        EXPECT_CALLS(size_asked(), role_message(flags), released(0x14131211));
        EXPECT_EQ(client_state(), acknowledged);
        EXPECT_EQ(tlv_cursor(), some_cursor);
    }
};

TEST_F(DuxRoleTest, IsSentAsTheRoutesFlag) {
    for (const auto &role : roles) {
        SCOPED_TRACE(role.name);
        fake::reset_platform();
        EXPECT_EQ(vell_mrib_send_dux_role_update(role.value), 1U);
        expect_role_sent(role.flags);
        EXPECT_EQ(role.constant, role.value);
    }
}

TEST_F(DuxRoleTest, HasAFunctionForEachRole) {
    for (const auto &role : roles) {
        SCOPED_TRACE(role.name);
        fake::reset_platform();
        EXPECT_EQ(role.send(), 1U);
        expect_role_sent(role.flags);
    }
}

TEST_F(DuxRoleTest, OfUnknownValueIsSentWithAZeroFlagWord) {
    for (const std::uint32_t role :
         {5U, 0U, 6U, 17U, 0x100U, 0x101U, 0x10001U, 0x40000U, 0x80000001U, 0xffffffffU}) {
        SCOPED_TRACE(role);
        fake::reset_platform();
        EXPECT_EQ(vell_mrib_send_dux_role_update(role), 1U);
        expect_role_sent({0, 0, 0, 0});
    }
}

TEST_F(DuxRoleTest, IsAsLongAsItsTlvArrayIsMeasured) {
    for (const std::uint32_t size : {1U, 4U, 47U, 48U}) {
        SCOPED_TRACE(size);
        fake::reset_platform();
        platform().size_get.returns(size);
        EXPECT_EQ(vell_mrib_send_dux_role_update(1), 1U);
        EXPECT_CALLS(size_asked(), role_message({0, 0, 0x04, 0}, 52 + size), released(0x14131211));
    }
}

TEST_F(DuxRoleTest, MeasuresATlvArrayThatIsCleared) {
    bool cleared = false;
    platform().size_get.runs([&] {
        const auto &call = std::get<fake::SizeGet>(platform().calls.back());
        const auto *const array = static_cast<const std::uint8_t *>(call.array);
        cleared = std::all_of(array, array + 52, [](std::uint8_t byte) { return byte == 0; });
    });
    EXPECT_EQ(vell_mrib_send_dux_role_update(1), 1U);
    EXPECT_TRUE(cleared);
    EXPECT_CALLS(size_asked(), role_message({0, 0, 0x04, 0}), released(0x14131211));
}

TEST_F(DuxRoleTest, IsBuiltAfreshEachTime) {
    EXPECT_EQ(vell_mrib_send_dux_role_update(4), 1U);
    const auto first = size_asked();
    EXPECT_EQ(vell_mrib_send_dux_role_update(1), 1U);
    EXPECT_CALLS(first, role_message({0, 0, 0, 0x02}), released(0x14131211, 1), size_asked(),
                 role_message({0, 0, 0x04, 0}), released(0x14131211, 2));
}

TEST_F(DuxRoleTest, SaysNothingWhenTheSendFailsAndReleasesNothing) {
    platform().kyt_send.returns(-1);
    EXPECT_EQ(vell_mrib_send_dux_role_update(2), 0U);
    EXPECT_CALLS(size_asked(), role_message({0, 0, 0x08, 0}));
    EXPECT_EQ(client_state(), acknowledged);
    EXPECT_EQ(tlv_cursor(), some_cursor);
}

TEST_F(DuxRoleTest, FunctionsOfEachRoleReturnTheSendsFailure) {
    platform().kyt_send.returns(-1);
    for (const auto &role : roles) {
        EXPECT_EQ(role.send(), 0U);
        EXPECT_CALLS(size_asked(), role_message(role.flags));
    }
}

TEST_F(DuxRoleTest, TakesEveryResultButMinus1ForSuccess) {
    for (const auto result : successful_results) {
        SCOPED_TRACE(result);
        fake::reset_platform();
        platform().kyt_send.returns(result);
        EXPECT_EQ(vell_mrib_send_dux_role_update(3), 1U);
        EXPECT_CALLS(size_asked(), role_message({0, 0, 0x10, 0}), released(0x14131211));
    }
}

TEST_F(DuxRoleTest, WithoutAnAcknowledgedClientCallsNothingAndSaysNothing) {
    for (const auto &state : {ClientState{.id = 0, .queue = 0, .uuid = 384},
                              ClientState{.id = 0, .queue = 7, .uuid = 5},
                              ClientState{.id = 9, .queue = 0, .uuid = 5}}) {
        set_client_state(state);
        EXPECT_EQ(vell_mrib_send_dux_role_update(1), 0U);
        for (const auto &role : roles)
            EXPECT_EQ(role.send(), 0U);
        EXPECT_NO_CALLS();
        EXPECT_EQ(client_state(), state);
        EXPECT_EQ(tlv_cursor(), some_cursor);
    }
}

} // namespace
