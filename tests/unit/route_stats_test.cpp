// Asking for the counters of a route and clearing them, for IPv4 and IPv6.
#include "guarded_buffer.h"
#include "library_test.h"

#include <functional>

namespace {

using fake::platform;

constexpr ClientState acknowledged = {.id = 0xe7, .queue = 0x14131211, .uuid = 5};

// Every state that is not acknowledged: unregistered, registered or queue only, and an id without a
// queue.
constexpr ClientState refused_states[] = {{.id = 0, .queue = 0, .uuid = 384},
                                          {.id = 0, .queue = 7, .uuid = 5},
                                          {.id = 0, .queue = 7, .uuid = 384},
                                          {.id = 9, .queue = 0, .uuid = 5}};

constexpr std::uint8_t source_address[] = {0xb0, 0xb1, 0xb2, 0xb3, 0xb4, 0xb5, 0xb6, 0xb7,
                                           0xb8, 0xb9, 0xba, 0xbb, 0xbc, 0xbd, 0xbe, 0xbf};
constexpr std::uint8_t group_address[] = {0xc0, 0xc1, 0xc2, 0xc3, 0xc4, 0xc5, 0xc6, 0xc7,
                                          0xc8, 0xc9, 0xca, 0xcb, 0xcc, 0xcd, 0xce, 0xcf};

// One of the four requests, as it is called and as it goes out. A failed send with line 0 says
// nothing.
struct StatsRequest {
    const char *function;
    std::function<int()> send;
    std::uint32_t opcode;
    const char *payload;
    bool copies_addresses;
    int refused_line;
    int failed_line;
};

const StatsRequest requests[] = {
    {.function = "vell_send_v4_mroute_stats_req",
     .send =
         [] {
             return vell_send_v4_mroute_stats_req(0x44434241, 0x54535251, 0x61, 0x74737271, 0x81,
                                                  0);
         },
     .opcode = 75785,
     .payload = "41424344 61 81 0000 51525354 71727374 00000000",
     .copies_addresses = false,
     .refused_line = 823,
     .failed_line = 847},
    {.function = "vell_send_v4_mroute_clear_req",
     .send =
         [] {
             return vell_send_v4_mroute_clear_req(0x44434241, 0x54535251, 0x61, 0x74737271, 0x81);
         },
     .opcode = 75798,
     .payload = "41424344 61 81 0000 51525354 71727374",
     .copies_addresses = false,
     .refused_line = 941,
     .failed_line = 964},
    {.function = "vell_send_v6_mroute_stats_req",
     .send =
         [] {
             return vell_send_v6_mroute_stats_req(0x44434241, source_address, 0x61, group_address,
                                                  0x81);
         },
     .opcode = 75786,
     .payload =
         "41424344 61 81 b0b1b2b3b4b5b6b7b8b9babbbcbdbebf c0c1c2c3c4c5c6c7c8c9cacbcccdcecf 0000",
     .copies_addresses = true,
     .refused_line = 885,
     .failed_line = 0},
    {.function = "vell_send_v6_mroute_clear_req",
     .send =
         [] {
             return vell_send_v6_mroute_clear_req(0x44434241, source_address, 0x61, group_address,
                                                  0x81);
         },
     .opcode = 75799,
     .payload =
         "41424344 61 81 b0b1b2b3b4b5b6b7b8b9babbbcbdbebf c0c1c2c3c4c5c6c7c8c9cacbcccdcecf 0000",
     .copies_addresses = true,
     .refused_line = 999,
     .failed_line = 1022},
};

fake::Send stats_sent(std::uint32_t opcode, const char *payload, std::uint32_t queue = 0x14131211) {
    return sent(
        {.queue = queue, .sap = 214, .opcode = opcode, .option_word1 = 0, .payload = hex(payload)});
}

// The source is copied first, then the group, each to its place in the payload that was sent last.
fake::Calls addresses_copied(const void *source, const void *group) {
    const auto *const payload = platform().payload_address;
    return {fake::AddressCopy{.from = source, .to = payload + 6},
            fake::AddressCopy{.from = group, .to = payload + 22}};
}

class StatsRequestTest : public LibraryTest, public testing::WithParamInterface<StatsRequest> {
protected:
    StatsRequestTest() { set_client_state(acknowledged); }

