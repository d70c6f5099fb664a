// The notifications of IGMP snooping: out-of-band markers, the end of a download, and the update
// that does nothing.
#include "library_test.h"

namespace {

using fake::platform;

constexpr ClientState acknowledged = {.id = 0xe7, .queue = 0x14131211, .uuid = 5};

class OobMarkerTest : public LibraryTest {
protected:
    OobMarkerTest() { set_client_state(acknowledged); }

    static fake::Send marker_sent(const char *payload, std::uint32_t queue = 0x14131211) {
        return sent({.queue = queue,
                     .sap = 213,
                     .opcode = 75804,
                     .option_word1 = 0,
                     .payload = hex(payload)});
    }

    static fake::Calls refused(std::uint32_t uuid) {
        return logged(
            error_of("vell_send_igmp_oob_notification", 596, "Client has not register\n", uuid));
    }
};

TEST_F(OobMarkerTest, CarriesTheMarkerInHostOrderWhateverItIs) {
    const struct {
        std::uint32_t marker;
        const char *payload;
    } rows[] = {{1, "01000000"}, {2, "02000000"},          {7, "07000000"},
                {0, "00000000"}, {0xffffffff, "ffffffff"}, {0x24232221, "21222324"}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.marker);
        fake::reset_platform();
        EXPECT_EQ(vell_send_igmp_oob_notification(row.marker), 1);
        EXPECT_CALLS(marker_sent(row.payload), released(0x14131211));
        EXPECT_EQ(client_state(), acknowledged);
    }
}

TEST_F(OobMarkerTest, TakesEveryResultButMinus1ForSuccess) {
    for (const auto result : successful_results) {
        SCOPED_TRACE(result);
        fake::reset_platform();
        platform().kyt_send.returns(result);
        EXPECT_EQ(vell_send_igmp_oob_notification(1), 1);
        EXPECT_CALLS(marker_sent("01000000"), released(0x14131211));
    }
}

TEST_F(OobMarkerTest, GoesOutBeforeTheAcknowledgment) {
    set_client_state({});
    register_client(7, 5);
    EXPECT_EQ(vell_send_igmp_oob_notification(1), 1);
    EXPECT_CALLS(marker_sent("01000000", 7), released(7));
}

TEST_F(OobMarkerTest, GoesOutWhenOnlyTheQueueWasGiven) {
    set_client_state({});
    vell_register_kyt_q(7);
    EXPECT_EQ(vell_send_igmp_oob_notification(2), 1);
    EXPECT_CALLS(marker_sent("02000000", 7), released(7));
}

TEST_F(OobMarkerTest, WithoutAQueueIsRefusedWithError596) {
    for (const ClientState state : {ClientState{}, ClientState{.id = 9, .queue = 0, .uuid = 5}}) {
        SCOPED_TRACE(state);
        set_client_state(state);
        EXPECT_EQ(vell_send_igmp_oob_notification(1), 0);
        EXPECT_CALLS(refused(state.uuid));
        EXPECT_EQ(client_state(), state);
    }
}

TEST_F(OobMarkerTest, WithTheGatesClosedIsRefusedToTheClientLogAlone) {
    set_client_state({});
    close_log_gates();
    EXPECT_EQ(vell_send_igmp_oob_notification(1), 0);
    EXPECT_CALLS(logged_to_client_alone(
        error_of("vell_send_igmp_oob_notification", 596, "Client has not register\n")));
}

TEST_F(OobMarkerTest, ReportsAFailedSendWithError609AndReleasesNothing) {
    platform().kyt_send.returns(-1);
    const auto failure = error_of("vell_send_igmp_oob_notification", 609,
                                  "KYT send fail for KYT_OPC_VELL_IGMP_OOB_MSG\n", 5);
    EXPECT_EQ(vell_send_igmp_oob_notification(1), 0);
    EXPECT_CALLS(marker_sent("01000000"), logged(failure));
    EXPECT_EQ(client_state(), acknowledged);

    close_log_gates();
    EXPECT_EQ(vell_send_igmp_oob_notification(2), 0);
    EXPECT_CALLS(marker_sent("02000000"), logged_to_client_alone(failure));
}

class DownloadCompleteTest : public LibraryTest {
protected:
    DownloadCompleteTest() { set_client_state(acknowledged); }

    static fake::Send complete_sent(std::uint32_t queue = 0x14131211) {
        return sent({.queue = queue,
                     .sap = 213,
                     .opcode = 75789,
                     .option_word1 = 0,
                     .payload = {0, 0, 0, 0}});
    }

    static fake::Calls refused(std::uint32_t uuid) {
        return logged(
            error_of("vell_send_igmp_download_complete", 548, "Client not registered\n", uuid));
    }
};

