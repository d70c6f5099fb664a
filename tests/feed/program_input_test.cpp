#include "feed/program_input.h"
#include "tests/feed/input_text.h"
#include "tests/support/scratch.h"

#include <algorithm>
#include <cerrno>
#include <gtest/gtest.h>
#include <sys/wait.h>

namespace feed {
namespace {

std::string read_all(int file) {
    std::string text;
    char buffer[4096];
    for (ssize_t size = 1; size > 0;) {
        size = ::read(file, buffer, sizeof buffer);
        text.append(buffer, static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    }
    return text;
}

std::string failure_of(const std::string &script) {
    program_input program({"sh", "-c", script});
    read_all(program.output());
    return program.finish().failure;
}

TEST(ProgramInput, IsWhatAProgramPrints) {
    program_input program({"printf", "%s-%s", "a b", "$HOME"});
    EXPECT_EQ(program.name(), "`printf %s-%s a b $HOME`");
    EXPECT_EQ(read_all(program.output()), "a b-$HOME"); // no shell has seen it
    const program_end end = program.finish();
    EXPECT_EQ(end.failure, "");
    EXPECT_EQ(end.said, "");
    EXPECT_FALSE(end.by_signal);
}

TEST(ProgramInput, TheProgramReadsNothing) {
    program_input program({"wc", "-c"});
    EXPECT_EQ(read_all(program.output()), "0\n");
    EXPECT_EQ(program.finish().failure, "");
}

TEST(ProgramInput, MayGoIntoAFile) {
    const sim::file_descriptor file = file_with("");
    program_input program({"echo", "text"}, file.get());
    EXPECT_EQ(program.finish().failure, "");
    ::lseek(file.get(), 0, SEEK_SET);
    EXPECT_EQ(read_all(file.get()), "text\n");
}

TEST(ProgramInput, AProgramMaySayMoreThanAPipeHolds) {
    program_input program(
        {"sh", "-c", "head -c 300000 /dev/zero >&2; head -c 300000 /dev/zero; echo end >&2"});
    EXPECT_EQ(read_all(program.output()).size(), 300000u);
    EXPECT_EQ(program.finish().failure, "");
}

TEST(ProgramInput, AProgramThatSucceedsIsQuotedAsWell) {
    program_input program({"sh", "-c", "echo interrupted >&2"});
    EXPECT_EQ(program.finish().said, "interrupted");
}

TEST(ProgramInput, AProgramOfTheAdministratorIsFoundFromAUsersPath) {
    const scoped_environment user{"PATH", "/usr/bin:/bin"};
    program_input program({"ldconfig", "--version"});
    EXPECT_NE(read_all(program.output()).find("ldconfig"), std::string::npos);
    EXPECT_EQ(program.finish().failure, "");
}

TEST(ProgramInput, AMissingProgramIsNamed) {
    EXPECT_EQ(error_of([] {
                  program_input program({"no-such-program", "x"});
              }),
              "no-such-program cannot be run: No such file or directory; is it installed and on "
              "the PATH?");
}

TEST(ProgramInput, AProgramThatFailsIsNamedWithWhatItSaid) {
    EXPECT_EQ(failure_of("echo []; echo no table >&2; echo here >&2; exit 2"),
              "`sh -c echo []; echo no table >&2; echo here >&2; exit 2` failed with exit code 2: "
              "no table here");
    EXPECT_EQ(failure_of("exit 1"), "`sh -c exit 1` failed with exit code 1");
    EXPECT_EQ(failure_of("kill -9 $$"), "`sh -c kill -9 $$` was ended by signal 9");
}

TEST(ProgramInput, WhatAProgramSaysIsSafeForATerminal) {
    const stand_in_programs programs;
    programs.put("told", "printf '\\033[2Jred\\n' >&2; exit 3\n");
    program_input program({"told"});
    EXPECT_EQ(program.finish().failure, "`told` failed with exit code 3: \\x1b[2Jred");
}

TEST(ProgramInput, AProgramThatPrintsToNobodyIsEnded) {
    program_input program({"cat", "/dev/zero"});
    EXPECT_TRUE(program.finish().by_signal);
}

TEST(ProgramInput, AProgramThatNobodyWaitsForIsEnded) {
    { program_input program({"sleep", "1000"}); }
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST(ProgramInput, AFailureIsSeenWhereChildrenAreIgnored) {
    struct sigaction ignore {};
    struct sigaction before {};
    ignore.sa_handler = SIG_IGN;
    ::sigaction(SIGCHLD, &ignore, &before);
    EXPECT_EQ(failure_of("exit 4"), "`sh -c exit 4` failed with exit code 4");
    struct sigaction after {};
    ::sigaction(SIGCHLD, &before, &after);
    EXPECT_EQ(after.sa_handler, SIG_IGN);
}

TEST(ProgramInput, AnEndThatCannotBeLearnedIsAnError) {
    program_input program({"true"});
    read_all(program.output());
    EXPECT_GT(::waitpid(-1, nullptr, 0), 0); // somebody else has waited
    EXPECT_EQ(error_of([&] { program.finish(); }),
              "`true`: its end could not be waited for: No child processes");
}

} // namespace
} // namespace feed
