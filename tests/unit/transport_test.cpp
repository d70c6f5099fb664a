// The one way out: what every request has in common, and where each goes.
#include "client/transport.h"
#include "library_test.h"

namespace {

using fake::platform;

constexpr vell::service_request plain = {0x31, 0x32333435, 0};
constexpr vell::service_request optioned = {0x41, 0x42434445, 1};
constexpr std::uint32_t queue = 0x14131211;

class TransportTest : public LibraryTest {
protected:
    static fake::Send plain_sent(fake::Reference reference) {
        return sent({.queue = queue,
                     .sap = 0x31,
                     .opcode = 0x32333435,
                     .option_word1 = 0,
                     .payload = {0x51, 0x52, 0x53},
                     .reference = reference});
    }

    const std::uint8_t payload_[3] = {0x51, 0x52, 0x53};
};

TEST_F(TransportTest, SendsToTheServiceWithTheCallersReferenceAndLeavesItToTheCaller) {
    kyt_msg_ref reference = {};
    platform().callers_reference = &reference;
    EXPECT_TRUE(vell::send_request(plain, queue, payload_, 3, &reference));
    EXPECT_CALLS(plain_sent(fake::Reference::callers));
    EXPECT_EQ(platform().payload_address, payload_);
}

TEST_F(TransportTest, LeavesTheReferenceAloneWhenTheSendFails) {
    kyt_msg_ref reference = {};
    platform().callers_reference = &reference;
    platform().kyt_send.returns(-1);
    EXPECT_FALSE(vell::send_request(plain, queue, payload_, 3, &reference));
    EXPECT_CALLS(plain_sent(fake::Reference::callers));
    for (const auto byte : reference.opaque)
        EXPECT_EQ(byte, 0);
}

TEST_F(TransportTest, ReleasesItsOwnReferenceOnTheSameQueue) {
    EXPECT_TRUE(vell::send_and_release(plain, queue, payload_, 3));
    EXPECT_CALLS(plain_sent(fake::Reference::own), released(queue));
}

TEST_F(TransportTest, ReleasesNothingWhenTheSendFails) {
    platform().kyt_send.returns(-1);
    EXPECT_FALSE(vell::send_and_release(plain, queue, payload_, 3));
    EXPECT_CALLS(plain_sent(fake::Reference::own));
}

TEST_F(TransportTest, TakesEveryResultButMinus1ForSuccess) {
    for (const auto result : successful_results) {
        SCOPED_TRACE(result);
        fake::reset_platform();
        platform().kyt_send.returns(result);
        EXPECT_TRUE(vell::send_and_release(plain, queue, payload_, 3));
        EXPECT_CALLS(plain_sent(fake::Reference::own), released(queue));
    }
}

TEST_F(TransportTest, MakesTheOptionsOfEveryRequestAfresh) {
    EXPECT_TRUE(vell::send_and_release(optioned, queue, payload_, 3));
    EXPECT_TRUE(vell::send_and_release(plain, queue, payload_, 3));
    EXPECT_CALLS(sent({.queue = queue,
                       .sap = 0x41,
                       .opcode = 0x42434445,
                       .option_word1 = 1,
                       .payload = {0x51, 0x52, 0x53}}),
                 released(queue, 1), plain_sent(fake::Reference::own), released(queue, 2));
}

TEST_F(TransportTest, NeitherReadsNorChangesTheClientState) {
    EXPECT_TRUE(vell::send_and_release(plain, queue, payload_, 3));
    EXPECT_EQ(client_state(), ClientState{});
    EXPECT_CALLS(plain_sent(fake::Reference::own), released(queue));
}

TEST(RequestTableTest, SaysWhereEachRequestGoes) {
    struct Row {
        vell::service_request request;
        std::uint32_t sap;
        std::uint32_t opcode;
        std::uint32_t option_word1;
    };
    const Row rows[] = {
        {vell::request::client_register, 212, 75796, 0},
        {vell::request::client_deregister, 212, 75797, 0},
        {vell::request::ipv4_route_update, 214, 75831, 1},
        {vell::request::ipv6_route_notice, 214, 75779, 1},
        {vell::request::dux_role_update, 214, 75831, 0},
        {vell::request::ipv4_stats, 214, 75785, 0},
        {vell::request::ipv4_stats_clear, 214, 75798, 0},
        {vell::request::ipv6_stats, 214, 75786, 0},
        {vell::request::ipv6_stats_clear, 214, 75799, 0},
        {vell::request::igmp_oob_marker, 213, 75804, 0},
        {vell::request::igmp_download_complete, 213, 75789, 0},
        {vell::request::l2_update, 213, 75821, 1},
        {vell::request::overlay_feature_disable, 213, 75820, 0},
        {vell::request::overlay_vlans_disable, 213, 75820, 1},
        {vell::request::overlay_route_update, 213, 75818, 1},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.opcode);
        EXPECT_EQ(row.request.sap, row.sap);
        EXPECT_EQ(row.request.opcode, row.opcode);
        EXPECT_EQ(row.request.option_word1, row.option_word1);
    }
}

} // namespace
