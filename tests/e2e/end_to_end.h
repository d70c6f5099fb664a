// A switch of its own for every test that starts one, and what it shows.
#pragma once

#include "tests/e2e/recorded.h"
#include "tests/support/simulator.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>

// vellfeed in the background, from the moment that it is there; what it says is kept.
class background_vellfeed {
public:
    explicit background_vellfeed(const std::vector<std::string> &arguments)
        : program_(command_of(arguments), errors_.get()) {}

    std::string next_line() { return program_.next_line(); }
    std::string said() const { return read_file(errors_.get()); }
    bool is_idle() const { return program_.is_idle(); }
    bool has_child() const {
        const std::string pid = std::to_string(program_.pid());
        std::ifstream children("/proc/" + pid + "/task/" + pid + "/children");
        return children.peek() != std::ifstream::traits_type::eof();
    }
    void signal(int number) const { program_.signal(number); }
    int wait() { return program_.wait(); }

private:
    static std::vector<std::string> command_of(const std::vector<std::string> &arguments) {
        std::vector<std::string> command = {"/bin/sh", "-c", "echo there; exec \"$0\" \"$@\"",
                                            VELLFEED_PATH};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return command;
    }

    sim::file_descriptor errors_ = unnamed_file();
    running_program program_;
};

class end_to_end : public simulator {
protected:
    void start_switch(const std::vector<std::string> &options = {}) {
        switch_.reset(); // the one before, which has the run directory
        switch_ = std::make_unique<switch_process>(run_dir, options);
    }
    switch_process &the_switch() { return *switch_; }

    void kill_switch() {
        switch_->signal(SIGKILL);
        switch_->wait();
    }

    static command_result example(const std::string &name) {
        return run_program({EXAMPLES_PATH "/" + name});
    }

    // What "vellsim show TABLE --json" prints, parsed; the test fails where it does not answer.
    static nlohmann::json show(const std::string &table) {
        const command_result result = vellsim({"show", table, "--json"});
        EXPECT_EQ(result.exit_code, 0) << result.err;
        const auto shown = nlohmann::json::parse(result.out, nullptr, false);
        EXPECT_TRUE(shown.is_object() && shown.contains(table)) << result.out;
        return shown.is_object() ? shown.value(table, nlohmann::json::array())
                                 : nlohmann::json::array();
    }

    // All that the switch has.
    static plain_tables installed() {
        return shown_tables(show("routes"), show("l2"), show("flood"), show("ltl"));
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

    // A recorded snapshot.
    static std::string sample(const std::string &name) { return SAMPLES_PATH "/" + name; }
    static plain_tables recorded(const std::string &name) { return recorded_tables(sample(name)); }

    // Runs vellfeed, and expects it to do as asked. Returns what it prints.
    static std::string fed(const std::vector<std::string> &arguments) {
        const command_result result = vellfeed(arguments);
        EXPECT_EQ(result.exit_code, 0) << result.out << result.err;
        return result.out;
    }

    static void expect_fault(std::vector<std::string> options) {
        options.insert(options.begin(), "fault");
        const command_result result = vellsim(options);
        EXPECT_EQ(result.exit_code, 0) << result.err;
    }

    // What vellfeed says when it fails, without its name and without what the platform's libraries say.
    static std::string error(const std::vector<std::string> &arguments) {
        const command_result result = vellfeed(arguments);
        EXPECT_EQ(result.exit_code, 1) << result.out << result.err;
        EXPECT_EQ(result.out, "");
        return said_in(result.err);
    }

    static std::string said_in(std::string text) {
        while (text.starts_with("lib")) {
            text.erase(0, text.find('\n') + 1);
        }
        EXPECT_TRUE(text.starts_with("vellfeed: ") && text.ends_with("\n")) << text;
        return text.substr(10, text.size() - 11);
    }

    // A snapshot with one file.
    std::string snapshot(const std::string &name, const std::string &file,
                         const std::string &text) {
        std::filesystem::create_directory(directory / name);
        std::ofstream(directory / (name + "/" + file)) << text;
        return directory / name;
    }

private:
    std::unique_ptr<switch_process> switch_;
};
