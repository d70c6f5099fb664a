// `vellsim show` against a running switch.
#include "sim/switch/listener.h"
#include "sim/switch/question.h"
#include "tests/support/simulator.h"
#include "tests/support/wait.h"
#include "tests/switch/raw_peer.h"
#include "tests/switch/test_service.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <unistd.h>

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

class Show : public simulator {
protected:
    command_result show(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "show");
        arguments.insert(arguments.end(), {"--run-dir", run_dir});
        return vellsim(arguments);
    }
    std::string shown(const std::vector<std::string> &arguments) const {
        const command_result result = show(arguments);
        EXPECT_EQ(result.exit_code, 0) << result.err;
        EXPECT_EQ(result.err, "");
        return result.out;
    }
    nlohmann::json shown_json(std::vector<std::string> arguments) const {
        arguments.push_back("--json");
        return nlohmann::json::parse(shown(arguments));
    }
};

// A client with three routes.
struct feeder : raw_peer {
    explicit feeder(const std::string &run_dir) : raw_peer(run_dir) {
        const std::uint8_t id = register_client(500);
        send(route_head(),
             route_payload(id, {{.flags = 0x80, .oifs = {{5, 0}}},
                                {.source = 0, .source_length = 0, .group = 0xef010103},
                                {.group = 0xef010104, .table = 9}}));
        ask("clients");
    }
};

} // namespace

TEST_F(Show, PrintsRoutesAsTextAndAsJson) {
    switch_process running(run_dir);
    feeder client(run_dir);
    EXPECT_EQ(shown({"routes", "--table", "253", "--source", "10.0.0.9"}),
              "Table 253\n"
              "\n"
              "(10.0.0.9, 239.1.1.2)  RPF 0x00000004, DF 0, epoch 0, client 1\n"
              "    flags: download\n"
              "    OIFs (1): 0x00000005\n"
              "\n"
              "1 route\n");
    EXPECT_EQ(
        shown({"routes", "--group", "239.1.1.2", "--json"}),
        R"({"routes":[{"table":253,"source":"10.0.0.9","source_len":32,"group":"239.1.1.2","group_len":32,)"
        R"("rpf_if":4,"rpf_if_name":"0x00000004","df_ordinal":0,"epoch":0,"client":1,)"
        R"("flags":["download"],"flags_word":"0x80",)"
        R"("oifs":[{"if_index":5,"name":"0x00000005","kind":0}],"mti":[],"glt":[]}],"matched":1,)"
        R"("narrowed":{"group":"239.1.1.2"}})"
        "\n");
    EXPECT_THAT(shown({"routes"}), EndsWith("\n3 routes\n"));
    EXPECT_THAT(shown({"routes", "--limit", "2"}), EndsWith("\n2 of 3 routes\n"));
    EXPECT_THAT(shown({"routes", "--client", "2"}), EndsWith("0 routes\n"));
    EXPECT_THAT(shown({"routes", "--source", "0.0.0.0"}), HasSubstr("(*, 239.1.1.3)"));
}

TEST_F(Show, SumsRoutesUp) {
    switch_process running(run_dir);
    feeder client(run_dir);
    EXPECT_THAT(shown({"routes", "--summary"}), EndsWith("\n3 routes in 2 tables\n"));
    EXPECT_EQ(shown_json({"routes", "--summary", "--table", "9"}),
              nlohmann::json::parse(
                  R"({"summary":[{"table":9,"routes":1,"sg":1,"star_g":0,"with_oifs":0,)"
                  R"("without_oifs":1,"oifs":0}],"matched":1,"narrowed":{"table":9}})"));
}

TEST_F(Show, PrintsClientsAsTextAndAsJson) {
    switch_process running(run_dir);
    feeder client(run_dir);
    EXPECT_EQ(
        shown({"clients", "--json"}),
        fmt::format(
            R"({{"clients":[{{"id":1,"pid":{},"uuid":500,"state":"registered","messages":2,)"
            R"("records":3,"refused":0,"answers":1,"segment":"segment","requests":[)"
            R"({{"request":"register request","messages":1,"records":0,"refused":0}},)"
            R"({{"request":"route update","messages":1,"records":3,"refused":0}}],)"
            R"("route_records":3,"missed_deletes":0,"ipv6_notices":0,"last_ipv6_notice":null,)"
            R"("dux_role":null}}],"matched":1,"narrowed":null}})"
            "\n",
            getpid()));
    EXPECT_THAT(shown({"clients"}),
                HasSubstr("    segment: segment\n    requests: register request 1, route update 1 "
                          "with 3 records\n1 client\n"));
    EXPECT_THAT(shown({"clients", "--client", "2"}), EndsWith("0 clients\n"));
}

