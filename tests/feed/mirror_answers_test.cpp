// The mirror against answers that vellsim never gives.
#include "feed/mirror.h"
#include "sim/base/if_name.h"
#include "tests/feed/played_switch.h"

#include <gmock/gmock.h>

using namespace feed;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class MirrorAnswers : public testing::Test {
protected:
    using words = played_switch::words;
    using request = played_switch::request;
    using update = played_switch::flood_update;

    played_switch there;
    std::vector<std::string> said;
    state installed; // what the switch says that it has
    int times_asked = 0;
    mirror playing{options()};

    mirror_options options() {
        mirror_options made;
        made.client.timeout_ms = 100;
        made.pause = std::chrono::milliseconds(2);
        made.keeps_trying = true;
        made.say = [this](const std::string &what) { said.push_back(what); };
        made.ask = [this](const table_choice &) {
            ++times_asked;
            return installed;
        };
        return made;
    }

    static flood_set flood(const std::vector<const char *> &ports) {
        flood_set made;
        for (const char *port : ports) {
            made.interfaces.push_back(sim::parse_if_name(port).value());
        }
        return made;
    }
    static state with_floods(const table<flood_set> &floods) {
        state made;
        made.floods = floods;
        return made;
    }
    static state with_ltl(const std::vector<const char *> &ports, std::uint32_t index = 0) {
        state made;
        made.ltls[{10, 7}] = {flood(ports).interfaces, index};
        return made;
    }

    request next() {
        return there.next([this] { playing.tick(); });
    }
    void play_until(const std::function<bool()> &holds) {
        ASSERT_TRUE(wait_until([&] {
            playing.tick();
            return holds() || testing::Test::HasFailure();
        })) << testing::PrintToString(said);
    }
    void expect_in_step() {
        play_until([this] { return playing.in_step(); });
        EXPECT_TRUE(there.is_idle());
    }
    void wait_for_silence(const std::string &what) {
        play_until([&] { return !said.empty() && said.back() == what; });
    }

    // Each flood set or LTL as the manager has it after that request.
    static words done_floods(const std::vector<std::uint32_t> &vlans) {
        words entries;
        for (const std::uint32_t vlan : vlans) {
            entries.insert(entries.end(), {vlan, 0, 0, NERB_SIM_DONE});
        }
        return entries;
    }
};

constexpr char no_flood_answer[] = "no answer to the flood update within 100 ms";

TEST_F(MirrorAnswers, ThatLeaveOutAVlanLeaveItUnanswered) {
    playing.want(with_floods({{{10}, flood({"Eth1/1"})}, {{20}, flood({"Eth1/2"})}}));
    const request first = next();
    EXPECT_THAT(there.updates_of(first), ElementsAre(update{10, 1, 0}, update{20, 1, 0}));
    there.answer(first, done_floods({20}));
    wait_for_silence("no answer to the flood update for 1 of its 2 VLANs within 100 ms");
    const request second = next();
    EXPECT_THAT(there.updates_of(second), ElementsAre(update{10, 1, 0}));
    there.answer(second, done_floods({10}));
    expect_in_step();
    EXPECT_EQ(playing.counts().floods, (sent_counts{.added = 2}));
    EXPECT_EQ(said.size(), 1u);
}

TEST_F(MirrorAnswers, OfOtherVlansAreNone) {
    playing.want(with_floods({{{10}, flood({"Eth1/1"})}}));
    there.answer(next(), done_floods({65546, 30}));
    wait_for_silence(no_flood_answer);
    there.answer(next(), done_floods({30, 10}));
    expect_in_step();
    EXPECT_EQ(playing.counts().floods, (sent_counts{.added = 1}));
}

TEST_F(MirrorAnswers, InAnotherOrderCountForTheirVlans) {
    playing.want(with_floods({{{10}, flood({"Eth1/1"})}, {{20}, flood({"Eth1/2"})}}));
    there.answer(next(), {20, 0, 0, NERB_SIM_DONE, 10, 0, 0, NERB_SIM_REFUSED_BY_FAULT_MODE}, 1);
    play_until([this] { return !said.empty(); });
    EXPECT_THAT(said,
                ElementsAre("VLAN 10: the LTL manager refused the flood set: refused by fault "
                            "mode (status 1)"));
    const request again = next();
    EXPECT_THAT(there.updates_of(again), ElementsAre(update{10, 1, 0}));
    there.answer(again, done_floods({10}));
    expect_in_step();
}

