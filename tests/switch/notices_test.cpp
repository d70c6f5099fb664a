#include "sim/switch/limits.h"
#include "tests/switch/l2_bytes.h"
#include "tests/switch/test_service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <nlohmann/json.hpp>

using testing::ElementsAre;
using testing::MatchesRegex;
using json = nlohmann::json;

namespace {

constexpr const char *a_time = "20..-..-..T..:..:..[.].*Z";

struct notified_service : test_service {
    sim::session from = registered_session();

    void mark(sim::session &who, std::uint32_t marker) {
        send(who, marker_head(), message().u32(marker));
    }
    void update(unsigned records) {
        send(from, l2_head(), mbd_message(1, std::vector<test_mbd>(records)));
    }
    json shown(const char *part) const {
        return json::parse(answer_of(vell, "l2")).at("l2").at(part);
    }
};

} // namespace

TEST(Markers, BracketABatch) {
    notified_service test;
    test.update(9);
    test.mark(test.from, 1);
    EXPECT_EQ(test.shown("batches").at(0).at("open"), true);
    EXPECT_TRUE(test.shown("batches").at(0).at("ended").is_null());
    test.update(3);
    test.update(2);
    test.mark(test.from, 2);
    test.update(9);
    const json batches = test.shown("batches");
    ASSERT_EQ(batches.size(), 1u);
    EXPECT_EQ(batches[0].at("client"), 1);
    EXPECT_EQ(batches[0].at("pid"), 4711);
    EXPECT_EQ(batches[0].at("messages"), 2);
    EXPECT_EQ(batches[0].at("records"), 5);
    EXPECT_EQ(batches[0].at("open"), false);
    EXPECT_THAT(batches[0].at("begun").get<std::string>(), MatchesRegex(a_time));
    EXPECT_THAT(batches[0].at("ended").get<std::string>(), MatchesRegex(a_time));
    EXPECT_TRUE(test.errors.empty());
}

TEST(Markers, CountNoRefusedMessages) {
    notified_service test;
    test.mark(test.from, 1);
    test.send(test.from, l2_head(), mbd_message(1, {{}, {.vlan = 0}}));
    EXPECT_EQ(test.shown("batches").at(0).at("messages"), 0);
}

TEST(Markers, LeftOpenByADeregistrationTakeNothingMore) {
    notified_service test;
    test.mark(test.from, 1);
    test.send(test.from, deregister_head(), deregister_payload(1));
    EXPECT_EQ(test.shown("batches").at(0).at("open"), false);
    EXPECT_TRUE(test.shown("batches").at(0).at("ended").is_null());
    test.send(test.from, l2_head(), mbd_message(0, {{}}));
    EXPECT_EQ(test.shown("batches").at(0).at("messages"), 0);
    EXPECT_TRUE(test.errors.empty());
}

TEST(Markers, OfTwoConnectionsDoNotMix) {
    notified_service test;
    sim::session queue_only{.pid = 99};
    test.mark(test.from, 1);
    test.mark(queue_only, 1);
    test.update(3);
    test.mark(queue_only, 2);
    const json batches = test.shown("batches");
    ASSERT_EQ(batches.size(), 2u);
    EXPECT_EQ(batches[0].at("records"), 3);
    EXPECT_EQ(batches[0].at("open"), true);
    EXPECT_EQ(batches[1].at("client"), 0);
    EXPECT_EQ(batches[1].at("pid"), 99);
    EXPECT_EQ(batches[1].at("records"), 0);
    EXPECT_EQ(batches[1].at("open"), false);
}

TEST(Markers, MayBeUnpaired) {
    notified_service test;
    test.mark(test.from, 2);
    test.mark(test.from, 1);
    test.mark(test.from, 1);
    EXPECT_EQ(test.traces.at(1), "client 1 (pid 4711): end marker without a begin marker");
    EXPECT_EQ(
        test.traces.at(2),
        "client 1 (pid 4711): begin marker inside a batch: the batch ends without an end marker");
    sim::handle_loss(test.vell, test.from, "it closed its connection");
    const json batches = test.shown("batches");
    ASSERT_EQ(batches.size(), 3u);
    EXPECT_TRUE(batches[0].at("begun").is_null());
    EXPECT_TRUE(batches[0].at("ended").is_string());
    for (const std::size_t cut_off : {1u, 2u}) {
        EXPECT_TRUE(batches[cut_off].at("begun").is_string());
        EXPECT_TRUE(batches[cut_off].at("ended").is_null());
        EXPECT_EQ(batches[cut_off].at("open"), false);
    }
}

TEST(Markers, OfOtherValuesAreKeptAsTheyAre) {
    notified_service test;
    test.mark(test.from, 7);
    test.mark(test.from, 0x01000000);
    const json others = test.shown("other_markers");
    ASSERT_EQ(others.size(), 2u);
    EXPECT_EQ(others[0].at("marker"), 7);
    EXPECT_EQ(others[0].at("client"), 1);
    EXPECT_EQ(others[1].at("marker"), 0x01000000);
    EXPECT_TRUE(test.shown("batches").empty());
}

TEST(Markers, AreForgottenOldestFirst) {
    notified_service test;
    for (std::uint32_t i = 0; i < sim::batches_kept + 5; ++i) {
        test.mark(test.from, 100 + i);
        test.mark(test.from, 1);
        test.mark(test.from, 2);
    }
    const json others = test.shown("other_markers");
    EXPECT_EQ(others.size(), sim::batches_kept);
    EXPECT_EQ(others[0].at("marker"), 105);
    EXPECT_EQ(test.shown("batches").size(), sim::batches_kept);
}

