// The example client that survives its service: whatever happens to the switch, it has the client's
// whole table in the end.
#include "tests/e2e/end_to_end.h"
#include "tests/support/wait.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

// The client in the background; its input is a named pipe.
class recovery_client {
public:
    explicit recovery_client(const std::string &pipe)
        : input_(open_pipe(pipe)),
          program_({"/bin/sh", "-c", "echo there; exec \"$0\" <\"$1\"",
                    EXAMPLES_PATH "/recovery_client", pipe},
                   errors_.get()) {}

    void change(const std::string &lines) {
        EXPECT_EQ(write(input_.get(), lines.data(), lines.size()),
                  static_cast<ssize_t>(lines.size()));
    }
    // Reads on until it prints this line.
    void wait_for(const std::string &line) {
        while (!testing::Test::HasFailure() && program_.next_line() != line + "\n") {
        }
    }
    void wait_for_routes(int count) {
        wait_for("the service has handled all " + std::to_string(count) + " routes");
    }
    void wait_until_said(const std::string &what) {
        EXPECT_TRUE(wait_until([&] { return said().find(what) != std::string::npos; })) << said();
    }
    std::string said() const { return read_file(errors_.get()); }
    bool is_idle() const { return program_.is_idle(); }

    // Ends its input; returns its exit code.
    int finish() {
        input_.reset();
        return program_.wait();
    }

private:
    static sim::file_descriptor open_pipe(const std::string &path) {
        EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
        return sim::file_descriptor(open(path.c_str(), O_RDWR | O_CLOEXEC));
    }

    sim::file_descriptor input_;
    sim::file_descriptor errors_ = unnamed_file();
    running_program program_;
};

class RecoveryClient : public end_to_end {
protected:
    // 239.1.1.1 to interface 1, 239.1.1.2 to interface 2, and so on.
    static std::string adds(int first, int last) {
        std::string lines;
        for (int i = first; i <= last; ++i) {
            lines += "add " + group(i) + " " + std::to_string(i) + "\n";
        }
        return lines;
    }
    static std::string group(int number) { return "239.1.1." + std::to_string(number); }

    // "239.1.1.1 to 1", a text per route.
    static std::set<std::string> routes() {
        std::set<std::string> found;
        for (const json &route : show("routes")) {
            EXPECT_EQ(route["oifs"].size(), 1u) << route;
            found.insert(route["group"].get<std::string>() + " to " +
                         std::to_string(route["oifs"].at(0)["if_index"].get<int>()));
        }
        return found;
    }
    static std::set<std::string> routes(int first, int last) {
        std::set<std::string> expected;
        for (int i = first; i <= last; ++i) {
            expected.insert(group(i) + " to " + std::to_string(i));
        }
        return expected;
    }
};

TEST_F(RecoveryClient, SendsWhatItReadsAndDeregistersAtTheEndOfItsInput) {
    start_switch();
    const auto run = run_program({EXAMPLES_PATH "/recovery_client"},
                                 adds(1, 40) + "delete 239.1.1.7\nadd 239.1.1.8 9\n");
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.err, "");
    EXPECT_THAT(run.out, HasSubstr("the service has handled all 39 routes\n"));
    auto expected = routes(1, 40);
    expected.erase("239.1.1.7 to 7");
    expected.erase("239.1.1.8 to 8");
    expected.insert("239.1.1.8 to 9");
    EXPECT_EQ(routes(), expected);
    EXPECT_EQ(show("clients").at(0)["state"], "deregistered");
    EXPECT_EQ(show("clients").at(0)["refused"], 0);
}

TEST_F(RecoveryClient, SendsEverythingAgainAfterTheSwitchWasKilled) {
    start_switch();
    recovery_client client(directory / "changes");
    client.change(adds(1, 40));
    client.wait_for_routes(40);
    kill_switch();
    client.wait_until_said("the connection to the service was lost; trying again");
    start_switch();
    client.wait_for("registered");
    client.wait_for_routes(40);
    EXPECT_EQ(routes(), routes(1, 40));
    EXPECT_EQ(client.finish(), 0);
    EXPECT_THAT(client.said(), Not(HasSubstr("references")));
}

TEST_F(RecoveryClient, MarksWhatItSendsAgainAsADownloadOfANewEpoch) {
    start_switch();
    recovery_client client(directory / "changes");
    client.change(adds(1, 20));
    client.wait_for_routes(20);
    kill_switch();
    start_switch();
    client.wait_for("registered");
    client.wait_for_routes(20);
    client.change("add 239.1.1.21 21\n");
    client.wait_for_routes(21);
    for (int i = 1; i <= 21; ++i) {
        const json route = route_of(group(i));
        EXPECT_EQ(route["epoch"], 2);
        EXPECT_EQ(route["flags"], i == 21   ? json::array()
                                  : i == 20 ? json::array({"download", "download_done"})
                                            : json::array({"download"}))
            << route;
    }
}

