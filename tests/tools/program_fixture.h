// The whole program, run in the test's process against the transport that the test plays.
#pragma once

#include "tests/tools/fake_transport.h"
#include "vellfeed.h"

#include <cstdint>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace feed {

using bytes = std::vector<std::uint8_t>;

// Opcodes of requests.
constexpr std::uint32_t registration = 75796;
constexpr std::uint32_t deregistration = 75797;
constexpr std::uint32_t route_update = 75831;
constexpr std::uint32_t ipv6_notice = 75779;
constexpr std::uint32_t ipv4_stats = 75785;
constexpr std::uint32_t ipv6_stats = 75786;
constexpr std::uint32_t ipv4_clear = 75798;
constexpr std::uint32_t ipv6_clear = 75799;
constexpr std::uint32_t download_complete = 75789;
constexpr std::uint32_t oob_marker = 75804;
constexpr std::uint32_t l2_update = 75821;
constexpr std::uint32_t overlay_disable = 75820;
constexpr std::uint32_t overlay_route = 75818;
constexpr std::uint32_t ltl_allocation = 90001;
constexpr std::uint32_t ltl_modification = 90002;
constexpr std::uint32_t ltl_release = 90003;
constexpr std::uint32_t flood_update = 90004;

// Kinds of the LTL manager's answers.
constexpr std::uint32_t of_allocation = 13;
constexpr std::uint32_t of_modification = 14;
constexpr std::uint32_t of_release = 15;

// As words in host byte order.
inline bytes word_bytes(std::initializer_list<std::uint32_t> words) {
    bytes made;
    for (const std::uint32_t word : words) {
        for (int shift = 0; shift < 32; shift += 8)
            made.push_back(static_cast<std::uint8_t>(word >> shift));
    }
    return made;
}

class program_fixture : public testing::Test {
protected:
    program_fixture() { start_over(); }
    ~program_fixture() override {
        for (const std::string &path : files_)
            unlink(path.c_str());
    }

    // A switch that acknowledges the registration and says nothing else.
    void start_over() {
        fake_transport::reset();
        simulator.answers = {bytes{7, 1}};
    }

    // Runs the program; what it printed is in `out` and `err` then.
    int run(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "vellfeed");
        std::vector<const char *> argv;
        for (const std::string &argument : arguments)
            argv.push_back(argument.c_str());
        std::ostringstream out_stream;
        std::ostringstream err_stream;
        const int status =
            run_vellfeed(static_cast<int>(argv.size()), argv.data(), out_stream, err_stream);
        out = out_stream.str();
        err = err_stream.str();
        return status;
    }

    struct wrong_usage {
        std::vector<std::string> command;
        std::string error; // its first line
    };

    // Each command is wrong usage for the reason given, and nothing was sent.
    void expect_wrong_usage(const std::vector<wrong_usage> &rows) {
        for (const wrong_usage &row : rows) {
            EXPECT_EQ(run(row.command), 2) << testing::PrintToString(row.command);
            EXPECT_EQ(err.substr(0, err.find('\n')), "vellfeed: " + row.error)
                << testing::PrintToString(row.command);
        }
        EXPECT_TRUE(simulator.requests.empty());
    }

    // A file of this test's own: others run at the same time.
    std::string write_file(const std::string &name, const std::string &text) {
        std::string path =
            testing::TempDir() + "vellfeed_test." + std::to_string(getpid()) + "." + name;
        std::ofstream(path) << text;
        files_.push_back(path);
        return path;
    }

    static std::string sample(const std::string &name) {
        return std::string(VELL_SAMPLES_DIR) + "/" + name + ".json";
    }

    std::vector<std::uint32_t> sent_opcodes() const {
        std::vector<std::uint32_t> opcodes;
        for (const fake_request &request : simulator.requests)
            opcodes.push_back(request.opcode);
        return opcodes;
    }

    // Nothing that was opened is left open.
    void expect_all_closed() const {
        EXPECT_EQ(simulator.open_references, 0);
        EXPECT_EQ(simulator.wrong_drops, 0);
        EXPECT_EQ(simulator.open_queues, 0);
        EXPECT_EQ(simulator.messages_alive, 0);
    }

    fake_transport &simulator = fake_transport::current();
    std::string out;
    std::string err;

private:
    std::vector<std::string> files_;
};

} // namespace feed
