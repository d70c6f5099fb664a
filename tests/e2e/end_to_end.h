// A switch of its own for every test that starts one, and what it shows.
#pragma once

#include "tests/support/simulator.h"

#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>

class end_to_end : public simulator {
protected:
    void start_switch(const std::vector<std::string> &options = {}) {
        switch_ = std::make_unique<switch_process>(run_dir, options);
    }
    switch_process &the_switch() { return *switch_; }

    // What "vellsim show TABLE --json" prints, parsed; the test fails where it does not answer.
    static nlohmann::json show(const std::string &table) {
        const command_result result = vellsim({"show", table, "--json"});
        EXPECT_EQ(result.exit_code, 0) << result.err;
        const auto shown = nlohmann::json::parse(result.out, nullptr, false);
        EXPECT_TRUE(shown.is_object() && shown.contains(table)) << result.out;
        return shown.is_object() ? shown.value(table, nlohmann::json::array())
                                 : nlohmann::json::array();
    }

    // The route of a group, out of show("routes"); null when there is none, or several.
    static nlohmann::json route_of(const std::string &group) {
        nlohmann::json found;
        for (const auto &route : show("routes")) {
            if (route["group"] == group) {
                if (!found.is_null()) {
                    return nullptr;
                }
                found = route;
            }
        }
        return found;
    }

    // Of a file of the recorded samples.
    static std::string sample(const std::string &name) { return SAMPLES_PATH "/" + name; }
    static nlohmann::json sample_json(const std::string &name) {
        std::ifstream file(sample(name));
        return nlohmann::json::parse(file);
    }

private:
    std::unique_ptr<switch_process> switch_;
};
