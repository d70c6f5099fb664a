#include "tests/e2e/simulator.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

void simulator::SetUp() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vell-e2e-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    run_directory = pattern;
    setenv("VELLSIM_RUN_DIR", run_directory.c_str(), 1);
}

void simulator::TearDown() {
    switch_program.reset();
    std::filesystem::remove_all(run_directory);
}

void simulator::start_switch(const std::vector<std::string> &options) {
    std::vector<std::string> command = {VELLSIM_PATH, "run", "--quiet"};
    command.insert(command.end(), options.begin(), options.end());
    switch_program = std::make_unique<running_program>(command);
    ASSERT_NE(the_switch().first_line().find("ready"), std::string::npos)
        << the_switch().first_line();
}

nlohmann::json simulator::show(const std::string &table) {
    const finished_program result = vellsim({"show", table, "--json"});
    EXPECT_EQ(result.status, 0) << result.err;
    const auto shown = nlohmann::json::parse(result.out, nullptr, false);
    EXPECT_TRUE(shown.is_object() && shown.contains(table)) << result.out;
    return shown.is_object() ? shown.value(table, nlohmann::json::array())
                             : nlohmann::json::array();
}

nlohmann::json simulator::route_of(const std::string &group) {
    nlohmann::json found;
    for (const auto &route : show("routes")) {
        if (route["group"] != group)
            continue;
        if (!found.is_null())
            return nullptr;
        found = route;
    }
    return found;
}

std::vector<std::string> simulator::service_log() {
    std::vector<std::string> texts;
    for (const auto &line : show("log"))
        if (line["sink"] == "service")
            texts.push_back(line["text"]);
    return texts;
}

finished_program simulator::vellsim(std::vector<std::string> arguments, const std::string &in) {
    arguments.insert(arguments.begin(), VELLSIM_PATH);
    return run_program(arguments, in);
}

finished_program simulator::vellfeed(std::vector<std::string> arguments, const std::string &in) {
    arguments.insert(arguments.begin(), VELLFEED_PATH);
    return run_program(arguments, in);
}

std::string simulator::sample(const std::string &name) {
    return SAMPLES_PATH "/" + name;
}

nlohmann::json simulator::sample_json(const std::string &name) {
    std::ifstream file(sample(name));
    return nlohmann::json::parse(file);
}
