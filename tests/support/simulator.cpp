#include "tests/support/simulator.h"

#include "sim/wire/log_file.h"

#include <filesystem>
#include <fstream>

namespace {

std::vector<std::string> command_of(const std::string &run_directory,
                                    const std::vector<std::string> &options, bool quiet) {
    std::vector<std::string> command = {VELLSIM_PATH, "run", "--run-dir", run_directory};
    command.insert(command.end(), options.begin(), options.end());
    if (quiet) {
        command.push_back("--quiet");
    }
    return command;
}

} // namespace

command_result vellsim(std::vector<std::string> arguments, const std::string &in) {
    arguments.insert(arguments.begin(), VELLSIM_PATH);
    return run_program(arguments, in);
}

command_result vellfeed(std::vector<std::string> arguments, const std::string &in) {
    arguments.insert(arguments.begin(), VELLFEED_PATH);
    return run_program(arguments, in);
}

switch_process::switch_process(const std::string &run_directory,
                               const std::vector<std::string> &options, int error_fd)
    : running_program(command_of(run_directory, options, error_fd < 0), error_fd) {
    EXPECT_TRUE(ready_line().starts_with("vellsim: ready, ")) << ready_line();
}

std::vector<std::string> service_log(const std::string &run_directory, std::uint32_t level) {
    std::vector<std::string> texts;
    const std::string path = run_directory + "/log/service";
    EXPECT_TRUE(std::filesystem::exists(path)) << path;
    for (const char *age : {".older", ""}) {
        std::ifstream file(path + age);
        for (std::string text; std::getline(file, text);) {
            const auto line = sim::parse_log_line(text);
            EXPECT_TRUE(line) << text;
            if (!line || line->level != level) {
                continue;
            }
            if (line->text.ends_with(" more like the line before")) {
                texts.insert(texts.end(), std::stoul(line->text), std::string(texts.back()));
            } else {
                texts.push_back(line->text);
            }
        }
    }
    return texts;
}