TEST(DownloadComplete, IsCountedPerClient) {
    notified_service test;
    test.registered_session();
    sim::session third = test.registered_session();
    test.send(third, download_head(), message().u32(0));
    test.send(test.from, download_head(), message().u32(0));
    test.send(third, download_head(), message().u32(0));
    EXPECT_EQ(
        test.shown("download_complete"),
        json::parse(R"([{"client":1,"pid":4711,"count":1},{"client":3,"pid":4711,"count":2}])"));
    EXPECT_TRUE(test.errors.empty());
}

namespace {

struct refused_notice {
    sim::frame_head head;
    bytes payload;
    const char *why;
};

void expect_refused(notified_service &test, sim::session &from, const char *who, const char *name,
                    const refused_notice &notice) {
    test.errors.clear();
    test.send(from, notice.head, notice.payload);
    EXPECT_THAT(test.errors, ElementsAre(fmt::format("{}: {} (opcode {}): {}: refused", who, name,
                                                     notice.head.opcode, notice.why)));
}

} // namespace

TEST(Markers, AreRefusedWithAnotherLengthOrHead) {
    const refused_notice all[] = {
        {marker_head(), {}, "offset 0: the message is 0 bytes long, it must be 4"},
        {marker_head(), literal({1, 0, 0}), "offset 3: the message is 3 bytes long, it must be 4"},
        {marker_head(), literal({1, 0, 0, 0, 0}),
         "offset 4: the message is 5 bytes long, it must be 4"},
        {request_head(213, 75804, 1), message().u32(1),
         "frame head offset 32: send-options word 1 is 1, it must be 0"},
        {request_head(212, 75804, 0), message().u32(1),
         "frame head offset 16: SAP is 212, it must be 213"},
        {request_head(214, 75804, 0), message().u32(1),
         "frame head offset 16: SAP is 214, it must be 213"},
    };
    notified_service test;
    for (const refused_notice &notice : all) {
        expect_refused(test, test.from, "client 1 (pid 4711)", "out-of-band marker", notice);
    }
    EXPECT_EQ(test.client_of(test.from).refused, std::size(all));
    EXPECT_TRUE(test.shown("batches").empty());
    EXPECT_TRUE(test.shown("other_markers").empty());
}

TEST(Markers, ThatAreRefusedLeaveABatchAsItIs) {
    notified_service test;
    test.mark(test.from, 1);
    const json open = test.shown("batches");
    for (const unsigned marker : {1u, 2u}) {
        test.send(test.from, marker_head(), message().u32(marker).u8(0));
        test.send(test.from, request_head(213, 75804, 1), message().u32(marker));
        EXPECT_EQ(test.shown("batches"), open);
    }
    EXPECT_EQ(test.errors.size(), 4u);
}

TEST(DownloadComplete, IsRefusedUnlessItIsRight) {
    const refused_notice all[] = {
        {download_head(), {}, "offset 0: the message is 0 bytes long, it must be 4"},
        {download_head(), literal({0, 0, 0}),
         "offset 3: the message is 3 bytes long, it must be 4"},
        {download_head(), message().u32(0).u8(0),
         "offset 4: the message is 5 bytes long, it must be 4"},
        {download_head(), message().u32(5), "offset 0: value is 5, it must be 0"},
        {request_head(213, 75789, 1), message().u32(0),
         "frame head offset 32: send-options word 1 is 1, it must be 0"},
        {request_head(212, 75789, 0), message().u32(0),
         "frame head offset 16: SAP is 212, it must be 213"},
        {request_head(214, 75789, 0), message().u32(0),
         "frame head offset 16: SAP is 214, it must be 213"},
    };
    notified_service test;
    for (const refused_notice &notice : all) {
        expect_refused(test, test.from, "client 1 (pid 4711)", "download complete", notice);
    }
    EXPECT_EQ(test.client_of(test.from).refused, std::size(all));
    sim::session queue_only{.pid = 99};
    expect_refused(
        test, queue_only, "unregistered client (pid 99)", "download complete",
        {download_head(), message().u32(0), "offset 0: this connection is not registered"});
    EXPECT_TRUE(test.shown("download_complete").empty());
}

namespace {

bytes ipv6_notice() {
    return literal({0xc3, 0xd1, 0x52, 0x41, 0xd2, 0xd3, 0xd4, 0xd5, 0x18, 0x27, 0x36, 0x45, 0x8a,
                    0x9b, 0xac, 0xbd});
}

} // namespace

TEST(Ipv6Notice, IsDecoded) {
    const sim::ipv6_notice decoded = sim::decode_ipv6_notice(ipv6_notice());
    EXPECT_EQ(decoded.client_id, 0xc3);
    EXPECT_EQ(decoded.third, 0x4152);
    EXPECT_EQ(decoded.first, 0x45362718u);
    EXPECT_EQ(decoded.second, 0xbdac9b8au);
}

TEST(Ipv6Notice, HasOneLengthOnly) {
    const auto refusal_of_length = [](std::size_t length) {
        return refusal_of([&] { sim::decode_ipv6_notice(cut(ipv6_notice(), length)); });
    };
    EXPECT_EQ(refusal_of_length(15), "offset 15: the message is 15 bytes long, it must be 16");
    EXPECT_EQ(refusal_of_length(17), "offset 16: the message is 17 bytes long, it must be 16");
    EXPECT_EQ(refusal_of_length(0), "offset 0: the message is 0 bytes long, it must be 16");
}
