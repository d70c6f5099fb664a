#include "sim/wire/run_dir.h"
#include "tests/support/scratch.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::StartsWith;

mode_t mode_of(const std::string &path) {
    struct stat entry {};
    return stat(path.c_str(), &entry) == 0 ? entry.st_mode & 07777u : 0;
}

std::string default_run_dir() {
    return "/tmp/vellsim-" + std::to_string(geteuid());
}

TEST(RunDir, IsWhatTheVariableSays) {
    const scoped_environment own("VELLSIM_RUN_DIR", "/somewhere/else");
    const scoped_environment xdg("XDG_RUNTIME_DIR", "/run/user/7");
    EXPECT_EQ(sim::run_dir(), "/somewhere/else");
}

TEST(CleanPath, HasOneSpelling) {
    const std::pair<const char *, const char *> spellings[] = {
        {"/somewhere//", "/somewhere"},
        {"/some/./where/.", "/some/where"},
        {"//some//where", "/some/where"},
        {"./run/", "run"},
        {"/", "/"},
        {"//.//", "/"},
        {".", "."},
        {"././", "."},
        {"", ""},
        {"../run", "../run"},
        {"/some/../where", "/some/../where"},
        {"/.hidden/..x", "/.hidden/..x"},
    };
    for (const auto &[given, clean] : spellings) {
        EXPECT_EQ(sim::clean_path(given), clean) << given;
    }
}

TEST(RunDir, IsSpelledInOneWay) {
    const scoped_environment own("VELLSIM_RUN_DIR", "/somewhere/.//");
    EXPECT_EQ(sim::run_dir(), "/somewhere");
    const scoped_environment unset("VELLSIM_RUN_DIR", std::nullopt);
    const scoped_environment xdg("XDG_RUNTIME_DIR", "/run/user//7/");
    EXPECT_EQ(sim::run_dir(), "/run/user/7/vellsim");
}

TEST(RunDir, IsInTheUsersRuntimeDirectoryWhenTheVariableIsNotSetOrEmpty) {
    const scoped_environment xdg("XDG_RUNTIME_DIR", "/run/user/7");
    const scoped_environment own("VELLSIM_RUN_DIR", std::nullopt);
    EXPECT_EQ(sim::run_dir(), "/run/user/7/vellsim");
    const scoped_environment empty("VELLSIM_RUN_DIR", "");
    EXPECT_EQ(sim::run_dir(), "/run/user/7/vellsim");
}

TEST(RunDir, IsInTmpWhenThereIsNoUsableRuntimeDirectory) {
    const scoped_environment own("VELLSIM_RUN_DIR", std::nullopt);
    for (const auto &value : {std::optional<std::string>(), std::optional<std::string>(""),
                              std::optional<std::string>("relative/path")}) {
        const scoped_environment xdg("XDG_RUNTIME_DIR", value);
        EXPECT_EQ(sim::run_dir(), default_run_dir());
    }
}

TEST(PrepareRunDir, MakesTheDirectoryAndItsLogFolderForThisUserOnly) {
    const scratch_directory scratch;
    EXPECT_EQ(sim::prepare_run_dir(scratch / "run"), "");
    EXPECT_EQ(mode_of(scratch / "run"), 0700u);
    EXPECT_EQ(mode_of(scratch / "run/log"), 0700u);
}

TEST(PrepareRunDir, TakesADirectoryThatIsThereAndKeepsWhatIsInIt) {
    const scratch_directory scratch;
    ASSERT_EQ(sim::prepare_run_dir(scratch.path()), "");
    std::ofstream(scratch / "log/history") << "kept\n";
    EXPECT_EQ(sim::prepare_run_dir(scratch.path()), "");
    EXPECT_EQ(fs::file_size(scratch / "log/history"), 5u);
}

TEST(PrepareRunDir, DoesNotMakeParents) {
    const scratch_directory scratch;
    const std::string path = scratch / "missing/run";
    EXPECT_EQ(sim::prepare_run_dir(path), path + ": No such file or directory");
    EXPECT_FALSE(fs::exists(scratch / "missing"));
}

