// The mirror against a switch, and against everything that can go wrong with one: at the end the switch
// has what was wanted.
#include "feed/differences.h"
#include "feed/installed.h"
#include "feed/interfaces.h"
#include "feed/mirror.h"
#include "sim/base/if_name.h"
#include "tests/feed/random_state.h"
#include "tests/support/simulator.h"
#include "tests/support/wait.h"

#include <gmock/gmock.h>
#include <poll.h>
#include <sstream>

using namespace feed;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using namespace std::chrono_literals;

namespace {

class Mirror : public simulator {
protected:
    std::vector<std::string> said;

    mirror_options options() {
        mirror_options made;
        made.client.timeout_ms = 5000;
        made.pause = std::chrono::milliseconds(2);
        made.message_bytes = 400; // so that a few rows are several messages
        made.say = [this](const std::string &what) { said.push_back(what); };
        made.ask = [](const table_choice &only) { return ask_installed(only); };
        return made;
    }

    mirror_options persistent() {
        mirror_options made = options();
        made.keeps_trying = true;
        made.client.timeout_ms = 100;
        return made;
    }

    void fault(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "fault");
        const command_result result = vellsim(arguments);
        ASSERT_EQ(result.exit_code, 0) << result.err;
    }
};

// Plays until the condition holds. Fails the test when it does not in time.
template <typename Condition>
void play_until(mirror &playing, Condition holds) {
    const bool in_time = wait_until([&] {
        playing.tick();
        if (holds()) {
            return true;
        }
        pollfd entry{playing.fd(), POLLIN, 0};
        const int wait = playing.wait_ms();
        poll(&entry, 1, wait < 0 ? 10 : std::min(wait, 10));
        return false;
    });
    ASSERT_TRUE(in_time) << "the mirror is not done in time";
}

void play(mirror &playing, const state &wanted) {
    playing.want(wanted);
    play_until(playing, [&] { return playing.done(); });
}

void play_into_step(mirror &playing) {
    play_until(playing, [&] { return playing.in_step(); });
}

void play_into_step(mirror &playing, const state &wanted) {
    playing.want(wanted);
    play_into_step(playing);
}

// What the switch has otherwise, or nothing.
std::string difference_from(const state &wanted) {
    std::ostringstream text;
    return print_differences(ask_installed(all_tables), wanted, all_tables, sim::output_form::text,
                             text)
                   .equal()
               ? ""
               : text.str();
}

} // namespace

TEST_F(Mirror, MakesTheSwitchHaveWhatIsWanted) {
    const switch_process running(run_dir);
    mirror playing(options());
    const state wanted = random_state(1);
    play(playing, wanted);
    EXPECT_TRUE(playing.in_step());
    EXPECT_EQ(difference_from(wanted), "");
    EXPECT_EQ(playing.counts().routes.added, wanted.routes.size());
    EXPECT_EQ(playing.counts().ltls.added, wanted.ltls.size());
    EXPECT_THAT(said, IsEmpty());
    playing.close("");
}

TEST_F(Mirror, FollowsAnyTableToAnyOther) {
    const switch_process running(run_dir);
    mirror playing(options());
    for (unsigned seed = 1; seed <= 60; ++seed) {
        const state wanted = random_state(seed);
        play(playing, wanted);
        ASSERT_EQ(difference_from(wanted), "") << seed;
    }
    play(playing, {});
    EXPECT_EQ(difference_from(state()), "");
    playing.close("");
}

TEST_F(Mirror, SendsNothingWhenNothingChanges) {
    const switch_process running(run_dir);
    mirror playing(options());
    play(playing, random_state(2));
    const mirror::all_counts before = playing.counts();
    play(playing, random_state(2));
    EXPECT_EQ(playing.counts(), before);
    EXPECT_EQ(playing.wait_ms(), -1);
}

TEST_F(Mirror, LeavesTablesAloneThatNothingIsSaidAbout) {
    const switch_process running(run_dir);
    mirror playing(options());
    const state first = random_state(3);
    play(playing, first);
    playing.want({}, {.groups = true});
    play_until(playing, [&] { return playing.done(); });
    state expected = first;
    expected.groups.clear();
    EXPECT_EQ(difference_from(expected), "");
}

