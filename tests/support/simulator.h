// vellsim as its users run it: a process of its own in a run directory of its own.
#pragma once

#include "tests/support/process.h"
#include "tests/support/scratch.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

// Run the programs to their end.
command_result vellsim(std::vector<std::string> arguments, const std::string &in = {});
command_result vellfeed(std::vector<std::string> arguments, const std::string &in = {});

// `vellsim run` in the background, ready when the constructor returns.
class switch_process : public running_program {
public:
    // Quiet, unless there is a descriptor for its standard error.
    explicit switch_process(const std::string &run_directory,
                            const std::vector<std::string> &options = {}, int error_fd = -1);

    const std::string &ready_line() const { return first_line(); }
};

// The texts of the run directory's service log of this level; one that was only counted comes as
// often as it was.
std::vector<std::string> service_log(const std::string &run_directory, std::uint32_t level);

// A run directory for every test, which vellsim, vellfeed and clients find without being told.
class simulator : public testing::Test {
protected:
    scratch_directory directory;
    const std::string run_dir = directory / "run";

private:
    scoped_environment variable_{"VELLSIM_RUN_DIR", run_dir};
};