TEST_F(RecoveryClient, LosesNoChangeThatIsMadeWhileThereIsNoSwitch) {
    recovery_client client(directory / "changes");
    client.change(adds(1, 20));
    client.wait_until_said("is the simulator running (vellsim run)?; trying again");
    start_switch();
    client.wait_for_routes(20);
    kill_switch();
    client.wait_until_said("the connection to the service was lost");
    client.change("delete 239.1.1.1\nadd 239.1.1.2 99\n" + adds(21, 40));
    EXPECT_TRUE(client.is_idle());
    start_switch();
    client.wait_for_routes(39);
    auto expected = routes(3, 40);
    expected.insert("239.1.1.2 to 99");
    EXPECT_EQ(routes(), expected);
    EXPECT_EQ(client.finish(), 0);
}

TEST_F(RecoveryClient, DeletesAgainWhatAServiceKeptThatLostOnlyTheConnection) {
    start_switch();
    recovery_client client(directory / "changes");
    client.change(adds(1, 3));
    client.wait_for_routes(3);
    // The switch handles the first message and drops the connection while the others wait.
    expect_fault({"--drop-after", "1", "--slow", "300"});
    client.change("add 239.1.1.4 4\ndelete 239.1.1.1\n");
    client.wait_for("registered");
    expect_fault({"--clear"});
    client.wait_for_routes(3);
    EXPECT_EQ(routes(), routes(2, 4));
    EXPECT_EQ(client.finish(), 0);
}

// The switch dies after N requests of sending everything again. These are: the old registration is
// given up, the new one is made, seven messages are sent, and it is asked whether they were handled.
class RecoveryClientResync : public RecoveryClient, public testing::WithParamInterface<int> {};

TEST_P(RecoveryClientResync, StartsAgainWhenTheSwitchDies) {
    start_switch();
    recovery_client client(directory / "changes");
    client.change(adds(1, 100));
    client.wait_for_routes(100);
    kill_switch();
    client.wait_until_said("the connection to the service was lost");
    start_switch({"--die-after", std::to_string(GetParam())});
    EXPECT_EQ(the_switch().wait(), 3);
    client.change("delete 239.1.1.1\n");
    start_switch();
    EXPECT_TRUE(wait_until([] { return routes() == routes(2, 100); }));
    EXPECT_EQ(client.finish(), 0);
}

INSTANTIATE_TEST_SUITE_P(AfterRequests, RecoveryClientResync, testing::Values(1, 2, 3, 9, 10));

TEST_F(RecoveryClient, TriesAgainWhenItsRegistrationIsRefused) {
    start_switch({"--reject-registration"});
    recovery_client client(directory / "changes");
    client.change(adds(1, 3));
    client.wait_until_said("the service gave no client id (vellsim show log says why); trying "
                           "again");
    EXPECT_TRUE(routes().empty());
    expect_fault({"--clear"});
    client.wait_for_routes(3);
    EXPECT_EQ(routes(), routes(1, 3));
    EXPECT_EQ(client.finish(), 0);
}

class RecoveryClientUnanswered : public RecoveryClient,
                                 public testing::WithParamInterface<std::vector<std::string>> {};

TEST_P(RecoveryClientUnanswered, TriesAgain) {
    start_switch(GetParam());
    recovery_client client(directory / "changes");
    client.change(adds(1, 3));
    client.wait_until_said("the service did not answer in time; trying again");
    expect_fault({"--clear"});
    client.wait_for_routes(3);
    EXPECT_EQ(routes(), routes(1, 3));
    EXPECT_EQ(client.finish(), 0);
}

INSTANTIATE_TEST_SUITE_P(Requests, RecoveryClientUnanswered,
                         testing::Values(std::vector<std::string>{"--ack", "never"},
                                         std::vector<std::string>{"--ack", "cut"},
                                         std::vector<std::string>{"--answer", "never"}));

TEST_F(RecoveryClient, SkipsALineThatIsNotAChange) {
    start_switch();
    const std::string wrong[] = {"add 239.1.1.1\n", "add 10.0.0.1 5\n", "remove 239.1.1.1\n"};
    std::string expected;
    for (const std::string &line : wrong) {
        expected +=
            "recovery_client: expected \"add GROUP INTERFACE\" or \"delete GROUP\", found: " + line;
    }
    const auto run = run_program({EXAMPLES_PATH "/recovery_client"},
                                 wrong[0] + adds(1, 1) + wrong[1] + wrong[2]);
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.err, expected);
    EXPECT_EQ(routes(), routes(1, 1));
}

} // namespace
