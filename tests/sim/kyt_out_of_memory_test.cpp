// Memory that runs out: every allocation within a call is made to fail in turn. The call fails or
// succeeds, but it never throws into its C caller, never miscounts and never leaves a connection in
// the middle of a frame.
#include "tests/sim/failing_new.h"
#include "tests/sim/kyt_fixture.h"

#include <gtest/gtest.h>

namespace {

using namespace sim_test;

class KytOutOfMemory : public kyt_test {
protected:
    // Returns whether an allocation failed.
    bool send_with_failing_allocation(long nth, std::int32_t &result,
                                      std::uint32_t to_node = node) {
        kyt_msg_ref reference;
        const kyt_sim_counts before = counts();
        const bool failed = with_failing_allocation(nth, [&] {
            result = kyt_send(queue, to_node, 212, 1, "abc", 3, &reference, 0, options.data());
        });
        const std::uint64_t sent = result == -1 ? 0 : 1;
        EXPECT_EQ(counts().sent, before.sent + sent);
        EXPECT_EQ(counts().open_references, before.open_references + sent);
        if (sent != 0)
            kyt_drop(queue, &reference);
        return failed;
    }
};

TEST_F(KytOutOfMemory, FailsASendWholeOrNotAtAll) {
    std::int32_t result = 0;
    long nth = 1;
    for (; send_with_failing_allocation(nth, result); ++nth) {
        kyt_sim_queue_close(queue); // so that the next one connects, too
        queue = kyt_sim_queue_open();
    }
    EXPECT_GT(nth, 2);
    EXPECT_EQ(result, 0);
}

TEST_F(KytOutOfMemory, LeavesNoFileBehindAFailedSend) {
    const std::size_t files = open_files();
    std::int32_t result = 0;
    for (long nth = 1; send_with_failing_allocation(nth, result); ++nth) {
        kyt_sim_queue_close(queue);
        queue = kyt_sim_queue_open();
        EXPECT_EQ(open_files(), files);
    }
}

TEST_F(KytOutOfMemory, RefusesWhatItWouldRefuseAnyhow) {
    std::int32_t result = 0;
    for (long nth = 1; send_with_failing_allocation(nth, result, 1); ++nth)
        EXPECT_EQ(result, -1);
    EXPECT_TRUE(there.nobody_has_come());
}

TEST_F(KytOutOfMemory, DropsALostConnectionAllTheSame) {
    long nth = 1;
    for (bool failed = true; failed; ++nth) {
        sim::file_descriptor end = connect();
        write_all(end.get(), message(7, pattern(100)));
        end.reset();
        std::int32_t result = 0;
        failed = send_with_failing_allocation(nth, result);
        EXPECT_EQ(result, -1);
        message_ptr received;
        while (receive(received) == 1)
            EXPECT_EQ(payload_of(received), pattern(100));
    }
    EXPECT_GT(nth, 2);
}

TEST_F(KytOutOfMemory, LosesNoMessageThatHasArrived) {
    const sim::file_descriptor end = connect();
    write_all(end.get(), message(7, pattern(100)));
    kyt_sim_message *received = nullptr;
    int result = -1;
    long nth = 1;
    for (; with_failing_allocation(nth, [&] { result = kyt_sim_receive(queue, 0, &received); });
         ++nth)
        EXPECT_EQ(result, -1);
    EXPECT_GT(nth, 2);
    ASSERT_EQ(result, 1);
    EXPECT_EQ(payload_of(message_ptr(received)), pattern(100));
}

TEST_F(KytOutOfMemory, HasNoHandleForANewQueue) {
    std::uint32_t handle = 1;
    EXPECT_TRUE(with_failing_allocation(1, [&] { handle = kyt_sim_queue_open(); }));
    EXPECT_EQ(handle, 0u);
}

} // namespace