TEST_F(Mirror, AsksForNoTableThatNothingIsSaidAbout) {
    const switch_process running(run_dir);
    const state theirs = random_state(3);
    {
        mirror other(options());
        play(other, theirs);
        other.close("");
    }
    mirror_options asking = persistent();
    asking.asks_first = true;
    mirror playing(asking);
    playing.want({}, {.groups = true});
    play_into_step(playing);
    state expected = theirs;
    expected.groups.clear();
    EXPECT_EQ(difference_from(expected), "");
    fault({"--drop-after", "1"});
    playing.want(random_state(4), {.groups = true});
    play_until(playing, [&] { return !said.empty() && playing.in_step(); });
    expected.groups = random_state(4).groups;
    EXPECT_EQ(difference_from(expected), "");
    playing.want({}, {.routes = true});
    play_into_step(playing);
    expected.routes.clear();
    EXPECT_EQ(difference_from(expected), "");
}

TEST_F(Mirror, SendsOnlyWhatIsDifferentFromWhatItAssumes) {
    const switch_process running(run_dir);
    state wanted = random_state(4);
    {
        mirror first(options());
        play(first, wanted);
        first.close("");
    }
    mirror second(options());
    second.assume(ask_installed(all_tables));
    ASSERT_FALSE(wanted.routes.empty());
    wanted.routes.erase(wanted.routes.begin());
    play(second, wanted);
    EXPECT_EQ(difference_from(wanted), "");
    EXPECT_EQ(second.counts().routes.all(), 1u);
    EXPECT_EQ(second.counts().routes.removed, 1u);
    EXPECT_EQ(second.counts().groups.all() + second.counts().ltls.all() +
                  second.counts().floods.all(),
              0u);
}

TEST_F(Mirror, ThrowsWhenNoSwitchAnswersUnlessItKeepsTrying) {
    mirror impatient(options());
    impatient.want(random_state(1));
    EXPECT_THROW(impatient.tick(), session_error);
    mirror patient(persistent());
    patient.want(random_state(1));
    patient.tick();
    patient.tick();
    EXPECT_THAT(said, ElementsAre(no_switch() + "; trying again"));
    const switch_process running(run_dir);
    play_into_step(patient, random_state(1));
    EXPECT_EQ(difference_from(random_state(1)), "");
    EXPECT_THAT(said, ElementsAre(no_switch() + "; trying again", "registered again"));
}

TEST_F(Mirror, SaysWhatWasSentWhenItIsStopped) {
    const switch_process running(run_dir);
    mirror_options stopping = options();
    stopping.goes_on = [](const char *, std::size_t sent, std::size_t) { return sent < 3; };
    mirror playing(stopping);
    state wanted;
    wanted.routes = random_state(8).routes;
    ASSERT_GT(wanted.routes.size(), 6u);
    playing.want(wanted);
    try {
        play_until(playing, [&] { return playing.done(); });
        FAIL() << "it was not stopped";
    } catch (const interrupted &error) {
        const std::size_t sent = ask_installed({.routes = true}).routes.size();
        EXPECT_EQ(error.what(), "interrupted; " + std::to_string(sent) + " of " +
                                    std::to_string(wanted.routes.size()) +
                                    " changes of routes were sent before");
        EXPECT_GE(sent, 3u);
        EXPECT_LT(sent, wanted.routes.size());
    }
}

// The connection is dropped at the first request, the second, and so on, until there are no more.
TEST_F(Mirror, SurvivesADroppedConnectionBetweenAnyTwoSends) {
    const switch_process running(run_dir);
    const state from = random_state(6);
    const state to = random_state(7);
    for (unsigned n = 1; n <= 60; ++n) {
        mirror playing(persistent());
        playing.assume(ask_installed(all_tables));
        fault({"--drop-after", std::to_string(n)});
        play_into_step(playing, n % 2 == 0 ? from : to);
        play_into_step(playing, n % 2 == 0 ? to : from);
        ASSERT_EQ(difference_from(n % 2 == 0 ? to : from), "") << n;
        fault({"--clear"});
    }
}

// Deletions that it does not remember, of which the switch handled none.
TEST_F(Mirror, AsksWhatIsThereWhenItForgotWhatItDeleted) {
    switch_process running(run_dir);
    mirror_options forgetful = persistent();
    forgetful.asks_first = true;
    forgetful.most_unconfirmed = 2;
    forgetful.client.timeout_ms = 5000;
    mirror playing(forgetful);
    state left = random_state(8);
    ASSERT_GT(left.routes.size(), 4u);
    play_into_step(playing, left);
    fault({"--drop-after", "1"});
    running.signal(SIGSTOP);
    playing.want({}, {.routes = true});
    playing.tick();
    EXPECT_TRUE(playing.installed().routes.empty());
    running.signal(SIGCONT);
    play_until(playing, [&] { return !said.empty() && playing.in_step(); });
    left.routes.clear();
    EXPECT_EQ(difference_from(left), "");
}

