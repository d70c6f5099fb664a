// More of everything than is usual: clients, connections, bytes that nobody reads.
#include "sim/wire/run_dir.h"
#include "tests/support/simulator.h"
#include "tests/support/wait.h"
#include "tests/switch/raw_peer.h"
#include "tests/switch/test_service.h"

#include <csignal>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

using testing::Contains;
using testing::HasSubstr;
#include <vector>

namespace {

class ManyConnections : public simulator {};

using peers = std::vector<std::unique_ptr<raw_peer>>;

peers connect_many(const std::string &run_dir, std::size_t count) {
    peers made;
    for (std::size_t i = 0; i < count; ++i) {
        made.push_back(std::make_unique<raw_peer>(run_dir));
    }
    return made;
}

} // namespace

TEST_F(ManyConnections, Of255ClientsAndOneMore) {
    switch_process running(run_dir);
    peers all = connect_many(run_dir, 255);
    for (std::size_t i = 0; i < all.size(); ++i) {
        ASSERT_EQ(all[i]->register_client(static_cast<std::uint32_t>(1000 + i)), i + 1);
    }
    raw_peer one_more(run_dir);
    one_more.send(register_head(), register_payload(2000));
    EXPECT_EQ(one_more.receive_ack(), std::pair(0, 0));
    EXPECT_THAT(service_log(run_dir, 102),
                Contains(HasSubstr("uuid 2000 rejected: all 255 client ids are taken")));

    all[99]->close();
    // The loss is noticed when its turn comes, not when it happens.
    EXPECT_TRUE(wait_until([&] {
        return one_more.ask("clients client=100").at("clients").at(0).at("state") == "lost";
    }));
    EXPECT_EQ(one_more.register_client(2001), 100);
    EXPECT_EQ(one_more.ask("clients").at("clients").size(), 257u);
    for (const auto &peer : all) {
        if (peer->connected()) {
            const auto id = static_cast<unsigned>(&peer - all.data() + 1);
            peer->send(notice_head(), notice_payload(id, 1, 2, 3));
        }
    }
    for (const auto &peer : all) {
        if (peer->connected()) {
            peer->ask("clients limit=1");
        }
    }
    const nlohmann::json clients = one_more.ask("clients").at("clients");
    for (const nlohmann::json &row : clients) {
        const bool notified = row.at("state") == "registered" && row.at("uuid") < 2000;
        EXPECT_EQ(row.at("ipv6_notices"), notified ? 1 : 0);
    }
}

TEST_F(ManyConnections, EndTheSwitchWithAReasonWhenTheDescriptorsRunOut) {
    const sim::file_descriptor heard = unnamed_file();
    switch_process running(run_dir, {"--quiet"}, heard.get());
    const rlimit few{24, 24};
    ASSERT_EQ(prlimit(running.pid(), RLIMIT_NOFILE, &few, nullptr), 0);
    // It ends while they come, so the later ones find nobody.
    std::vector<sim::connection> all;
    for (int i = 0; i < 40; ++i) {
        all.push_back(sim::connect_service(run_dir, 1000));
    }
    EXPECT_EQ(running.wait(), 1);
    const std::string why = "no connection can be accepted: Too many open files";
    EXPECT_EQ(read_file(heard.get()), "vellsim: " + why + "\n");
    EXPECT_THAT(service_log(run_dir, 102), testing::ElementsAre("ends: " + why));
    EXPECT_FALSE(std::filesystem::exists(run_dir + "/vell.sock"));
}

TEST_F(ManyConnections, NeedAsManyDescriptors) {
    rlimit usual{};
    getrlimit(RLIMIT_NOFILE, &usual);
    if (usual.rlim_max < 1024) {
        GTEST_SKIP() << "this needs a hard limit of 1024 open files";
    }
    const auto run_with = [&](rlim_t soft) {
        const rlimit few{soft, usual.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
        switch_process running(run_dir);
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &usual), 0);
        rlimit own{};
        EXPECT_EQ(prlimit(running.pid(), RLIMIT_NOFILE, nullptr, &own), 0);
        return own.rlim_cur;
    };
    EXPECT_EQ(run_with(1023), 1024u) << "it takes what it may";
    EXPECT_EQ(run_with(1025), 1025u);
    const command_result refused =
        run_program({"/bin/sh", "-c", "ulimit -n 1023; exec \"$0\" run --run-dir \"$1\"",
                     VELLSIM_PATH, run_dir});
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_EQ(refused.err, "vellsim: this process may open 1023 files at once, and the switch "
                           "needs 1024: raise the limit (ulimit -n)\n");
}

