#include "tests/tools/error_of.h"
#include "text_input.h"

#include <gtest/gtest.h>

namespace feed {
namespace {

TEST(text_input, a_missing_file_is_named) {
    EXPECT_EQ(error_of([] { read_text("/no/such/table"); }),
              "/no/such/table: cannot be opened: No such file or directory");
}

TEST(text_input, a_folder_is_no_text) {
    EXPECT_EQ(error_of([] { read_text("/"); }), "/: cannot be read: Is a directory");
}

TEST(text_input, an_endless_file_is_given_up) {
    EXPECT_EQ(error_of([] { read_text("/dev/zero"); }), "/dev/zero: is larger than 128 MiB");
}

TEST(text_input, takes_the_output_of_a_program) {
    const text_input input = read_command({"printf", "%s-%s", "a b", "$HOME"});
    EXPECT_EQ(input.text, "a b-$HOME"); // no shell has seen it
    EXPECT_EQ(input.name, "`printf %s-%s a b $HOME`");
}

TEST(text_input, takes_more_than_a_pipe_holds_from_both_outputs) {
    const text_input input = read_command(
        {"sh", "-c",
         "head -c 300000 /dev/zero >&2; head -c 300000 /dev/zero; head -c 9 /dev/zero >&2"});
    EXPECT_EQ(input.text.size(), 300000u);
}

TEST(text_input, a_missing_program_is_named) {
    EXPECT_EQ(error_of([] {
                  read_command({"no-such-program", "x"});
              }),
              "no-such-program cannot be run: No such file or directory; is it installed and on "
              "the PATH?");
}

TEST(text_input, a_program_that_fails_is_named_with_what_it_said) {
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

TEST(text_input, a_program_that_never_ends_is_given_up) {
    EXPECT_EQ(error_of([] {
                  read_command({"cat", "/dev/zero"});
              }),
              "`cat /dev/zero`: is larger than 128 MiB");
}

} // namespace
} // namespace feed