    static int send() { return GetParam().send(); }

    static fake::Calls requested(std::uint32_t queue = 0x14131211) {
        const auto &request = GetParam();
        const auto copies = request.copies_addresses
                                ? addresses_copied(source_address, group_address)
                                : fake::Calls{};
        return fake::in_order(copies, stats_sent(request.opcode, request.payload, queue));
    }

    static Message failure() {
        return error_of(GetParam().function, GetParam().failed_line,
                        "Send stat req to vell failed.. \n", acknowledged.uuid);
    }

    static fake::Calls refused(std::uint32_t uuid) {
        return logged(error_of(GetParam().function, GetParam().refused_line,
                               "Client not registered\n", uuid));
    }
};

INSTANTIATE_TEST_SUITE_P(All, StatsRequestTest, testing::ValuesIn(requests),
                         [](const auto &request) { return std::string(request.param.function); });

TEST_P(StatsRequestTest, SendsTheRouteAndReleasesTheReferenceOnce) {
    EXPECT_EQ(send(), 1);
    EXPECT_CALLS(requested(), released(0x14131211));
    EXPECT_EQ(platform().sent.size(), 1U);
    EXPECT_EQ(client_state(), acknowledged);
}

TEST_P(StatsRequestTest, SendsEveryRequestAfresh) {
    for (const unsigned number : {1U, 2U, 3U}) {
        EXPECT_EQ(send(), 1);
        EXPECT_CALLS(requested(), released(0x14131211, number));
    }
}

TEST_P(StatsRequestTest, TakesEveryResultButMinus1ForSuccess) {
    for (const auto result : successful_results) {
        SCOPED_TRACE(result);
        fake::reset_platform();
        platform().kyt_send.returns(result);
        EXPECT_EQ(send(), 1);
        EXPECT_CALLS(requested(), released(0x14131211));
    }
}

TEST_P(StatsRequestTest, ReportsAFailedSendAsItDoesAndReleasesNothing) {
    platform().kyt_send.returns(-1);
    EXPECT_EQ(send(), 0);
    EXPECT_CALLS(requested(), GetParam().failed_line == 0 ? fake::Calls{} : logged(failure()));
    EXPECT_EQ(client_state(), acknowledged);
}

TEST_P(StatsRequestTest, WithTheGatesClosedReportsAFailedSendToTheClientLogAlone) {
    platform().kyt_send.returns(-1);
    close_log_gates();
    EXPECT_EQ(send(), 0);
    EXPECT_CALLS(requested(),
                 GetParam().failed_line == 0 ? fake::Calls{} : logged_to_client_alone(failure()));
}

TEST_P(StatsRequestTest, WithoutAnAcknowledgedClientIsRefusedAndSendsNothing) {
    for (const auto &state : refused_states) {
        SCOPED_TRACE(state);
        set_client_state(state);
        EXPECT_EQ(send(), 0);
        EXPECT_CALLS(refused(state.uuid));
        EXPECT_EQ(client_state(), state);
    }
}

TEST_P(StatsRequestTest, IsRefusedUntilTheAcknowledgment) {
    set_client_state({});
    vell_register_kyt_q(7);
    EXPECT_EQ(send(), 0);
    EXPECT_CALLS(refused(384));
    vell_register_kyt_q(0);

    register_client(7, 5);
    EXPECT_EQ(send(), 0);
    EXPECT_CALLS(refused(5));

    acknowledge(9);
    EXPECT_EQ(send(), 1);
    EXPECT_CALLS(requested(7), released(7));
}

TEST_P(StatsRequestTest, WithTheGatesClosedRefusesToTheClientLogAlone) {
    set_client_state({});
    close_log_gates();
    EXPECT_EQ(send(), 0);
    EXPECT_CALLS(logged_to_client_alone(
        error_of(GetParam().function, GetParam().refused_line, "Client not registered\n")));
}

class Ipv4StatsTest : public LibraryTest {
protected:
    Ipv4StatsTest() { set_client_state(acknowledged); }