TEST_F(ManyConnections, AreNotHeldUpByOneThatDoesNotReadItsTable) {
    switch_process running(run_dir);
    raw_peer client(run_dir);
    const std::uint8_t id = client.register_client();
    std::vector<test_route> routes(6'000);
    for (std::uint32_t i = 0; i < routes.size(); ++i) {
        routes[i].group = 0xe0000000 + i;
        routes[i].flags = 0xffffffff;
    }
    client.send(route_head(), route_payload(id, routes));
    raw_peer deaf(run_dir);
    sim::frame_head show{};
    show.magic = sim::frame_magic;
    show.kind = sim::frame_kind::question;
    for (int i = 0; i < 3; ++i) {
        deaf.send(show, message().text("routes", 6));
    }
    expect_service(run_dir);
    EXPECT_EQ(client.ask("routes").at("routes").size(), routes.size());
    // Late, but whole: a table is not a message that a client forgot.
    for (int i = 0; i < 3; ++i) {
        std::optional<sim::frame> part;
        do {
            part = deaf.receive();
            ASSERT_TRUE(part);
        } while (part->head.flags != 0);
    }
    EXPECT_EQ(deaf.ask("clients").count("clients"), 1u);
}

TEST_F(ManyConnections, CostNothingWhileTheyOnlyWait) {
    switch_process running(run_dir);
    // All sent, and more to read than the socket holds.
    raw_peer deaf(run_dir);
    for (int i = 0; i < 2000; ++i) {
        deaf.send(register_head(), register_payload(500));
        deaf.send(deregister_head(), deregister_payload(1));
    }
    deaf.shut_down_sending();
    raw_peer silent(run_dir);
    raw_peer halfway(run_dir);
    halfway.send_raw(cut(frame_bytes(register_head(), register_payload(500)), 200));
    expect_service(run_dir);
    EXPECT_TRUE(running.is_idle());
    for (int i = 0; i < 2000; ++i) {
        ASSERT_EQ(deaf.receive_ack(), std::pair(1, 1));
    }
    EXPECT_TRUE(deaf.wait_for_close());
}

TEST_F(ManyConnections, AreAnsweredWhenTheySendNoMore) {
    switch_process running(run_dir);
    raw_peer peer(run_dir);
    peer.send(register_head(), register_payload(500));
    peer.shut_down_sending();
    EXPECT_EQ(peer.receive_ack(), std::pair(1, 1));
    EXPECT_TRUE(peer.wait_for_close());
}

// A process of another user is not let in, even where the directory would let them.
TEST_F(ManyConnections, AreOfTheSameUserOnly) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only the superuser can become somebody else";
    }
    switch_process running(run_dir);
    chmod(directory.path().c_str(), 0755);
    chmod(run_dir.c_str(), 0755);
    chmod((run_dir + "/vell.sock").c_str(), 0666);
    const pid_t stranger = fork();
    if (stranger == 0) {
        constexpr uid_t nobody = 65534;
        sockaddr_un address{};
        sim::service_address(run_dir, address);
        const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const timeval patience{30, 0};
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        char byte;
        const bool let_in =
            setuid(nobody) != 0 ||
            connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
            recv(fd, &byte, 1, 0) != 0;
        _exit(let_in ? 1 : 0);
    }
    int status = -1;
    waitpid(stranger, &status, 0);
    EXPECT_EQ(status, 0);
    chmod(run_dir.c_str(), 0700);
    expect_service(run_dir);
    EXPECT_THAT(service_log(run_dir, 102),
                Contains(fmt::format("connection of pid {}: the other end is of user 65534, "
                                     "not of user 0: closed",
                                     stranger)));
}