// The manager had {1, 2}: the first update is refused, the second one makes {1}, which
// nobody says.
TEST_F(MirrorAnswers, ThatRefuseLateRuleOutNothingThatALaterUpdateMayHaveMade) {
    playing.want(with_floods({{{10}, flood({"Eth1/1"})}}));
    there.answer(next(), done_floods({10}));
    expect_in_step();
    playing.want(with_floods({{{10}, flood({"Eth1/1", "Eth1/2"})}}));
    const request first = next();
    wait_for_silence(no_flood_answer);
    playing.want(with_floods({{{10}, flood({"Eth1/1"})}}));
    EXPECT_THAT(there.updates_of(next()), ElementsAre(update{10, 0, 1}));
    const request third = next();
    EXPECT_THAT(there.updates_of(third), ElementsAre(update{10, 0, 1}));
    there.answer(first, {10, 0, 0, NERB_SIM_INTERFACE_PRESENT}, 1);
    there.answer(third, {10, 0, 0, NERB_SIM_INTERFACE_ABSENT}, 1);
    const request fourth = next();
    EXPECT_THAT(there.updates_of(fourth), ElementsAre(update{10, 0, 0}));
    there.answer(fourth, done_floods({10}));
    expect_in_step();
    EXPECT_THAT(said, ElementsAre(no_flood_answer)) << "it was never at a loss";
    EXPECT_EQ(times_asked, 0);
}

TEST_F(MirrorAnswers, ThatRefuseAllThatAFloodSetMayBeLeadToAQuestion) {
    playing.want(with_floods({{{10}, flood({"Eth1/1", "Eth1/2"})}}));
    installed.floods[{10}] = flood({"Eth1/1"}); // of an earlier client
    there.answer(next(), {10, 0, 0, NERB_SIM_INTERFACE_PRESENT}, 1);
    const request second = next();
    EXPECT_THAT(there.updates_of(second), ElementsAre(update{10, 1, 0}));
    there.answer(second, done_floods({10}));
    expect_in_step();
    EXPECT_EQ(times_asked, 1);
    EXPECT_THAT(said, ElementsAre("VLAN 10: the LTL manager refused the flood set: an added "
                                  "interface is present already (status 5); it is asked what it "
                                  "has"));
}

class SpareLtl : public MirrorAnswers {
protected:
    // An allocation that is not answered in time is made again; then the late answer comes.
    void SetUp() override {
        playing.want(with_ltl({"Po1"}));
        const request late = next();
        EXPECT_EQ(late.opcode, NERB_SIM_OPCODE_ALLOCATION);
        wait_for_silence("no answer to the request for the LTL of VLAN 10 with tag 0x7 within 100 "
                         "ms");
        said.clear();
        there.answer(next(), {7, 0x4001, 1, NERB_SIM_DONE});
        expect_in_step();
        there.answer(late, {7, 0x4000, 1, NERB_SIM_DONE});
        play_until([this] { return !playing.in_step(); });
        EXPECT_EQ(playing.installed().ltls.begin()->second.index, 0x4001u);
    }

    void expect_release(const request &asked) {
        EXPECT_EQ(asked.opcode, NERB_SIM_OPCODE_RELEASE);
        EXPECT_EQ(asked.payload.at(2), 0x4000u);
    }
};

TEST_F(SpareLtl, IsReleased) {
    const request release = next();
    expect_release(release);
    there.answer(release, {0x4000, 7, 0, NERB_SIM_DONE});
    expect_in_step();
    EXPECT_THAT(said, IsEmpty());
}

TEST_F(SpareLtl, IsReleasedAgainWhenNothingAnswers) {
    expect_release(next());
    wait_for_silence("no answer to the request for the LTL of VLAN 10 with tag 0x7 within 100 ms");
    playing.want(with_ltl({"Po1", "Po2"}));
    bool is_changed = false;
    bool is_released = false;
    while (!(is_changed && is_released) && !HasFailure()) {
        const request asked = next();
        if (asked.opcode == NERB_SIM_OPCODE_MODIFICATION) {
            EXPECT_EQ(asked.payload.at(2), 0x4001u);
            there.answer(asked, {0x4001, 7, 2, NERB_SIM_DONE});
            is_changed = true;
        } else {
            expect_release(asked);
            there.answer(asked, {0x4000, 7, 0, NERB_SIM_NO_SUCH_LTL}, 2); // it was done before
            is_released = true;
        }
    }
    expect_in_step();
    EXPECT_EQ(said.size(), 1u) << "the LTL itself is not refused";
}

TEST_F(SpareLtl, WhoseReleaseIsRefusedIsReleasedLater) {
    there.answer(next(), {0x4000, 7, 0, NERB_SIM_REFUSED_BY_FAULT_MODE}, 1);
    const request again = next();
    expect_release(again);
    EXPECT_THAT(said, ElementsAre("LTL 0x4000: the LTL manager refused the release: refused by "
                                  "fault mode (status 1)"));
    there.answer(again, {0x4000, 7, 0, NERB_SIM_DONE});
    expect_in_step();
}

} // namespace
