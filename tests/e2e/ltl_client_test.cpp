// The example client that uses an LTL index, with a manager that does as asked and with one that
// does not.
#include "tests/e2e/end_to_end.h"

#include <gmock/gmock.h>

namespace {

using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;

class LtlClient : public end_to_end {};

TEST_F(LtlClient, PrintsALinePerAnswer) {
    start_switch();
    const auto run = example("ltl_client");
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.out, "LTL allocation: done, LTL 0x4000 has 3 ports\n"
                       "LTL modification: done, LTL 0x4000 has 2 ports\n"
                       "LTL release: done, LTL 0x4000 has 0 ports\n");
    EXPECT_EQ(show("ltl").size(), 0u);
    const auto client = show("clients").at(0);
    EXPECT_EQ(client["state"], "deregistered");
    EXPECT_EQ(client["refused"], 0);
}

TEST_F(LtlClient, WaitsForALateAnswer) {
    start_switch({"--ltl-answer", "late:300"});
    EXPECT_EQ(example("ltl_client").exit_code, 0);
    EXPECT_EQ(show("ltl").size(), 0u);
}

TEST_F(LtlClient, SkipsTheSecondAnswerToEachRequest) {
    start_switch({"--ltl-answer", "twice"});
    const auto run = example("ltl_client");
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_THAT(
        run.out,
        AllOf(
            HasSubstr("LTL modification: skipped a message of opcode 90001, which is not an answer "
                      "to it\n"),
            HasSubstr(
                "LTL release: skipped a message of opcode 90002, which is not an answer to it\n")));
}

TEST_F(LtlClient, SaysThatThePoolIsExhausted) {
    start_switch({"--ltl-pool", "0"});
    const auto run = example("ltl_client");
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_EQ(run.err, "ltl_client: LTL allocation: the pool is exhausted\n");
    EXPECT_THAT(service_log(run_dir, 102), Contains(HasSubstr("the pool is exhausted")));
    EXPECT_EQ(show("clients").at(0)["state"], "deregistered");
}

TEST_F(LtlClient, SaysThatASwitchDiedBeforeItAnswered) {
    // After the registration and the allocation.
    start_switch({"--ltl-answer", "late:60000", "--die-after", "2"});
    const auto run = example("ltl_client");
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, HasSubstr("ltl_client: LTL allocation: it was not answered; it may have "
                                   "been carried out all the same\n"));
}

} // namespace