TEST_F(Mirror, SurvivesARestartOfTheSwitchBetweenAnyTwoSends) {
    const state from = random_state(8);
    const state to = random_state(9);
    for (unsigned n = 1; n <= 25; ++n) {
        auto first = std::make_unique<switch_process>(
            run_dir, std::vector<std::string>{"--die-after", std::to_string(n)});
        std::unique_ptr<switch_process> second;
        mirror playing(persistent());
        playing.want(from);
        bool is_changed = false;
        play_until(playing, [&] {
            if (!second && !playing.is_registered() && !said.empty() &&
                said.back() != "registered again") {
                first->wait();
                second = std::make_unique<switch_process>(run_dir);
            }
            if (playing.in_step() && !is_changed) {
                is_changed = true;
                playing.want(to);
                return false;
            }
            return is_changed && playing.in_step();
        });
        play_into_step(playing);
        ASSERT_EQ(difference_from(to), "") << n;
        said.clear();
    }
}

TEST_F(Mirror, TakesTheRestartedSwitchForEmpty) {
    auto running = std::make_unique<switch_process>(run_dir);
    mirror playing(persistent());
    const state wanted = random_state(10);
    play_into_step(playing, wanted);
    running.reset();
    const switch_process again(run_dir);
    play_until(playing, [&] { return said.size() == 2 && playing.in_step(); });
    EXPECT_EQ(difference_from(wanted), "");
    EXPECT_THAT(said.front(), HasSubstr("; trying again"));
    EXPECT_EQ(said.back(), "registered again");
}

class MirrorWithAnswers : public Mirror, public testing::WithParamInterface<const char *> {};

// Late is later than the time that an answer has; the rest is never understood.
INSTANTIATE_TEST_SUITE_P(OfTheManager, MirrorWithAnswers,
                         testing::Values("late:250", "twice", "never", "garbled", "cut",
                                         "foreign"));

TEST_P(MirrorWithAnswers, EndsInStepOnceTheyAreRight) {
    const switch_process running(run_dir, {"--ltl-answer", GetParam()});
    mirror playing(persistent());
    playing.want(random_state(11));
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(600);
    play_until(playing, [&] { return std::chrono::steady_clock::now() > end; });
    playing.want(random_state(12));
    play_until(playing, [&] { return std::chrono::steady_clock::now() > end + 600ms; });
    fault({"--clear"});
    play_into_step(playing, random_state(12));
    EXPECT_EQ(difference_from(random_state(12)), "") << testing::PrintToString(said);
}

TEST_P(MirrorWithAnswers, ThatConfirmWhatWasSentAreWaitedFor) {
    const switch_process running(run_dir, {"--answer", GetParam()});
    mirror playing(persistent());
    playing.want(random_state(15));
    const auto end = std::chrono::steady_clock::now() + 300ms;
    play_until(playing, [&] { return std::chrono::steady_clock::now() > end; });
    fault({"--clear"});
    play_into_step(playing, random_state(16));
    EXPECT_EQ(difference_from(random_state(16)), "") << testing::PrintToString(said);
}

TEST_F(Mirror, FailsWhenTheServiceNeverConfirms) {
    const switch_process running(run_dir, {"--answer", "never"});
    mirror_options impatient = options();
    impatient.client.timeout_ms = 50;
    mirror playing(impatient);
    try {
        play(playing, random_state(17));
        FAIL() << "it was confirmed";
    } catch (const session_error &error) {
        EXPECT_STREQ(error.what(),
                     "no answer to the statistics request that confirms what was sent within 50 ms "
                     "(to wait longer: --timeout); it may have been carried out all the same");
    }
}

TEST_F(Mirror, IsNotInStepBeforeTheServiceConfirms) {
    const switch_process running(run_dir, {"--answer", "never"});
    mirror playing(persistent());
    playing.want(random_state(17));
    const auto end = std::chrono::steady_clock::now() + 500ms;
    play_until(playing, [&] { return std::chrono::steady_clock::now() > end; });
    EXPECT_FALSE(playing.in_step());
    EXPECT_THAT(said, ElementsAre("no answer to the statistics request that confirms what was sent "
                                  "within 100 ms"));
    fault({"--answer", "late:250"});
    play_into_step(playing);
    EXPECT_EQ(difference_from(random_state(17)), "");
}

TEST_P(MirrorWithAnswers, ToTheRegistrationAreWaitedFor) {
    const switch_process running(run_dir, {"--ack", GetParam()});
    mirror playing(persistent());
    playing.want(random_state(13));
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(600);
    play_until(playing, [&] { return std::chrono::steady_clock::now() > end; });
    fault({"--clear"});
    play_into_step(playing, random_state(13));
    EXPECT_EQ(difference_from(random_state(13)), "") << testing::PrintToString(said);
}

