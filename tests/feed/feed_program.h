// vellfeed and a switch for each test that starts one, both as processes.
#pragma once

#include "tests/support/simulator.h"

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

class feed_program : public simulator {
protected:
    void start_switch(const std::vector<std::string> &options = {}) {
        switch_ = std::make_unique<switch_process>(run_dir, options);
    }
    void stop_switch() { switch_.reset(); }

    // What it prints when it succeeds.
    static std::string printed(const std::vector<std::string> &arguments) {
        const command_result result = vellfeed(arguments);
        EXPECT_EQ(result.exit_code, 0);
        EXPECT_EQ(result.err, "");
        return result.out;
    }

    // What it says when it fails with this exit code, after what the platform's libraries say. Wrong
    // usage has a second line, which says where help is.
    static std::string error(const std::vector<std::string> &arguments, int exit_code = 1) {
        const command_result result = vellfeed(arguments);
        EXPECT_EQ(result.exit_code, exit_code) << result.out << result.err;
        EXPECT_EQ(result.out, "");
        constexpr std::string_view lead = "vellfeed: ";
        std::string said = result.err;
        while (said.starts_with("lib")) {
            said.erase(0, said.find('\n') + 1);
        }
        EXPECT_TRUE(said.starts_with(lead)) << result.err;
        const std::size_t end = said.find('\n');
        EXPECT_EQ(said.substr(end + 1).starts_with("Run `vellfeed "), exit_code == 2) << result.err;
        EXPECT_EQ(std::ranges::count(said, '\n'), exit_code == 2 ? 2 : 1) << result.err;
        return said.substr(lead.size(), end - lead.size());
    }
    static std::string usage_error(const std::vector<std::string> &arguments) {
        return error(arguments, 2);
    }

    // What `vellsim show TABLE --json` prints.
    static std::string shown(const std::string &table) {
        return vellsim({"show", table, "--json"}).out;
    }

    // Runs a shell command line in which $vellfeed is the program.
    static command_result run_shell(const std::string &line) {
        return run_program({"/bin/bash", "-c", line, "bash"});
    }
    scoped_environment program_{"vellfeed", VELLFEED_PATH};

private:
    std::unique_ptr<switch_process> switch_;
};
