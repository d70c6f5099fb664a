// Answers of the LTL manager that are as long as they get, and clients that do not read them.
#include "tests/support/simulator.h"
#include "tests/switch/ltl_bytes.h"
#include "tests/switch/raw_peer.h"

#include <cstdlib>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <span>
#include <string>
#include <sys/socket.h>
#include <sys/time.h>
#include <vector>

using testing::Contains;
using testing::EndsWith;
using testing::Not;

namespace {

constexpr std::uint32_t most_entries = 1'048'575;

class AnswerLimits : public simulator {
protected:
    std::vector<std::string> errors() const { return service_log(run_dir, 102); }

    // Reads the next answer: its number of entries, and that it has as many.
    static std::uint32_t entries_of_next(raw_peer &peer, std::uint32_t opcode) {
        const std::optional<sim::frame> answer = peer.receive();
        if (!answer || answer->head.opcode != opcode || answer->payload.size() < 16) {
            ADD_FAILURE() << "no answer";
            return 0;
        }
        const auto head = std::as_bytes(std::span(answer->payload).first(16));
        const std::uint32_t count = words_of(bytes(head.begin(), head.end())).at(3);
        EXPECT_EQ(answer->payload.size(), 16 + std::size_t{count} * 16);
        return count;
    }
    // Sends the same until the switch takes no more: how often it did.
    static int send_until_held_up(raw_peer &peer, std::uint32_t opcode, const bytes &payload) {
        constexpr int enough = 100;
        int sent = 0;
        while (sent < enough && peer.send(ltl_head(opcode), payload)) {
            ++sent;
        }
        return sent;
    }
};

// Releases of LTL indexes that there are not, and, as the first of them, of one.
bytes releases(std::uint32_t count) {
    return message().u32(0x99).u32(count).u32(0x4000).u32(7).u32(0).fill(
        (std::size_t{count} - 1) * 12, 0);
}

bytes updates_of_vlan_0(std::uint32_t count) {
    return message().u32(0x99).u32(count).fill(std::size_t{count} * 24, 0);
}

// In MiB.
std::size_t resident_memory(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/statm");
    std::size_t size = 0;
    std::size_t resident = 0;
    status >> size >> resident;
    EXPECT_TRUE(status);
    return resident * 4096 >> 20;
}

// What is freed shows at once: nothing is kept to find accesses to it later.
class prompt_sanitizer {
public:
    prompt_sanitizer() {
        const char *usual = getenv("ASAN_OPTIONS");
        had_one_ = usual != nullptr;
        usual_ = had_one_ ? usual : "";
        setenv("ASAN_OPTIONS",
               (usual_ + ":quarantine_size_mb=0:thread_local_quarantine_size_kb=0").c_str(), 1);
    }
    ~prompt_sanitizer() {
        had_one_ ? setenv("ASAN_OPTIONS", usual_.c_str(), 1) : unsetenv("ASAN_OPTIONS");
    }
    prompt_sanitizer(const prompt_sanitizer &) = delete;
    prompt_sanitizer &operator=(const prompt_sanitizer &) = delete;

private:
    bool had_one_ = false;
    std::string usual_;
};

} // namespace

TEST_F(AnswerLimits, LetABatchOf80000ReleasesBeAnswered) {
    switch_process running(run_dir);
    raw_peer peer(run_dir);
    peer.send(ltl_head(release), releases(80'000));
    EXPECT_EQ(entries_of_next(peer, release), 80'000u);
    peer.send(ltl_head(allocation), ltl_payload(10, 7, {}));
    EXPECT_EQ(entries_of_next(peer, allocation), 1u) << "and its client goes on";
}

TEST_F(AnswerLimits, LetAFloodUpdateOf65535VlansBeAnsweredTwice) {
    switch_process running(run_dir, {"--ltl-answer", "twice"});
    raw_peer peer(run_dir);
    for (int i = 0; i < 2; ++i) {
        peer.send(ltl_head(flood_update), updates_of_vlan_0(65535));
        EXPECT_EQ(entries_of_next(peer, flood_update), 65535u);
        EXPECT_EQ(entries_of_next(peer, flood_update), 65535u);
    }
}

TEST_F(AnswerLimits, LetTheNextRequestBeAskedBeforeALongAnswerIsRead) {
    switch_process running(run_dir);
    raw_peer peer(run_dir);
    peer.send(ltl_head(release), releases(200'000));
    peer.send(ltl_head(allocation), ltl_payload(10, 7, {}));
    peer.send_show("ltl");
    EXPECT_EQ(entries_of_next(peer, release), 200'000u);
    EXPECT_EQ(entries_of_next(peer, allocation), 1u);
    EXPECT_EQ(peer.receive_table().at("ltl").size(), 1u);
}

TEST_F(AnswerLimits, LetAnAnswerBeAsLongAsAMessage) {
    switch_process running(run_dir);
    raw_peer peer(run_dir);
    peer.send(ltl_head(allocation), ltl_payload(10, 7, {}));
    EXPECT_EQ(entries_of_next(peer, allocation), 1u);
    peer.send(ltl_head(release), releases(most_entries + 1));
    EXPECT_EQ(peer.ask("ltl").at("ltl").size(), 1u) << "nothing of it is applied";
    EXPECT_THAT(
        errors(),
        testing::ElementsAre(EndsWith(
            "LTL release (opcode 90003): offset 4: the answer to 1048576 entries would be longer "
            "than a message may be, it has room for 1048575: refused")));
    peer.send(ltl_head(release), releases(most_entries));
    EXPECT_EQ(entries_of_next(peer, release), most_entries);
    EXPECT_TRUE(peer.ask("ltl").at("ltl").empty());
}

// How to end a connection that reads nothing is in server_limits_test.
TEST_F(AnswerLimits, HoldUpAConnectionWithManyLateAnswers) {
    switch_process running(run_dir, {"--ltl-answer", "late:3600000"});
    raw_peer peer(run_dir);
    const timeval patience{1, 0};
    ASSERT_EQ(setsockopt(peer.fd(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience), 0);
    EXPECT_LT(send_until_held_up(peer, release, releases(80'000)), 10);
    expect_service(run_dir);
    EXPECT_THAT(errors(), Not(Contains(EndsWith("connection closed"))));
}

// Each of these clients leaves 4 MiB of answers unread.
TEST_F(AnswerLimits, KeepNoLateAnswersOfClientsThatAreGone) {
    const prompt_sanitizer prompt;
    switch_process running(run_dir, {"--ltl-answer", "late:3600000"});
    const bytes batch = releases(250'000);
    const auto come_and_go = [&] {
        raw_peer gone(run_dir);
        gone.send(ltl_head(release), batch);
        EXPECT_TRUE(gone.ask("ltl").at("ltl").empty());
    };
    come_and_go();
    const std::size_t before = resident_memory(running.pid());
    for (int i = 0; i < 16; ++i) {
        come_and_go();
    }
    expect_service(run_dir);
    EXPECT_LT(resident_memory(running.pid()), before + 32);
}