TEST_F(Mirror, SaysEachRefusalAndIsDone) {
    const switch_process running(run_dir, {"--ltl-refuse-vlan", "10"});
    mirror playing(options());
    state wanted;
    wanted.floods[{10}] = {{sim::parse_if_name("Eth1/1").value()}, 2};
    wanted.floods[{20}] = {{sim::parse_if_name("Eth1/2").value()}, 2};
    wanted.ltls[{10, 7}] = {{sim::parse_if_name("Po1").value()}, 0};
    play(playing, wanted);
    EXPECT_FALSE(playing.in_step());
    EXPECT_THAT(said,
                ElementsAre("VLAN 10: the LTL manager refused the flood set: refused by fault "
                            "mode (status 1)",
                            "LTL of VLAN 10 with tag 0x7: the LTL manager refused the allocation: "
                            "refused by fault mode (status 1)"));
    EXPECT_EQ(playing.counts().floods, (sent_counts{.added = 1, .refused = 1}));
    EXPECT_EQ(playing.counts().ltls, (sent_counts{.refused = 1}));
    EXPECT_EQ(ask_installed(all_tables).floods.size(), 1u);
}

TEST_F(Mirror, TriesAgainWhatWasRefused) {
    const switch_process running(run_dir, {"--ltl-refuse-vlan", "20", "--ltl-pool", "1"});
    mirror playing(persistent());
    state wanted = random_state(14);
    wanted.floods[{20}] = {{sim::parse_if_name("Eth1/2").value()}, 2};
    wanted.ltls[{10, 7}] = {{sim::parse_if_name("Po1").value()}, 0};
    wanted.ltls[{10, 8}] = {{sim::parse_if_name("Po2").value()}, 0};
    playing.want(wanted);
    const auto end = std::chrono::steady_clock::now() + 300ms;
    play_until(playing, [&] { return std::chrono::steady_clock::now() > end; });
    EXPECT_FALSE(playing.in_step());
    const std::set<std::string> distinct(said.begin(), said.end());
    EXPECT_EQ(distinct.size(), said.size()) << "each is said once";
    EXPECT_GE(said.size(), 2u);
    fault({"--clear"});
    play_into_step(playing);
    EXPECT_EQ(difference_from(wanted), "");
}

TEST_F(Mirror, NamesFloodSetsThatItDoesNotKnow) {
    const switch_process running(run_dir);
    {
        mirror other(options());
        state theirs;
        theirs.floods[{10}] = {{sim::parse_if_name("Eth1/1").value()}, 2};
        play(other, theirs);
        other.close("");
    }
    mirror playing(options());
    state wanted;
    wanted.floods[{10}] = {
        {sim::parse_if_name("Eth1/1").value(), sim::parse_if_name("Eth1/2").value()}, 2};
    play(playing, wanted);
    EXPECT_THAT(said,
                ElementsAre("VLAN 10: the LTL manager refused the flood set: an added interface "
                            "is present already (status 5); it has other interfaces than "
                            "vellfeed knows of: `vellfeed repair`"));
    mirror repairing(options());
    repairing.assume(ask_installed(all_tables));
    play(repairing, wanted);
    EXPECT_EQ(difference_from(wanted), "");
}

TEST_F(Mirror, AllocatesAgainAnLtlThatIsGone) {
    const switch_process running(run_dir);
    mirror playing(options());
    state wanted;
    wanted.ltls[{10, 7}] = {{sim::parse_if_name("Po1").value()}, 0};
    play(playing, wanted);
    const std::uint32_t index = playing.installed().ltls.begin()->second.index;
    EXPECT_NE(index, 0u);
    ASSERT_EQ(vellfeed({"ltl", "release", std::to_string(index), "--tag", "7"}).exit_code, 0);
    wanted.ltls[{10, 7}].interfaces.push_back(sim::parse_if_name("Eth1/2").value());
    play(playing, wanted);
    EXPECT_EQ(difference_from(wanted), "");
}

TEST_F(Mirror, AsksAgainForLtlsWhenItCouldNotAsk) {
    const switch_process running(run_dir);
    mirror_options asking = persistent();
    asking.asks_first = true;
    int asked = 0;
    asking.ask = [&](const table_choice &only) {
        return ++asked < 4 ? throw input_error("vellsim cannot be run") : ask_installed(only);
    };
    mirror playing(asking);
    state wanted;
    wanted.ltls[{10, 7}] = {{sim::parse_if_name("Po1").value()}, 0};
    play_into_step(playing, wanted);
    EXPECT_EQ(difference_from(wanted), "");
    EXPECT_EQ(asked, 4);
    EXPECT_THAT(said,
                ElementsAre("vellsim cannot be run; what the switch has is not known until it can "
                            "be asked"));
}