    static int send(std::uint32_t clear_counters) {
        return vell_send_v4_mroute_stats_req(0x44434241, 0x54535251, 0x61, 0x74737271, 0x81,
                                             clear_counters);
    }

    static fake::Send requested(const char *clear_counters) {
        auto request = stats_sent(75785, "41424344 61 81 0000 51525354 71727374");
        request.payload = request.payload + hex(clear_counters);
        return request;
    }

    static Message clear_sent() {
        return {.level = trace,
                .uuid = 5,
                .format = "%s(%d):TRACE: %s: Sent Clear counters request\n",
                .text = "vell_send_v4_mroute_stats_req(851):TRACE: vell_send_v4_mroute_stats_req: "
                        "Sent Clear counters request\n",
                .client_text = "vell_send_v4_mroute_stats_req(851):vell_send_v4_mroute_stats_req: "
                               "Sent Clear counters request\n"};
    }
};

TEST_F(Ipv4StatsTest, WithoutClearingSends0AndTracesNothing) {
    EXPECT_EQ(send(0), 1);
    EXPECT_CALLS(requested("00000000"), released(0x14131211));
}

TEST_F(Ipv4StatsTest, WithClearingSendsTheValueAndTracesOnceBeforeTheRelease) {
    EXPECT_EQ(send(7), 1);
    EXPECT_CALLS(requested("07000000"), logged(clear_sent()), released(0x14131211));
}

TEST_F(Ipv4StatsTest, DoesNotReduceTheValue) {
    const struct {
        std::uint32_t value;
        const char *raw;
    } rows[] = {
        {1, "01000000"}, {0x100, "00010000"}, {0x80000000, "00000080"}, {0x94939291, "91929394"}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.value);
        fake::reset_platform();
        EXPECT_EQ(send(row.value), 1);
        EXPECT_CALLS(requested(row.raw), logged(clear_sent()), released(0x14131211));
    }
}

TEST_F(Ipv4StatsTest, WithTheGatesClosedTracesToTheClientLogAlone) {
    close_log_gates();
    EXPECT_EQ(send(7), 1);
    EXPECT_CALLS(requested("07000000"), logged_to_client_alone(clear_sent()), released(0x14131211));
}

TEST_F(Ipv4StatsTest, AfterAFailedSendTracesNothingWhateverIsToBeCleared) {
    platform().kyt_send.returns(-1);
    const auto failure = error_of("vell_send_v4_mroute_stats_req", 847,
                                  "Send stat req to vell failed.. \n", acknowledged.uuid);
    EXPECT_EQ(send(0), 0);
    EXPECT_CALLS(requested("00000000"), logged(failure));
    EXPECT_EQ(send(7), 0);
    EXPECT_CALLS(requested("07000000"), logged(failure));
}

TEST_F(Ipv4StatsTest, RefusedTracesNothingWhateverIsToBeCleared) {
    set_client_state({});
    EXPECT_EQ(send(7), 0);
    EXPECT_CALLS(logged(error_of("vell_send_v4_mroute_stats_req", 823, "Client not registered\n")));
}

class RouteKeyTest : public LibraryTest {
protected:
    RouteKeyTest() { set_client_state(acknowledged); }
};

TEST_F(RouteKeyTest, OfIpv4IsNeitherCheckedNorMasked) {
    EXPECT_EQ(vell_send_v4_mroute_stats_req(0, 0xffffffff, 200, 0x01020304, 0, 0), 1);
    EXPECT_CALLS(stats_sent(75785, "00000000 c8 00 0000 ffffffff 04030201 00000000"),
                 released(0x14131211));
    EXPECT_EQ(vell_send_v4_mroute_clear_req(0xffffffff, 0x01020304, 0, 0xfffefdfc, 255), 1);
    EXPECT_CALLS(stats_sent(75798, "ffffffff 00 ff 0000 04030201 fcfdfeff"),
                 released(0x14131211, 2));
}

