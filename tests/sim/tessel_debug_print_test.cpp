#include "tests/support/process.h"

#include <tessel.h>

#include <cerrno>
#include <gtest/gtest.h>

namespace {

template <class Body>
std::string printed(Body body) {
    const auto child = run_in_child([&] {
        body();
        return 0;
    });
    EXPECT_EQ(child.exit_code, 0);
    return child.err;
}

TEST(DebugPrint, FormatsBehindTheModulesName) {
    EXPECT_EQ(printed([] {
                  debug_print(1, tessel_dbg_modname, 0, "%s(%d):TRACE: %u of 0x%08x %c%%\n", "f",
                              -7, 4000000000u, 0xab, 'z');
              }),
              "vell: f(-7):TRACE: 4000000000 of 0x000000ab z%\n");
}

TEST(DebugPrint, EndsALineThatDoesNotEndItself) {
    EXPECT_EQ(printed([] { debug_print(1, tessel_dbg_modname, 0, "%s", "text"); }), "vell: text\n");
    EXPECT_EQ(printed([] { debug_print(1, tessel_dbg_modname, 0, "%s", ""); }), "vell: \n");
}

TEST(DebugPrint, UsesTheNameThatItIsGiven) {
    char name[] = "mribd";
    EXPECT_EQ(printed([&] { debug_print(1, name, 0, "text\n"); }), "mribd: text\n");
    EXPECT_EQ(printed([] { debug_print(1, nullptr, 0, "text\n"); }), "vell: text\n");
}

TEST(DebugPrint, CutsNothing) {
    const std::string text(5000, 'x');
    EXPECT_EQ(printed([&] { debug_print(1, tessel_dbg_modname, 0, "%s\n", text.c_str()); }),
              "vell: " + text + "\n");
}

TEST(DebugPrint, IsOutBeforeItReturns) {
    // A process that ends without flushing its streams, as by a crash, has still printed.
    EXPECT_EQ(run_in_child([]() -> int {
                  setvbuf(stderr, nullptr, _IOFBF, 4096);
                  debug_print(1, tessel_dbg_modname, 0, "text\n");
                  abort();
              }).err,
              "vell: text\n");
}

TEST(DebugPrint, LeavesErrnoAlone) {
    EXPECT_EQ(run_in_child([] {
                  close(STDERR_FILENO);
                  errno = EXDEV;
                  debug_print(1, tessel_dbg_modname, 0, "text\n");
                  return errno == EXDEV ? 0 : 1;
              }).exit_code,
              0);
}

} // namespace
