// Memory that runs out: every allocation within a request is made to fail in turn. The request goes
// out whole or not at all, says which, and never throws into its C caller.
#include "tests/sim/failing_new.h"
#include "tests/sim/kyt_fixture.h"

#include <nerb.h>

#include <cstring>
#include <functional>
#include <gtest/gtest.h>

namespace {

using namespace sim_test;

class NerbOutOfMemory : public kyt_test {
protected:
    // Fails each allocation of the call in turn; the last time none is left to fail.
    void expect_whole_or_nothing(const std::function<std::uint32_t()> &call) {
        const sim::file_descriptor end = connect();
        std::uint32_t result = 99;
        bool out_of_memory = false;
        bool failed = true;
        for (long nth = 1; failed; ++nth) {
            const kyt_sim_counts before = counts();
            failed = with_failing_allocation(nth, [&] { result = call(); });
            EXPECT_EQ(counts().sent, before.sent + (result == 0 ? 1 : 0));
            EXPECT_EQ(counts().open_references, before.open_references);
            out_of_memory |= result == 3;
            // libkyt's own memory may have run out instead.
            EXPECT_TRUE(failed ? result == 3 || result == 1 : result == 0) << result;
        }
        EXPECT_TRUE(out_of_memory);
    }
};

TEST_F(NerbOutOfMemory, SendsAllocationsWholeOrNotAtAll) {
    const std::uint32_t port = 0x68030700;
    const auto address = reinterpret_cast<std::uintptr_t>(&port);
    std::uint8_t payload[26] = {1};
    payload[14] = 1;
    std::memcpy(payload + 18, &address, 4);
    expect_whole_or_nothing([&] { return nerb_send_batched_mcast_alloc_req(queue, payload, 9); });
}

TEST_F(NerbOutOfMemory, SendsReleasesWholeOrNotAtAll) {
    const std::uint32_t entry[3] = {0x4000, 7, 0};
    expect_whole_or_nothing(
        [&] { return nerb_send_batched_mcast_dealloc_msg(queue, 1, entry, 9); });
}

TEST_F(NerbOutOfMemory, SendsFloodUpdatesWholeOrNotAtAll) {
    const std::uint32_t payload[9] = {1, 10, 0, 0, 8, 0, 1, 0x68030700, 1};
    expect_whole_or_nothing([&] { return nerb_send_flood_ltl_update_req(queue, payload, &queue); });
}

} // namespace
