// `vellfeed follow`: how it ends.
#include "tests/feed/feed_program.h"

#include <fmt/format.h>
#include <fstream>

class FollowCommand : public feed_program {};

// The signal comes when the switch has taken some of the messages, but not all.
TEST_F(FollowCommand, EndsWellWhenASignalInterruptsALongTable) {
    constexpr int routes = 20000;
    std::ofstream table(directory / "routes.json");
    for (int i = 0; i < routes; ++i) {
        table << (i == 0 ? '[' : ',')
              << fmt::format(R"({{"src":"10.0.0.1","dst":"239.0.{}.{}","iif":"eth1-1"}})", i / 250,
                             i % 250);
    }
    table << ']';
    table.close();
    start_switch({"--slow", "200"});
    const command_result result = run_shell(
        "$vellfeed follow --only routes --replay " + directory.path() +
        " & until grep -q vellfeed $VELLSIM_RUN_DIR/log/service; do sleep 0.01; done; sleep 1;"
        " kill -TERM $!; wait $!");
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "");
    EXPECT_NE(shown("routes").find("10.0.0.1"), std::string::npos);
    EXPECT_EQ(shown("routes").find(fmt::format("239.0.{}.{}", (routes - 1) / 250, 249)),
              std::string::npos);
}
