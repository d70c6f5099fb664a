#include "client_session.h"
#include "input_error.h"
#include "tests/tools/fake_transport.h"

#include <gtest/gtest.h>

namespace feed {
namespace {

using bytes = std::vector<std::uint8_t>;

const bytes accepted = {7, 1};

class Session : public testing::Test {
protected:
    Session() { fake_transport::reset(); }

    // Whatever happened, everything that was opened is closed.
    ~Session() override {
        EXPECT_EQ(simulator.open_queues, 0);
        EXPECT_EQ(simulator.messages_alive, 0);
    }

    static std::string refusal(const session_options &options = {}) {
        try {
            client_session client(options);
            client.close();
        } catch (const session_error &error) {
            return error.what();
        } catch (const usage_error &error) {
            return std::string("usage: ") + error.what();
        }
        return "(no error)";
    }

    fake_transport &simulator = fake_transport::current();
};

TEST_F(Session, RegistersSendsAndDeregisters) {
    simulator.answers = {accepted};
    client_session client({.uuid = 0x01020304, .segment = "seg", .timeout_ms = 77});
    EXPECT_EQ(simulator.last_timeout, 77);
    bytes message = {0, 9, 0, 0, 0, 0, 9, 9, 5};
    EXPECT_TRUE(client.send_routes(message, 0x0203));
    client.close();

    ASSERT_EQ(simulator.requests.size(), 3u);
    EXPECT_EQ(simulator.requests[0].sap, 212u);
    EXPECT_EQ(simulator.requests[0].opcode, 75796u);
    const bytes &registration = simulator.requests[0].payload;
    EXPECT_EQ(bytes(registration.begin() + 4, registration.begin() + 12),
              (bytes{4, 3, 2, 1, 's', 'e', 'g', 0}));
    EXPECT_EQ(simulator.requests[1].sap, 214u);
    EXPECT_EQ(simulator.requests[1].opcode, 75831u);
    EXPECT_EQ(simulator.requests[1].payload, (bytes{7, 9, 3, 2, 0, 0, 9, 9, 5}));
    EXPECT_EQ(simulator.requests[2].opcode, 75797u);
    EXPECT_EQ(simulator.open_references, 0);
    EXPECT_EQ(simulator.wrong_drops, 0);
}

TEST_F(Session, WaitsNoLongerForWhatIsPassedOver) {
    simulator.answers = {accepted, fake_answer(accepted, 75796), fake_answer(accepted, 75796)};
    client_session client({.uuid = 1, .segment = "seg", .timeout_ms = 1000});
    simulator.delay_ms = 20;
    EXPECT_THROW(
        client.await({"answer", "answering"}, [](const received_message &) { return false; }),
        session_error);
    EXPECT_EQ(simulator.received, 3u);
    EXPECT_LE(simulator.last_timeout, 960);
}

TEST_F(Session, DeregistersWhenItIsGivenUp) {
    simulator.answers = {accepted};
    { const client_session client({}); }
    ASSERT_EQ(simulator.requests.size(), 2u);
    EXPECT_EQ(simulator.requests[1].opcode, 75797u);
}

TEST_F(Session, WithoutAQueue) {
    simulator.no_queue = true;
    EXPECT_EQ(refusal(), "no transport queue could be opened: the process has no handle left");
}

TEST_F(Session, WithoutASwitch) {
    simulator.fail_send = 0;
    EXPECT_EQ(refusal(), "no switch answers in /run/sim; start one with `vellsim run`, or point "
                         "VELLSIM_RUN_DIR at its "
                         "run directory");
}

TEST_F(Session, WithASegmentNameThatIsTooLong) {
    EXPECT_EQ(refusal({.segment = std::string(240, 'x')}),
              "usage: the segment name is 240 bytes long, 239 is the most (--segment)");
    EXPECT_TRUE(simulator.requests.empty());
    simulator.answers = {accepted, std::nullopt, accepted};
    EXPECT_EQ(refusal({.segment = std::string(239, 'x')}), "(no error)");
    EXPECT_EQ(refusal({.uuid = 286, .segment = std::string(240, 'x')}), "(no error)");
}

TEST_F(Session, WhenTheSwitchDoesNotAnswer) {
    EXPECT_EQ(refusal({.timeout_ms = 12}),
              "the switch did not acknowledge the registration within 12 ms; if it is only "
              "slow, wait longer with --timeout");
}

TEST_F(Session, WhenTheSwitchGoesAwayInsteadOfAnswering) {
    simulator.result_without_answer = -1;
    EXPECT_EQ(refusal(), "the switch closed the connection instead of acknowledging the "
                         "registration; `vellsim show log` "
                         "may say why");
}

TEST_F(Session, WhenTheSwitchRefuses) {
    simulator.answers = {bytes{7, 0}};
    EXPECT_EQ(refusal(), "the switch refused the registration; `vellsim show log` says why");
}

TEST_F(Session, WhenTheSwitchAcceptsWithoutAnId) {
    simulator.answers = {bytes{0, 1}};
    EXPECT_EQ(refusal(), "the switch accepted the registration with client id 0, which is no id");
}

TEST_F(Session, WhenTheAnswerIsTooShort) {
    simulator.answers = {bytes{7}};
    EXPECT_EQ(
        refusal(),
        "the switch answered the registration with a message of 1 bytes, an acknowledgment has 2");
}

TEST_F(Session, WhenARouteMessageCannotBeSent) {
    simulator.answers = {accepted};
    simulator.fail_send = 1;
    client_session client({});
    bytes message(8);
    EXPECT_FALSE(client.send_routes(message, 0));
}

TEST_F(Session, WhenTheConnectionIsLostBehindTheLastSend) {
    simulator.answers = {accepted};
    simulator.result_without_answer = -1;
    EXPECT_EQ(refusal(), "everything was sent, but the switch closed the connection; `vellfeed "
                         "compare` tells what arrived");
}

TEST_F(Session, WhenMessagesArriveThatNobodyAskedFor) {
    simulator.answers = {accepted, accepted, bytes{1, 2, 3}};
    EXPECT_EQ(refusal(), "(no error)");
    EXPECT_EQ(simulator.received, 3u);
}

TEST_F(Session, WhenItCannotDeregister) {
    simulator.answers = {accepted};
    simulator.fail_send = 1;
    EXPECT_EQ(refusal(),
              "everything was sent, but the switch went away before the client could deregister");
}

TEST_F(Session, WhenReferencesStayOpen) {
    simulator.answers = {accepted};
    simulator.lose_drops = true;
    EXPECT_EQ(refusal(),
              "the transport counts 2 message references left open and 0 wrong releases");
}

} // namespace
} // namespace feed
