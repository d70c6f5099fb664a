// Programs that stand in for the machine's, for as long as this is there.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>

namespace feed {

class stand_in_programs {
public:
    stand_in_programs() : path_(getenv("PATH")) {
        std::string folder = testing::TempDir() + "vellfeed_test.XXXXXX";
        EXPECT_NE(mkdtemp(folder.data()), nullptr);
        folder_ = folder;
        setenv("PATH", (folder_ + ":" + path_).c_str(), 1);
    }
    stand_in_programs(const stand_in_programs &) = delete;
    stand_in_programs &operator=(const stand_in_programs &) = delete;
    ~stand_in_programs() {
        setenv("PATH", path_.c_str(), 1);
        std::filesystem::remove_all(folder_);
    }

    void put(const std::string &name, const std::string &script) const {
        const std::string path = folder_ + "/" + name;
        std::ofstream(path) << "#!/bin/sh\n" << script;
        EXPECT_EQ(chmod(path.c_str(), 0700), 0);
    }

private:
    std::string path_;
    std::string folder_;
};

} // namespace feed