TEST_F(RouteKeyTest, OfIpv6IsNeitherCheckedNorMasked) {
    EXPECT_EQ(vell_send_v6_mroute_stats_req(0, source_address, 200, group_address, 0), 1);
    EXPECT_CALLS(addresses_copied(source_address, group_address),
                 stats_sent(75786, "00000000 c8 00 b0b1b2b3b4b5b6b7b8b9babbbcbdbebf "
                                   "c0c1c2c3c4c5c6c7c8c9cacbcccdcecf 0000"),
                 released(0x14131211));
    EXPECT_EQ(vell_send_v6_mroute_clear_req(0xffffffff, source_address, 0, group_address, 255), 1);
    EXPECT_CALLS(addresses_copied(source_address, group_address),
                 stats_sent(75799, "ffffffff 00 ff b0b1b2b3b4b5b6b7b8b9babbbcbdbebf "
                                   "c0c1c2c3c4c5c6c7c8c9cacbcccdcecf 0000"),
                 released(0x14131211, 2));
}

// Either IPv6 request, with the rest of its key fixed.
struct Ipv6Request {
    int (*send)(const void *source, const void *group);
    std::uint32_t opcode;
};
constexpr Ipv6Request ipv6_requests[] = {
    {[](const void *source, const void *group) {
         return vell_send_v6_mroute_stats_req(0x44434241, source, 0x61, group, 0x81);
     },
     75786},
    {[](const void *source, const void *group) {
         return vell_send_v6_mroute_clear_req(0x44434241, source, 0x61, group, 0x81);
     },
     75799}};

fake::Send ipv6_stats_sent(std::uint32_t opcode, const bytes &source, const bytes &group) {
    auto request = stats_sent(opcode, "41424344 61 81");
    request.payload = request.payload + source + group + hex("0000");
    return request;
}

TEST_F(RouteKeyTest, OfIpv6TakesAddressesFromAnywhereAndOnlyReadsThem) {
    const auto before = hex("d1d2d3") + bytes{source_address, source_address + 16} + hex("d4d5d6");
    for (const auto &request : ipv6_requests) {
        for (const std::size_t offset : {0U, 1U, 2U, 3U}) {
            SCOPED_TRACE(testing::Message()
                         << "opcode " << request.opcode << ", offset " << offset);
            fake::reset_platform();
            auto raw = before;
            const auto *const source = raw.data() + offset;
            const auto *const group = raw.data() + offset + 1;
            EXPECT_EQ(request.send(source, group), 1);
            EXPECT_CALLS(addresses_copied(source, group),
                         ipv6_stats_sent(request.opcode, part(before, offset, 16),
                                         part(before, offset + 1, 16)),
                         released(0x14131211));
            EXPECT_EQ(raw, before);
        }
    }
}

TEST_F(RouteKeyTest, OfIpv6ReadsNothingAroundTheAddressesAndWritesNothing) {
    const bytes source(source_address, source_address + 16);
    const bytes group(group_address, group_address + 16);
    for (const auto &request : ipv6_requests) {
        for (const auto side : {GuardedBuffer::Side::front, GuardedBuffer::Side::back}) {
            for (const std::size_t distance : {0U, 1U, 2U, 3U}) {
                SCOPED_TRACE(testing::Message()
                             << "opcode " << request.opcode << ", distance " << distance);
                fake::reset_platform();
                GuardedBuffer source_at(source, side, distance);
                GuardedBuffer group_at(group, side, 3 - distance);
                source_at.make_read_only();
                group_at.make_read_only();
                EXPECT_EQ(request.send(source_at.data(), group_at.data()), 1);
                EXPECT_CALLS(addresses_copied(source_at.data(), group_at.data()),
                             ipv6_stats_sent(request.opcode, source, group), released(0x14131211));
            }
        }
    }
}

TEST_F(RouteKeyTest, OfIpv6IsNotReadWhenTheRequestIsRefused) {
    set_client_state({});
    EXPECT_EQ(vell_send_v6_mroute_stats_req(1, nullptr, 2, nullptr, 3), 0);
    EXPECT_CALLS(logged(error_of("vell_send_v6_mroute_stats_req", 885, "Client not registered\n")));
    EXPECT_EQ(vell_send_v6_mroute_clear_req(1, nullptr, 2, nullptr, 3), 0);
    EXPECT_CALLS(logged(error_of("vell_send_v6_mroute_clear_req", 999, "Client not registered\n")));
}

} // namespace
