// What a test changes outside itself, and puts back: a directory, environment variables, programs.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

// A directory of mode 0700 that is removed with all it holds when the test ends.
class scratch_directory {
public:
    scratch_directory() {
        std::string name = std::filesystem::temp_directory_path() / "vell-test-XXXXXX";
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("no scratch directory " + name);
        }
        path_ = name;
    }
    scratch_directory(const scratch_directory &) = delete;
    scratch_directory &operator=(const scratch_directory &) = delete;
    ~scratch_directory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    const std::string &path() const { return path_; }
    std::string operator/(const std::string &name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

// Sets an environment variable, or with no value removes it.
class scoped_environment {
public:
    scoped_environment(std::string name, const std::optional<std::string> &value)
        : name_(std::move(name)) {
        if (const char *before = std::getenv(name_.c_str())) {
            before_ = before;
        }
        set(value);
    }
    scoped_environment(const scoped_environment &) = delete;
    scoped_environment &operator=(const scoped_environment &) = delete;
    ~scoped_environment() { set(before_); }

private:
    void set(const std::optional<std::string> &value) const {
        if (value) {
            setenv(name_.c_str(), value->c_str(), 1);
        } else {
            unsetenv(name_.c_str());
        }
    }

    std::string name_;
    std::optional<std::string> before_;
};

// Shell scripts that are found before the machine's programs of the same names.
class stand_in_programs {
public:
    void put(const std::string &name, const std::string &script) const {
        std::ofstream(folder_ / name) << "#!/bin/sh\n" << script;
        std::filesystem::permissions(folder_ / name, std::filesystem::perms::owner_all);
    }

private:
    scratch_directory folder_;
    scoped_environment path_{"PATH", folder_.path() + ":" + std::getenv("PATH")};
};
