// The example client of layer-2 multicast: what it leaves in the switch, and how it sent it.
#include "tests/e2e/end_to_end.h"

namespace {

using nlohmann::json;

class SnoopingClient : public end_to_end {};

TEST_F(SnoopingClient, LeavesTheGroupsItAdded) {
    start_switch();
    const auto run = example("snooping_client");
    ASSERT_EQ(run.exit_code, 0) << run.err;
    const json l2 = show("l2");
    ASSERT_EQ(l2["entries"].size(), 3u);
    EXPECT_EQ(l2["entries"][0]["group"], "239.1.1.1");
    EXPECT_TRUE(l2["entries"][0]["source"].is_null());
    EXPECT_EQ(
        l2["entries"][0]["ports"],
        json::parse(
            R"([{"if_index":5,"name":"0x00000005","flags":0},{"if_index":8,"name":"0x00000008","flags":0}])"));
    EXPECT_EQ(l2["entries"][1]["ports"],
              json::parse(R"([{"if_index":5,"name":"0x00000005","flags":0}])"));
    EXPECT_EQ(
        l2["entries"][2]["ports"],
        json::parse(
            R"([{"if_index":5,"name":"0x00000005","flags":0},{"if_index":7,"name":"0x00000007","flags":0}])"));
    EXPECT_EQ(l2["download_complete"].size(), 1u);
    EXPECT_EQ(show("clients").at(0)["refused"], 0);
}

TEST_F(SnoopingClient, SendsABatchOfTwoMessagesAndOneBetweenItsOwnMarkers) {
    start_switch();
    const auto run = example("snooping_client");
    ASSERT_EQ(run.exit_code, 0) << run.err;
    const json l2 = show("l2");
    ASSERT_EQ(l2["batches"].size(), 2u);
    EXPECT_EQ(l2["batches"][0]["messages"], 2);
    EXPECT_EQ(l2["batches"][0]["records"], 3);
    EXPECT_EQ(l2["batches"][1]["messages"], 1);
    EXPECT_EQ(l2["batches"][1]["records"], 1);
    for (const json &batch : l2["batches"]) {
        EXPECT_TRUE(batch["begun"].is_string()) << batch;
        EXPECT_TRUE(batch["ended"].is_string()) << batch;
    }
    EXPECT_EQ(l2["other_markers"].size(), 0u);
}

} // namespace