TEST_F(Show, PrintsATableLongerThanAFrame) {
    switch_process running(run_dir);
    raw_peer client(run_dir);
    const std::uint8_t id = client.register_client();
    std::vector<test_route> routes(30'000);
    for (std::uint32_t i = 0; i < routes.size(); ++i) {
        routes[i].group = 0xe0000000 + i;
        routes[i].flags = 0xffffffffffffffff;
    }
    client.send(route_head(), route_payload(id, routes));
    client.ask("routes summary=true");
    const std::string text = shown({"routes", "--json"});
    EXPECT_GT(text.size(), std::size_t{sim::frame_max_payload});
    EXPECT_EQ(std::ranges::count(text, '\n'), 30'000) << "a line for each route";
    EXPECT_THAT(
        text,
        StartsWith(
            R"({"routes":[{"table":253,"source":"10.0.0.9","source_len":32,"group":"224.0.0.0",)"));
    EXPECT_THAT(text.substr(text.rfind("\n{")), HasSubstr(R"("group":"224.0.117.47")"));
    EXPECT_THAT(text, EndsWith("}],\"matched\":30000,\"narrowed\":null}\n"));
}

// Much is on its way, its sender is gone, and only then somebody asks, whose turn comes first.
TEST_F(Show, SeesAllThatWasSentBefore) {
    switch_process running(run_dir);
    raw_peer asker(run_dir);
    asker.ask("clients");
    auto client = std::make_unique<raw_peer>(run_dir);
    const std::uint8_t id = client->register_client();
    running.signal(SIGSTOP);
    std::uint32_t sent = 0;
    for (std::uint32_t table = 1; table <= 6; ++table) {
        std::vector<test_route> routes(400, test_route{.table = table});
        for (test_route &route : routes) {
            route.group += ++sent;
        }
        client->send(route_head(), route_payload(id, routes));
    }
    client.reset();
    asker.send_show("routes");
    running.signal(SIGCONT);
    EXPECT_EQ(asker.receive_table().at("routes").size(), sent);
    EXPECT_EQ(asker.ask("clients").at("clients").at(0).at("state"), "lost");
}

TEST_F(Show, NamesTheSocketWhenNoSwitchRuns) {
    for (const char *table : {"clients", "routes"}) {
        const command_result failed = show({table});
        EXPECT_EQ(failed.exit_code, 1);
        EXPECT_EQ(failed.out, "");
        EXPECT_EQ(failed.err,
                  fmt::format("vellsim: no switch answers on {0}/vell.sock ({0}: No such file or "
                              "directory); `vellsim run` starts one\n",
                              run_dir));
    }
}

TEST_F(Show, SaysWhyASocketDoesNotAnswer) {
    switch_process crashed(run_dir);
    crashed.signal(SIGKILL);
    crashed.wait();
    EXPECT_EQ(show({"clients"}).err,
              "vellsim: no switch answers on " + run_dir +
                  "/vell.sock (Connection refused); `vellsim run` starts one\n");
}

// A switch that is made of this test, and sends one piece of its answer.
TEST_F(Show, SaysWhenAnAnswerDoesNotEndInTime) {
    sim::listener place(run_dir);
    ASSERT_EQ(place.open(), "");
    auto asker = std::async(std::launch::async, [this] {
        return show({"clients", "--timeout", "1"});
    });
    sim::file_descriptor asked;
    ASSERT_TRUE(wait_until([&] {
        asked = place.accept();
        return bool{asked};
    }));
    sim::frame_head head = sim::new_head(sim::frame_kind::answer, 6);
    head.flags = sim::answer_goes_on;
    ASSERT_EQ(sim::send_frame(asked.get(), head, "piece\n", patience_ms).status,
              sim::frame_status::done);
    const command_result gave_up = asker.get();
    EXPECT_EQ(gave_up.exit_code, 1);
    EXPECT_EQ(gave_up.out, "piece\n");
    EXPECT_EQ(gave_up.err, fmt::format("vellsim: the switch (pid {}) has not finished its answer "
                                       "within 1 second (--timeout)\n",
                                       getpid()));
}

TEST_F(Show, SaysWhatIsWrongWithItsOptions) {
    const auto complaint = [this](const std::vector<std::string> &arguments) {
        const command_result refused = show(arguments);
        EXPECT_EQ(refused.exit_code, 2);
        EXPECT_EQ(refused.out, "");
        EXPECT_THAT(refused.err, StartsWith("vellsim: "));
        return refused.err.substr(9, refused.err.find('\n') - 9);
    };
    EXPECT_EQ(complaint({"routes", "--group", "239.1.1"}),
              "--group: 239.1.1 is not an IPv4 address such as 239.1.1.2");
    EXPECT_EQ(complaint({"l2", "--group", "239.1.1"}),
              "--group: 239.1.1 is not an IPv4, IPv6 or MAC address");
    EXPECT_EQ(complaint({"routes", "--limit", "0"}),
              "--limit: 0 is not a number from 1 to 4294967295");
    EXPECT_EQ(complaint({"clients", "--client", "256"}),
              "--client: 256 is not a number from 0 to 255");
    EXPECT_EQ(complaint({"ltl", "--vlan", "4095"}), "--vlan: 4095 is not a number from 1 to 4094");
    EXPECT_EQ(complaint({"mroutes"}), "there is no command \"mroutes\"; the commands are clients, "
                                      "routes, stats, l2, flood, ltl, overlay, log");
    EXPECT_THAT(complaint({"clients", "--summary"}),
                HasSubstr("`vellsim show clients` has no option --summary"));
    EXPECT_THAT(complaint({"log", "--client", "1"}),
                HasSubstr("`vellsim show log` has no option --client"));
}

TEST_F(Show, TakesDecimalAndHexadecimalNumbersAndNoOctalOnes) {
    switch_process running(run_dir);
    const auto table = [this](const char *number) {
        return shown_json({"routes", "--table", number}).at("narrowed").at("table");
    };
    EXPECT_EQ(table("010"), 10);
    EXPECT_EQ(table("0x10"), 16);
    EXPECT_EQ(table("4294967295"), 4294967295u);
}

TEST_F(Show, ExplainsItself) {
    for (const std::vector<std::string> &command : std::vector<std::vector<std::string>>{
             {"run"}, {"show", "routes"}, {"show", "log"}, {"stop"}}) {
        std::vector<std::string> arguments = command;
        arguments.push_back("--help");
        const command_result help = vellsim(arguments);
        EXPECT_EQ(help.exit_code, 0);
        EXPECT_THAT(help.out, HasSubstr("--run-dir DIR"));
        EXPECT_EQ(help.err, "");
    }
}