TEST(PrepareRunDir, RefusesASymbolicLinkHoweverItIsSpelled) {
    const scratch_directory scratch;
    fs::create_directory(scratch / "target");
    fs::permissions(scratch / "target", fs::perms::owner_all);
    fs::create_symlink(scratch / "target", scratch / "run");
    for (const char *spelling : {"run", "run/", "run/.", "run//./", "./run/././"}) {
        EXPECT_EQ(sim::prepare_run_dir(scratch / spelling), scratch / "run: is a symbolic link");
        EXPECT_EQ(sim::check_run_dir(scratch / spelling), scratch / "run: is a symbolic link");
    }
    EXPECT_TRUE(fs::is_empty(scratch / "target"));
}

TEST(PrepareRunDir, RefusesAPathThatDoesNotNameItsDirectory) {
    const scratch_directory scratch;
    ASSERT_EQ(sim::prepare_run_dir(scratch / "run"), "");
    const std::string parent = scratch / "run/log/..";
    EXPECT_EQ(sim::prepare_run_dir(parent + "/"),
              parent + ": ends in \"..\": name the directory itself");
    EXPECT_EQ(sim::check_run_dir(parent), parent + ": ends in \"..\": name the directory itself");
    EXPECT_EQ(sim::check_run_dir(".."), "..: ends in \"..\": name the directory itself");
    for (const std::string &reason : {sim::prepare_run_dir(""), sim::check_run_dir("")}) {
        EXPECT_EQ(reason, "the run directory's path is empty: name a directory");
    }
}

TEST(PrepareRunDir, RefusesAFileInItsPlace) {
    const scratch_directory scratch;
    std::ofstream(scratch / "run") << "text";
    EXPECT_EQ(sim::prepare_run_dir(scratch / "run"), scratch / "run: is not a directory");
    EXPECT_EQ(fs::file_size(scratch / "run"), 4u);
}

TEST(PrepareRunDir, RefusesADirectoryThatOthersMayEnter) {
    const scratch_directory scratch;
    for (const auto &[mode, text] :
         {std::pair(0750u, "0750"), std::pair(0701u, "0701"), std::pair(0702u, "0702")}) {
        ASSERT_EQ(chmod(scratch.path().c_str(), mode), 0);
        EXPECT_EQ(sim::prepare_run_dir(scratch.path()),
                  scratch.path() + ": is open to other users (mode " + text + ", it must be 0700)");
        EXPECT_FALSE(fs::exists(scratch / "log"));
        EXPECT_EQ(mode_of(scratch.path()), mode);
    }
}

TEST(PrepareRunDir, RefusesAnotherUsersDirectory) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can give a directory away";
    const scratch_directory scratch;
    ASSERT_EQ(chown(scratch.path().c_str(), 65534, 65534), 0);
    EXPECT_EQ(sim::prepare_run_dir(scratch.path()),
              scratch.path() + ": belongs to user 65534, not to user 0");
}

TEST(PrepareRunDir, RefusesALogFolderThatIsNotItsOwn) {
    const scratch_directory scratch;
    fs::create_directory_symlink("/tmp", scratch / "log");
    EXPECT_EQ(sim::prepare_run_dir(scratch.path()), scratch / "log: is a symbolic link");
}

TEST(CheckRunDir, TakesADirectoryOfThisUserOnly) {
    const scratch_directory scratch;
    EXPECT_EQ(sim::check_run_dir(scratch.path()), "");
    EXPECT_EQ(sim::check_run_dir(scratch.path() + "/"), "");
}

TEST(CheckRunDir, MakesNothing) {
    const scratch_directory scratch;
    EXPECT_EQ(sim::check_run_dir(scratch / "run"), scratch / "run: No such file or directory");
    EXPECT_TRUE(fs::is_empty(scratch.path()));
}

TEST(CheckRunDir, RefusesWhatPreparingRefuses) {
    const scratch_directory scratch;
    ASSERT_EQ(chmod(scratch.path().c_str(), 0755), 0);
    EXPECT_THAT(sim::check_run_dir(scratch.path()),
                AllOf(StartsWith(scratch.path() + ": "), HasSubstr("open to other users")));
}

} // namespace