TEST_F(DownloadCompleteTest, Carries0AndReleasesTheReference) {
    for (const unsigned number : {1U, 2U}) {
        EXPECT_EQ(vell_send_igmp_download_complete(), 1);
        EXPECT_CALLS(complete_sent(), released(0x14131211, number));
    }
    EXPECT_EQ(client_state(), acknowledged);
}

TEST_F(DownloadCompleteTest, TakesEveryResultButMinus1ForSuccess) {
    for (const auto result : successful_results) {
        SCOPED_TRACE(result);
        fake::reset_platform();
        platform().kyt_send.returns(result);
        EXPECT_EQ(vell_send_igmp_download_complete(), 1);
        EXPECT_CALLS(complete_sent(), released(0x14131211));
    }
}

TEST_F(DownloadCompleteTest, WithoutAnAcknowledgedClientIsRefusedWithError548) {
    constexpr ClientState states[] = {{.id = 0, .queue = 0, .uuid = 384},
                                      {.id = 0, .queue = 7, .uuid = 384},
                                      {.id = 0, .queue = 7, .uuid = 5},
                                      {.id = 9, .queue = 0, .uuid = 5}};
    for (const auto &state : states) {
        SCOPED_TRACE(state);
        set_client_state(state);
        EXPECT_EQ(vell_send_igmp_download_complete(), 0);
        EXPECT_CALLS(refused(state.uuid));
        EXPECT_EQ(client_state(), state);
    }
}

TEST_F(DownloadCompleteTest, WithTheGatesClosedIsRefusedToTheClientLogAlone) {
    set_client_state({.id = 0, .queue = 7, .uuid = 5});
    close_log_gates();
    EXPECT_EQ(vell_send_igmp_download_complete(), 0);
    EXPECT_CALLS(logged_to_client_alone(
        error_of("vell_send_igmp_download_complete", 548, "Client not registered\n", 5)));
}

TEST_F(DownloadCompleteTest, IsRefusedUntilTheAcknowledgmentThoughAMarkerIsNot) {
    set_client_state({});
    register_client(7, 5);
    EXPECT_EQ(vell_send_igmp_download_complete(), 0);
    EXPECT_CALLS(refused(5));
    EXPECT_EQ(vell_send_igmp_oob_notification(1), 1);
    EXPECT_CALLS(sent({.queue = 7, .sap = 213, .opcode = 75804, .payload = {1, 0, 0, 0}}),
                 released(7));

    acknowledge(9);
    EXPECT_EQ(vell_send_igmp_download_complete(), 1);
    EXPECT_CALLS(complete_sent(7), released(7));
}

TEST_F(DownloadCompleteTest, SaysNothingWhenTheSendFailsAndReleasesNothing) {
    platform().kyt_send.returns(-1);
    EXPECT_EQ(vell_send_igmp_download_complete(), 0);
    EXPECT_CALLS(complete_sent());
    EXPECT_EQ(client_state(), acknowledged);
}

using SnoopUpdateTest = LibraryTest;

TEST_F(SnoopUpdateTest, DoesNothingBeforeDuringAndAfterARegistration) {
    EXPECT_EQ(vell_send_igmp_snoop_update(), 1);
    EXPECT_NO_CALLS();

    register_client(7, 5);
    EXPECT_EQ(vell_send_igmp_snoop_update(), 1);
    EXPECT_NO_CALLS();

    acknowledge(9);
    EXPECT_EQ(vell_send_igmp_snoop_update(), 1);
    EXPECT_NO_CALLS();
    EXPECT_EQ(client_state(), (ClientState{.id = 9, .queue = 7, .uuid = 5}));

    EXPECT_EQ(vell_deregister(), 1U);
    fake::reset_platform();
    EXPECT_EQ(vell_send_igmp_snoop_update(), 1);
    EXPECT_NO_CALLS();
    EXPECT_EQ(client_state(), ClientState{});
}

TEST_F(SnoopUpdateTest, DoesNothingWhenOnlyTheQueueWasGiven) {
    vell_register_kyt_q(7);
    EXPECT_EQ(vell_send_igmp_snoop_update(), 1);
    EXPECT_NO_CALLS();
    EXPECT_EQ(client_state(), (ClientState{.id = 0, .queue = 7, .uuid = 384}));
}

TEST_F(SnoopUpdateTest, SucceedsWhereNothingCanBeSent) {
    set_client_state(acknowledged);
    platform().kyt_send.returns(-1);
    EXPECT_EQ(vell_send_igmp_snoop_update(), 1);
    EXPECT_NO_CALLS();
    EXPECT_EQ(client_state(), acknowledged);
}

} // namespace
