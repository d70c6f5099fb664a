// The service's answer to a registration.
#include "library_test.h"

#include <sys/mman.h>
#include <unistd.h>

namespace {

using fake::platform;

fake::Calls acknowledgment_refused(std::uint32_t uuid = 384) {
    return logged({.level = trace,
                   .uuid = uuid,
                   .format = "%s(%d):TRACE: Failed to update client_id\n",
                   .text = "vell_register_ack(180):TRACE: Failed to update client_id\n",
                   .client_text = "vell_register_ack(180):Failed to update client_id\n"});
}

class RegisterAckTest : public LibraryTest {
protected:
    std::uint32_t answer(std::uint8_t id, std::uint8_t flags) {
        payload_[0] = id;
        payload_[1] = flags;
        platform().kyt_payload_get.returns(payload_);
        return vell_register_ack(&message_);
    }

    fake::PayloadGet payload_asked() const { return {&message_}; }

    char message_ = 'm';
    std::uint8_t payload_[2] = {};
};

TEST_F(RegisterAckTest, StoresTheIdOfAnAcceptedRegistration) {
    register_client(7, 5);
    EXPECT_EQ(answer(0xc9, 0x01), 1U);
    EXPECT_CALLS(payload_asked());
    EXPECT_EQ(client_state(), (ClientState{.id = 0xc9, .queue = 7, .uuid = 5}));
}

TEST_F(RegisterAckTest, Returns1ForEveryIdBut0) {
    for (unsigned id = 1; id < 256; ++id) {
        EXPECT_EQ(answer(static_cast<std::uint8_t>(id), 1), 1U);
        EXPECT_EQ(client_state(), (ClientState{.id = id}));
        EXPECT_CALLS(payload_asked());
    }
}

TEST_F(RegisterAckTest, StoresAnAcceptedIdOf0AndReturns0WithoutAMessage) {
    become_acknowledged({.id = 9, .queue = 7, .uuid = 5});
    EXPECT_EQ(answer(0, 1), 0U);
    EXPECT_CALLS(payload_asked());
    EXPECT_EQ(client_state(), (ClientState{.id = 0, .queue = 7, .uuid = 5}));
}

TEST_F(RegisterAckTest, LooksAtTheLowestFlagOnly) {
    for (unsigned flags = 0; flags < 256; ++flags) {
        SCOPED_TRACE(flags);
        set_client_state({.id = 9});
        const bool accepted = flags % 2 != 0;
        EXPECT_EQ(answer(33, static_cast<std::uint8_t>(flags)), accepted ? 1U : 0U);
        EXPECT_EQ(vell_client_id, accepted ? 33 : 0);
        if (accepted)
            EXPECT_CALLS(payload_asked());
        else
            EXPECT_CALLS(payload_asked(), acknowledgment_refused());
    }
}

TEST_F(RegisterAckTest, ClearsAStoredIdWhenTheServiceRefuses) {
    become_acknowledged({.id = 9, .queue = 7, .uuid = 5});
    EXPECT_EQ(answer(33, 0), 0U);
    EXPECT_CALLS(payload_asked(), acknowledgment_refused(5));
    EXPECT_EQ(client_state(), (ClientState{.id = 0, .queue = 7, .uuid = 5}));
}

TEST_F(RegisterAckTest, ClearsAStoredIdWhenTheMessageHasNoPayload) {
    become_acknowledged({.id = 9, .queue = 7, .uuid = 5});
    EXPECT_EQ(vell_register_ack(&message_), 0U);
    EXPECT_CALLS(payload_asked(), acknowledgment_refused(5));
    EXPECT_EQ(client_state(), (ClientState{.id = 0, .queue = 7, .uuid = 5}));
}

TEST_F(RegisterAckTest, LogsBeforeItClearsTheId) {
    set_client_state({.id = 9});
    unsigned id_at_log = 0;
    platform().client_log.runs([&] { id_at_log = vell_client_id; });
    EXPECT_EQ(answer(33, 0), 0U);
    EXPECT_EQ(id_at_log, 9U);
    EXPECT_CALLS(payload_asked(), acknowledgment_refused());
}

TEST_F(RegisterAckTest, ReplacesAnIdThatIsHeld) {
    become_acknowledged({.id = 9, .queue = 7, .uuid = 5});
    EXPECT_EQ(answer(10, 1), 1U);
    EXPECT_CALLS(payload_asked());
    EXPECT_EQ(client_state(), (ClientState{.id = 10, .queue = 7, .uuid = 5}));
}

TEST_F(RegisterAckTest, HandsTheMessageOnEvenWhenItIsNull) {
    EXPECT_EQ(vell_register_ack(nullptr), 0U);
    EXPECT_CALLS(fake::PayloadGet{nullptr}, acknowledgment_refused());
}

TEST_F(RegisterAckTest, ReadsNothingBehindTheFlags) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    void *const area =
        mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(area, MAP_FAILED);
    auto *const second_page = static_cast<std::uint8_t *>(area) + page;
    ASSERT_EQ(mprotect(second_page, page, PROT_NONE), 0);
    second_page[-2] = 33;
    second_page[-1] = 1;

    platform().kyt_payload_get.returns(second_page - 2);
    EXPECT_EQ(vell_register_ack(&message_), 1U);
    EXPECT_CALLS(payload_asked());
    EXPECT_EQ(vell_client_id, 33);
    munmap(area, 2 * page);
}

} // namespace
