// Answers read whole, of whatever kind, and the names of their statuses.
#include "tests/sim/nerb_fixture.h"

#include <nerb_sim.h>

#include <gtest/gtest.h>
#include <string>

namespace {

using namespace sim_test;

constexpr kind_of_answer kinds[] = {{NERB_SIM_OPCODE_ALLOCATION, NERB_SIM_KIND_ALLOCATION},
                                    {NERB_SIM_OPCODE_MODIFICATION, NERB_SIM_KIND_MODIFICATION},
                                    {NERB_SIM_OPCODE_RELEASE, NERB_SIM_KIND_RELEASE},
                                    {NERB_SIM_OPCODE_FLOOD_UPDATE, NERB_SIM_KIND_FLOOD_UPDATE}};

// What a reader returned, and what it stored.
struct read_words {
    int result;
    words stored;
};

read_words head_of_answer(const void *rsp) {
    nerb_sim_answer head{sentinel, sentinel, sentinel, sentinel};
    const int result = nerb_sim_answer_head(rsp, &head);
    return {result, {head.kind, head.status, head.cookie, head.entry_count}};
}

read_words entry_of_answer(const void *rsp, std::uint32_t number) {
    words entry(4, sentinel);
    return {nerb_sim_answer_entry(rsp, number, entry.data()), entry};
}

void expect_untouched(const read_words &got, int result) {
    EXPECT_EQ(got.result, result);
    EXPECT_EQ(got.stored, words(4, sentinel));
}

void expect_no_answer(const void *rsp) {
    expect_untouched(head_of_answer(rsp), NERB_SIM_NO_ANSWER);
    expect_untouched(entry_of_answer(rsp, 0), NERB_SIM_NO_ANSWER);
    expect_untouched(entry_of_answer(rsp, 9), NERB_SIM_NO_ANSWER);
}

class NerbSim : public nerb_answer_test {};

TEST_F(NerbSim, ReadsAnswersOfEveryKind) {
    for (const auto &[opcode, kind] : kinds) {
        const message_ptr answer = received(opcode, two_entries(kind));
        EXPECT_EQ(head_of_answer(answer.get()).result, 0);
        EXPECT_EQ(head_of_answer(answer.get()).stored, (words{kind, 0x31323334, 0x35363738, 2}));
        EXPECT_EQ(entry_of_answer(answer.get(), 0).result, 0);
        EXPECT_EQ(entry_of_answer(answer.get(), 0).stored,
                  (words{0x41424344, 0x45464748, 0x494a4b4c, 0x4d4e4f50}));
        EXPECT_EQ(entry_of_answer(answer.get(), 1).result, 0);
        EXPECT_EQ(entry_of_answer(answer.get(), 1).stored,
                  (words{0x51525354, 0x55565758, 0x595a5b5c, 0x5d5e5f60}));
    }
}

TEST_F(NerbSim, ReadsNoMoreEntriesThanThereAre) {
    const message_ptr answer = received(90001, two_entries(13));
    for (const std::uint32_t number : {2u, 3u, 0x10000000u, 0x10000001u, 0xffffffffu})
        expect_untouched(entry_of_answer(answer.get(), number), NERB_SIM_NOT_SO_MANY);
    const message_ptr empty = received(90003, words{15, 0, 9, 0});
    EXPECT_EQ(head_of_answer(empty.get()).stored, (words{15, 0, 9, 0}));
    expect_untouched(entry_of_answer(empty.get(), 0), NERB_SIM_NOT_SO_MANY);
}

TEST_F(NerbSim, ReadsTheManagersAnswersOnly) {
    expect_no_answer(nullptr);
    expect_no_answer(received(90001, two_entries(13), 214).get());
    expect_no_answer(received(90000, two_entries(13)).get());
    expect_no_answer(received(90001, two_entries(14)).get());
    expect_no_answer(received(90004, two_entries(13)).get());
    expect_no_answer(received(90004, words{16, 0, 9}).get());
    expect_no_answer(received(90004, words{16, 0, 9, 1, 2, 3, 4}).get());
    expect_no_answer(received(90004, words{16, 0, 9, 0, 2}).get());
}

TEST(NerbSimStatus, HasAName) {
    EXPECT_STREQ(nerb_sim_status_name(NERB_SIM_DONE), "done");
    EXPECT_STREQ(nerb_sim_status_name(NERB_SIM_TAG_MISMATCH), "the tag does not match");
    for (std::uint32_t status = NERB_SIM_DONE; status <= NERB_SIM_NO_ROOM; ++status)
        EXPECT_STRNE(nerb_sim_status_name(status), "unknown");
    EXPECT_STREQ(nerb_sim_status_name(NERB_SIM_NO_ROOM + 1), "unknown");
    EXPECT_STREQ(nerb_sim_status_name(0xffffffff), "unknown");
}

} // namespace
