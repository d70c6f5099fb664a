// A client's session, and commands, against what vellsim never does.
#include "feed/command_line.h"
#include "tests/feed/played_switch.h"
#include "tests/support/process.h"

#include <kyt.h>
#include <kyt_sim.h>

#include <cstring>
#include <future>
#include <iostream>
#include <sstream>

using namespace feed;

namespace {

// What closing a session says after that was done with it. In a process of its own, since references
// and client ids are the process's.
template <typename Action>
std::string said_at_close(Action &&action) {
    return run_in_child([&] {
               played_switch there;
               session client({});
               client.start_registration();
               wait_until(
                   [&] { return there.is_idle() && (client.receive(0), client.is_registered()); });
               action(there, client);
               try {
                   client.close("`vellsim show log`");
                   std::cerr << "nothing";
               } catch (const session_error &error) {
                   std::cerr << error.what();
               }
               return 0;
           })
        .err;
}

TEST(Session, ClosesWithoutAWord) {
    EXPECT_EQ(said_at_close([](played_switch &, session &) {}), "nothing");
}

TEST(Session, CountsTheReferencesThatAreLeftOpen) {
    EXPECT_TRUE(said_at_close([](played_switch &, session &client) {
                    kyt_msg_ref reference;
                    const std::uint32_t options[KYT_SEND_OPTION_WORDS] = {1};
                    kyt_send(client.queue(), VELL_SIM_NODE, VELL_SIM_SAP_L2, VELL_SIM_OPCODE_MARKER,
                             options, 4, &reference, 0, options);
                })
                    .ends_with("\nthe transport counts message references that were left open (1) "
                               "or released wrongly (0)"));
}

TEST(Session, SaysThatItCouldNotDeregister) {
    EXPECT_TRUE(said_at_close([](played_switch &there, session &) { there.stop_reading(); })
                    .ends_with("everything was sent, but the switch went away before the client "
                               "could deregister"));
}

class AnsweredCommand : public testing::Test {
protected:
    using request = played_switch::request;

    // What vellfeed says when its request is answered so. It has failed.
    std::string error(std::vector<const char *> arguments,
                      const std::function<void(const request &)> &answer) {
        arguments.insert(arguments.begin(), "vellfeed");
        std::ostringstream out;
        std::ostringstream err;
        auto ended = std::async(std::launch::async, [&] {
            return run_vellfeed(static_cast<int>(arguments.size()), arguments.data(), out, err);
        });
        answer(there.next());
        EXPECT_EQ(ended.get(), 1);
        return out.str() + err.str();
    }

    played_switch there;
};

TEST_F(AnsweredCommand, RefusesAnLtlAnswerWithAnotherIndexOrCount) {
    EXPECT_EQ(
        error({"ltl", "modify", "0x4000", "--tag", "7", "Po1"},
              [&](const request &asked) {
                  there.answer(asked, {0x4001, 7, 1, NERB_SIM_DONE});
              }),
        "vellfeed: the LTL manager answered the LTL modification of LTL 0x4000 with tag 7 with "
        "LTL 0x4001 and 1 interface\n");
    EXPECT_EQ(
        error({"ltl", "alloc", "--vlan", "10", "--tag", "7", "Po1"},
              [&](const request &asked) {
                  there.answer(asked, {7, 0x4001, 2, NERB_SIM_DONE});
              }),
        "vellfeed: the LTL manager answered the LTL allocation for VLAN 10 with tag 7 with LTL "
        "0x4001 and 2 interfaces\n");
    EXPECT_EQ(
        error({"ltl", "release", "0x4000", "--tag", "7"},
              [&](const request &asked) { there.answer(asked, {}); }),
        "vellfeed: the answer to the LTL release of LTL 0x4000 with tag 7 is not of one LTL\n");
}

TEST_F(AnsweredCommand, RefusesAStatisticsAnswerThatItDoesNotKnow) {
    vell_sim_stats stats{};
    stats.status = 9;
    stats.table = 253;
    stats.source_length = stats.group_length = 32;
    stats.family = 4;
    const std::uint32_t source = 0x0a000009;
    const std::uint32_t group = 0xef010102;
    std::memcpy(stats.source, &source, sizeof source);
    std::memcpy(stats.group, &group, sizeof group);
    EXPECT_EQ(
        error({"stats", "--source", "10.0.0.9", "--group", "239.1.1.2"},
              [&](const request &asked) { there.answer_stats(asked, stats); }),
        "vellfeed: the switch answered the statistics request with status 9, expected 0 or 1\n");
    stats.status = VELL_SIM_ROUTE_FOUND;
    EXPECT_TRUE(error({"stats", "--source", "10.0.0.9", "--group", "239.1.1.2", "--clear"},
                      [&](const request &asked) { there.answer_stats(asked, stats); })
                    .ends_with("vellfeed: the switch did not clear the counters\n"));
}

} // namespace
