#include "sim/wire/run_dir.h"
#include "tests/sim/fake_switch.h"
#include "tests/support/streams.h"

#include <chrono>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <vector>

namespace {

using namespace sim_test;
using testing::HasSubstr;
using testing::StartsWith;

TEST(ServiceAddress, IsTheSocketInTheRunDirectory) {
    sockaddr_un address;
    ASSERT_EQ(sim::service_address("/run/x", address), "");
    EXPECT_EQ(address.sun_family, AF_UNIX);
    EXPECT_STREQ(address.sun_path, "/run/x/vell.sock");
}

TEST(ServiceAddress, HasRoomFor107BytesAndRefusesOneMore) {
    sockaddr_un address;
    const std::string longest = "/" + std::string(96, 'd'); // with "/vell.sock": 107
    EXPECT_EQ(sim::service_address(longest, address), "");
    EXPECT_EQ(address.sun_path, longest + "/vell.sock");
    EXPECT_EQ(
        sim::service_address(longest + "d", address),
        longest +
            "d/vell.sock: is too long for a socket (108 bytes, at most 107); choose a shorter "
            "VELLSIM_RUN_DIR");
}

TEST(CheckPeer, TakesThisUserOnly) {
    const auto [here, there] = make_stream_pair();
    EXPECT_EQ(sim::check_peer(here.get()), "");
    const uid_t me = geteuid();
    EXPECT_EQ(sim::check_peer(here.get(), me + 1), "the other end is of user " +
                                                       std::to_string(me) + ", not of user " +
                                                       std::to_string(me + 1));
}

TEST(CheckPeer, RefusesWhatIsNoSocket) {
    EXPECT_THAT(sim::check_peer(-1), StartsWith("the other end's user is unknown: "));
}

TEST(ConnectService, ReachesTheSwitch) {
    fake_switch there;
    const sim::connection made = sim::connect_service(there.directory().path(), patience_ms);
    ASSERT_TRUE(made.socket) << made.reason;
    const sim::file_descriptor end = there.accept();
    write_all(made.socket.get(), {1, 2});
    EXPECT_EQ(read_up_to(end.get(), 2), (bytes{1, 2}));
}

TEST(ConnectService, SaysWhenNobodyListens) {
    const scratch_directory scratch;
    EXPECT_EQ(sim::connect_service(scratch.path(), 10).reason,
              scratch / "vell.sock: No such file or directory");
    listen_in(scratch.path()).reset();
    const sim::connection made = sim::connect_service(scratch.path(), 10);
    EXPECT_FALSE(made.socket);
    EXPECT_EQ(made.reason, scratch / "vell.sock: Connection refused");
}

TEST(ConnectService, SaysWhenThereIsNoRunDirectory) {
    const scratch_directory scratch;
    EXPECT_EQ(sim::connect_service(scratch / "run", 10).reason,
              scratch / "run: No such file or directory");
}

TEST(ConnectService, DoesNotTrustADirectoryThatIsOpenToOthers) {
    fake_switch there;
    ASSERT_EQ(chmod(there.directory().path().c_str(), 0777), 0);
    const sim::connection made = sim::connect_service(there.directory().path(), 10);
    EXPECT_FALSE(made.socket);
    EXPECT_THAT(made.reason, HasSubstr("is open to other users"));
    EXPECT_TRUE(there.nobody_has_come());
}

TEST(ConnectService, WaitsForABusySwitchNoLongerThanItMay) {
    const scratch_directory scratch;
    const sim::file_descriptor listener = listen_in(scratch.path(), 0);
    std::vector<sim::connection> waiting;
    const signal_rain rain;
    const auto start = std::chrono::steady_clock::now();
    do
        waiting.push_back(sim::connect_service(scratch.path(), 30));
    while (waiting.back().socket && waiting.size() < 100);
    EXPECT_FALSE(waiting.back().socket);
    EXPECT_EQ(waiting.back().reason, scratch / "vell.sock: Connection timed out");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
}

} // namespace
