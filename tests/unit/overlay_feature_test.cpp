// The notification that the overlay feature is being disabled.
#include "overlay_notifications.h"

namespace {

using fake::platform;

class FeatureDisableTest : public LibraryTest {
protected:
    static fake::Send disable_sent(const char *payload) {
        return sent({.queue = queue,
                     .sap = 213,
                     .opcode = 75820,
                     .option_word1 = 0,
                     .payload = hex(payload)});
    }
};

TEST_F(FeatureDisableTest, IsOfType1WithoutAndOfType3WithTheFlag) {
    const struct {
        std::uint32_t flag;
        const char *payload;
    } rows[] = {{0, "0100 0800 00000000"},          {1, "0300 0800 00000000"},
                {255, "0300 0800 00000000"},        {0x100, "0300 0800 00000000"},
                {0x80000000, "0300 0800 00000000"}, {0xffffffff, "0300 0800 00000000"}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.flag);
        fake::reset_platform();
        EXPECT_EQ(vell_send_zeb_feature_disable(queue, row.flag), 1);
        EXPECT_CALLS(disable_sent(row.payload), released(queue));
    }
}

TEST_F(FeatureDisableTest, NeedsNoClientAndLeavesItsState) {
    for (const auto &state : states) {
        SCOPED_TRACE(state);
        fake::reset_platform();
        set_client_state(state);
        EXPECT_EQ(vell_send_zeb_feature_disable(queue, 0), 1);
        EXPECT_CALLS(disable_sent("0100 0800 00000000"), released(queue));
        EXPECT_EQ(client_state(), state);
    }
}

TEST_F(FeatureDisableTest, TakesEveryResultButMinus1ForSuccess) {
    for (const auto result : successful_results) {
        SCOPED_TRACE(result);
        fake::reset_platform();
        platform().kyt_send.returns(result);
        EXPECT_EQ(vell_send_zeb_feature_disable(queue, 1), 1);
        EXPECT_CALLS(disable_sent("0300 0800 00000000"), released(queue));
    }
}

TEST_F(FeatureDisableTest, ReportsAFailedSendWithError323UnderTheClientsUuid) {
    platform().kyt_send.returns(-1);
    for (const auto &state : states) {
        set_client_state(state);
        EXPECT_EQ(vell_send_zeb_feature_disable(queue, 1), 0);
        EXPECT_CALLS(disable_sent("0300 0800 00000000"),
                     logged(error_of("vell_send_zeb_feature_disable", 323, "KYT send failed\n",
                                     state.uuid)));
        EXPECT_EQ(client_state(), state);
    }
}

TEST_F(FeatureDisableTest, WithTheGatesClosedReportsAFailedSendToTheClientLogAlone) {
    platform().kyt_send.returns(-1);
    close_log_gates();
    EXPECT_EQ(vell_send_zeb_feature_disable(queue, 1), 0);
    EXPECT_CALLS(disable_sent("0300 0800 00000000"),
                 logged_to_client_alone(
                     error_of("vell_send_zeb_feature_disable", 323, "KYT send failed\n")));
}

TEST_F(FeatureDisableTest, WithoutAQueueIsSilent) {
    for (const auto &state : states) {
        SCOPED_TRACE(state);
        set_client_state(state);
        for (const std::uint32_t flag : {0U, 1U}) {
            EXPECT_EQ(vell_send_zeb_feature_disable(0, flag), 0);
            EXPECT_NO_CALLS();
        }
        EXPECT_EQ(client_state(), state);
    }
}

} // namespace