class LateAnswers : public Mirror {
protected:
    static state with_flood(const std::vector<const char *> &ports) {
        state made;
        flood_set &set = made.floods[{10}];
        for (const char *port : ports) {
            set.interfaces.push_back(sim::parse_if_name(port).value());
            set.line_cards |= line_card_bit(set.interfaces.back());
        }
        return made;
    }
    static state with_ltl(const std::vector<const char *> &ports) {
        state made;
        made.ltls[{10, 7}].interfaces = with_flood(ports).floods[{10}].interfaces;
        return made;
    }

    static void play_for(mirror &playing, std::chrono::milliseconds time) {
        const auto end = std::chrono::steady_clock::now() + time;
        play_until(playing, [&] { return std::chrono::steady_clock::now() > end; });
    }
};

TEST_F(LateAnswers, AreWaitedForThoughWhatWasInstalledIsWantedAgain) {
    const switch_process running(run_dir);
    mirror playing(options());
    play(playing, with_flood({"Eth1/1"}));
    fault({"--ltl-answer", "late:250"});
    playing.want(with_flood({"Eth1/1", "Eth1/2"}));
    playing.tick();
    playing.want(with_flood({"Eth1/1"}));
    playing.tick();
    EXPECT_FALSE(playing.in_step());
    play(playing, with_flood({"Eth1/1"}));
    EXPECT_EQ(difference_from(with_flood({"Eth1/1"})), "");
}

TEST_F(LateAnswers, ToFloodUpdatesDoNotUndoLaterOnes) {
    const switch_process running(run_dir, {"--ltl-answer", "late:500"});
    mirror playing(persistent());
    playing.want(with_flood({"Eth1/1"}));
    play_until(playing, [&] { return !said.empty(); });
    fault({"--clear"});
    play_into_step(playing, with_flood({"Eth1/1", "Eth1/2"}));
    play_for(playing, 600ms);
    EXPECT_TRUE(playing.in_step()) << testing::PrintToString(said);
    EXPECT_EQ(difference_from(playing.wanted()), "");
    EXPECT_EQ(playing.installed().floods, playing.wanted().floods);
}

TEST_F(LateAnswers, ToChangesOfAnLtlDoNotUndoLaterOnes) {
    const switch_process running(run_dir);
    mirror playing(persistent());
    play_into_step(playing, with_ltl({"Eth1/1"}));
    fault({"--ltl-answer", "late:500"});
    playing.want(with_ltl({"Eth1/1", "Eth1/2"}));
    play_until(playing, [&] { return !said.empty(); });
    fault({"--clear"});
    play_into_step(playing, with_ltl({"Eth1/3"}));
    play_for(playing, 600ms);
    EXPECT_TRUE(playing.in_step());
    EXPECT_EQ(difference_from(with_ltl({"Eth1/3"})), "");
    EXPECT_EQ(playing.counts().ltls, (sent_counts{.added = 1, .changed = 1}));
}

TEST_F(LateAnswers, ThatNeverComeLeaveAnLtlInDoubt) {
    const switch_process running(run_dir);
    mirror playing(persistent());
    play_into_step(playing, with_ltl({"Eth1/1"}));
    fault({"--ltl-answer", "never"});
    playing.want(with_ltl({"Eth1/1", "Eth1/2"}));
    play_until(playing, [&] { return !said.empty(); });
    playing.want(with_ltl({"Eth1/1"}));
    playing.tick();
    EXPECT_FALSE(playing.in_step());
    fault({"--clear"});
    play_into_step(playing);
    EXPECT_EQ(difference_from(with_ltl({"Eth1/1"})), "");
}

// The restarted manager has nothing, but refuses in silence: that it has nothing stays possible.
TEST_F(LateAnswers, ThatNeverComeRuleOutNoFloodSet) {
    auto running = std::make_unique<switch_process>(run_dir);
    mirror playing(persistent());
    play_into_step(playing, with_flood({"Eth1/1", "Eth1/3"}));
    running.reset();
    const switch_process again(run_dir, {"--ltl-answer", "never"});
    playing.want(with_flood({"Eth1/1", "Eth1/2"}));
    play_until(playing, [&] {
        return !said.empty() && said.back() == "no answer to the flood update within 100 ms";
    });
    fault({"--clear"});
    play_into_step(playing);
    EXPECT_EQ(difference_from(playing.wanted()), "");
}
