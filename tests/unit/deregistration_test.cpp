// Deregistering, and giving a queue without registering.
#include "library_test.h"

namespace {

using fake::platform;

using DeregisterTest = LibraryTest;

fake::Send deregister_request(std::uint32_t queue, std::uint8_t id) {
    return sent({.queue = queue,
                 .sap = 212,
                 .opcode = 75797,
                 .option_word1 = 0,
                 .payload = zero_padded({id}, 248)});
}

TEST_F(DeregisterTest, TellsTheServiceAndRestoresTheInitialStateWithUuid384) {
    become_acknowledged({.id = 0xe7, .queue = 0x14131211, .uuid = 5});
    EXPECT_EQ(vell_deregister(), 1U);
    EXPECT_CALLS(deregister_request(0x14131211, 0xe7), released(0x14131211));
    EXPECT_EQ(client_state(), (ClientState{.id = 0, .queue = 0, .uuid = 384}));
}

TEST_F(DeregisterTest, LeavesTheClientRegisteredWhenTheSendFailsAndSaysNothing) {
    become_acknowledged({.id = 9, .queue = 7, .uuid = 5});
    platform().kyt_send.returns(-1);
    EXPECT_EQ(vell_deregister(), 0U);
    EXPECT_CALLS(deregister_request(7, 9));
    EXPECT_EQ(client_state(), (ClientState{.id = 9, .queue = 7, .uuid = 5}));
}

TEST_F(DeregisterTest, TakesEveryResultButMinus1ForSuccess) {
    for (const auto result : successful_results) {
        SCOPED_TRACE(result);
        set_client_state({.id = 9, .queue = 7, .uuid = 5});
        fake::reset_platform();
        platform().kyt_send.returns(result);
        EXPECT_EQ(vell_deregister(), 1U);
        EXPECT_CALLS(deregister_request(7, 9), released(7));
        EXPECT_EQ(client_state(), ClientState{});
    }
}

TEST_F(DeregisterTest, ReleasesTheReferenceBeforeItForgetsTheClient) {
    become_acknowledged({.id = 9, .queue = 7, .uuid = 5});
    ClientState at_send;
    ClientState at_drop;
    platform().kyt_send.runs([&] { at_send = client_state(); });
    platform().kyt_drop.runs([&] { at_drop = client_state(); });
    EXPECT_EQ(vell_deregister(), 1U);
    EXPECT_EQ(at_send, (ClientState{.id = 9, .queue = 7, .uuid = 5}));
    EXPECT_EQ(at_drop, (ClientState{.id = 9, .queue = 7, .uuid = 5}));
    EXPECT_CALLS(deregister_request(7, 9), released(7));
}

TEST_F(DeregisterTest, DoesNothingForAClientThatNeverRegistered) {
    EXPECT_EQ(vell_deregister(), 0U);
    EXPECT_NO_CALLS();
    EXPECT_EQ(client_state(), ClientState{});
}

TEST_F(DeregisterTest, DoesNothingBeforeTheAcknowledgmentBecauseTheIdIsStill0) {
    register_client(7, 5);
    EXPECT_EQ(vell_deregister(), 0U);
    EXPECT_NO_CALLS();
    EXPECT_EQ(client_state(), (ClientState{.queue = 7, .uuid = 5}));
}

TEST_F(DeregisterTest, DoesNothingForAQueueThatWasGivenWithoutRegistering) {
    vell_register_kyt_q(7);
    EXPECT_EQ(vell_deregister(), 0U);
    EXPECT_NO_CALLS();
    EXPECT_EQ(client_state(), (ClientState{.queue = 7}));
}

TEST_F(DeregisterTest, DoesNothingForAnIdWithoutAQueue) {
    acknowledge(9);
    EXPECT_EQ(vell_deregister(), 0U);
    EXPECT_NO_CALLS();
    EXPECT_EQ(client_state(), (ClientState{.id = 9}));
}

TEST_F(DeregisterTest, MakesRoomForAnotherRegistration) {
    become_acknowledged({.id = 9, .queue = 7, .uuid = 5});
    EXPECT_EQ(vell_deregister(), 1U);
    EXPECT_EQ(vell_register(8, 6, "seg"), 1U);
    EXPECT_CALLS(deregister_request(7, 9), released(7, 1),
                 sent({.queue = 8,
                       .sap = 212,
                       .opcode = 75796,
                       .option_word1 = 0,
                       .payload = zero_padded({0, 0, 0, 0, 6, 0, 0, 0, 's', 'e', 'g'}, 248)}),
                 released(8, 2));
    EXPECT_EQ(client_state(), (ClientState{.queue = 8, .uuid = 6}));
}

using RegisterKytQueueTest = LibraryTest;

TEST_F(RegisterKytQueueTest, StoresTheQueueInEveryStateAndSaysNothing) {
    vell_register_kyt_q(0x14131211);
    EXPECT_EQ(client_state(), (ClientState{.queue = 0x14131211}));

    set_client_state({.id = 9, .queue = 7, .uuid = 5});
    vell_register_kyt_q(0xffffffff);
    EXPECT_EQ(client_state(), (ClientState{.id = 9, .queue = 0xffffffff, .uuid = 5}));
    EXPECT_NO_CALLS();
}

TEST_F(RegisterKytQueueTest, TakesTheQueueBackWith0) {
    vell_register_kyt_q(7);
    vell_register_kyt_q(0);
    EXPECT_EQ(client_state(), ClientState{});
}

} // namespace
