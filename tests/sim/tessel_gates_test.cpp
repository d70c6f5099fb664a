#include "tests/support/process.h"
#include "tests/support/scratch.h"

#include <tessel.h>

#include <cerrno>
#include <gtest/gtest.h>
#include <optional>

namespace {

constexpr std::uint32_t module = 0x730000;
constexpr std::uint32_t error = 102;
constexpr std::uint32_t trace = 104;

bool history_takes(std::uint32_t level) {
    return tessel_hist_event_subtype_check(module, level) == 0;
}
bool console_prints(std::uint32_t level) {
    return tessel_chk_int(level, 0, 0, 1) != 0;
}

struct gate {
    const char *variable;
    bool (*open)(std::uint32_t level);
    bool open_by_default;
    const char *default_text;
};

void PrintTo(const gate &g, std::ostream *out) {
    *out << g.variable;
}

class TesselGate : public testing::TestWithParam<gate> {
protected:
    void expect_open(const std::optional<std::string> &value, bool for_errors, bool for_traces) {
        const scoped_environment setting(GetParam().variable, value);
        EXPECT_EQ(GetParam().open(error), for_errors) << value.value_or("not set");
        EXPECT_EQ(GetParam().open(trace), for_traces) << value.value_or("not set");
    }
};

INSTANTIATE_TEST_SUITE_P(Of, TesselGate,
                         testing::Values(gate{"TESSEL_HISTORY", history_takes, true, "all"},
                                         gate{"TESSEL_CONSOLE", console_prints, false, "off"}),
                         [](const auto &named) { return std::string(named.param.variable + 7); });

TEST_P(TesselGate, IsAsItsVariableSaysAtEachCall) {
    expect_open("all", true, true);
    expect_open("error", true, false);
    expect_open("off", false, false);
    expect_open("all", true, true);
}

TEST_P(TesselGate, HasADefault) {
    expect_open(std::nullopt, GetParam().open_by_default, GetParam().open_by_default);
    expect_open("", GetParam().open_by_default, GetParam().open_by_default);
}

TEST_P(TesselGate, TakesTheDefaultForAWordItDoesNotKnowAndSaysSoOnce) {
    for (const char *value : {"errors", "ALL", "al", " all", "1"}) {
        const scoped_environment setting(GetParam().variable, value);
        const auto child = run_in_child([] {
            for (int call = 0; call < 3; ++call)
                if (GetParam().open(error) != GetParam().open_by_default)
                    return 1;
            return 0;
        });
        EXPECT_EQ(child.exit_code, 0);
        EXPECT_EQ(child.err, std::string("libtessel: ") + GetParam().variable + " is \"" + value +
                                 "\", which is none of all, error and off; taken as " +
                                 GetParam().default_text + "\n");
    }
}

TEST_P(TesselGate, LeavesErrnoAlone) {
    const scoped_environment setting(GetParam().variable, "nonsense");
    const auto child = run_in_child([] {
        close(STDERR_FILENO); // what is said fails
        errno = EXDEV;
        GetParam().open(error);
        return errno == EXDEV ? 0 : 1;
    });
    EXPECT_EQ(child.exit_code, 0);
}

TEST(TesselGates, DoNotHangTogether) {
    const scoped_environment history("TESSEL_HISTORY", "off");
    const scoped_environment console("TESSEL_CONSOLE", "all");
    EXPECT_FALSE(history_takes(error));
    EXPECT_TRUE(console_prints(trace));
}

} // namespace
