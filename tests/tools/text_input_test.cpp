#include "tests/tools/error_of.h"
#include "text_input.h"

#include <gtest/gtest.h>

namespace feed {
namespace {

TEST(TextInput, AMissingFileIsNamed) {
    EXPECT_EQ(error_of([] { read_text("/no/such/table"); }),
              "/no/such/table: cannot be opened: No such file or directory");
}

TEST(TextInput, AFolderIsNoText) {
    EXPECT_EQ(error_of([] { read_text("/"); }), "/: cannot be read: Is a directory");
}

TEST(TextInput, AnEndlessFileIsGivenUp) {
    EXPECT_EQ(error_of([] { read_text("/dev/zero"); }), "/dev/zero: is larger than 128 MiB");
}

TEST(TextInput, TakesTheOutputOfAProgram) {
    const text_input input = read_command({"printf", "%s-%s", "a b", "$HOME"});
    EXPECT_EQ(input.text, "a b-$HOME"); // no shell has seen it
    EXPECT_EQ(input.name, "`printf %s-%s a b $HOME`");
}

TEST(TextInput, TakesMoreThanAPipeHoldsFromBothOutputs) {
    const text_input input = read_command(
        {"sh", "-c",
         "head -c 300000 /dev/zero >&2; head -c 300000 /dev/zero; head -c 9 /dev/zero >&2"});
    EXPECT_EQ(input.text.size(), 300000u);
}

TEST(TextInput, AMissingProgramIsNamed) {
    EXPECT_EQ(error_of([] {
                  read_command({"no-such-program", "x"});
              }),
              "no-such-program cannot be run: No such file or directory; is it installed and on "
              "the PATH?");
}

TEST(TextInput, AProgramThatFailsIsNamedWithWhatItSaid) {
    EXPECT_EQ(error_of([] {
                  read_command({"sh", "-c", "echo []; echo no table >&2; echo here >&2; exit 2"});
              }),
              "`sh -c echo []; echo no table >&2; echo here >&2; exit 2` failed with exit code 2: "
              "no table here");
    EXPECT_EQ(error_of([] { read_command({"false"}); }), "`false` failed with exit code 1");
    EXPECT_EQ(error_of([] {
                  read_command({"sh", "-c", "kill -9 $$"});
              }),
              "`sh -c kill -9 $$` was ended by signal 9");
}

TEST(TextInput, AProgramThatNeverEndsIsGivenUp) {
    EXPECT_EQ(error_of([] {
                  read_command({"cat", "/dev/zero"});
              }),
              "`cat /dev/zero`: is larger than 128 MiB");
}

} // namespace
} // namespace feed
