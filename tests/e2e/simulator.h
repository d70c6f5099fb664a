// A simulator of its own for every test: a run directory, a switch in it, and what the switch shows.
#pragma once

#include "tests/e2e/process.h"

#include <gtest/gtest.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

class simulator : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    void start_switch(const std::vector<std::string> &options = {});
    running_program &the_switch() { return *switch_program; }

    // What "vellsim show TABLE --json" prints, parsed; the test fails where it does not answer.
    nlohmann::json show(const std::string &table);

    // The route of a group, out of show("routes"); null when the switch holds none, or several.
    nlohmann::json route_of(const std::string &group);

    // The texts of the service's own log.
    std::vector<std::string> service_log();

    finished_program vellsim(std::vector<std::string> arguments, const std::string &in = {});
    finished_program vellfeed(std::vector<std::string> arguments, const std::string &in = {});

    // Of a file of the recorded samples.
    static std::string sample(const std::string &name);
    static nlohmann::json sample_json(const std::string &name);

    std::string run_directory;

private:
    std::unique_ptr<running_program> switch_program;
};
