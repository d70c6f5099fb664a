// A client process on the simulator, as a daemon would be: the library, the simulator's transport and a real
// service.
#include "tests/e2e/client.h"
#include "tests/e2e/end_to_end.h"
#include "tests/support/wait.h"

#include <csignal>
#include <gmock/gmock.h>

namespace {

using nlohmann::json;
using testing::Contains;
using testing::HasSubstr;

constexpr std::uint32_t group_a = 0xef010101;  // 239.1.1.1
constexpr std::uint32_t source_a = 0x0a000009; // 10.0.0.9

void fill_head(vell_mrib_route *route, std::uint32_t group) {
    vell_mrib_set_opcode(route, 1);
    vell_mrib_set_flag_init(route);
    vell_mrib_set_source(route, source_a, 32);
    vell_mrib_set_group(route, group, 32);
    vell_mrib_set_rpfif(route, 4);
    vell_mrib_set_table_id(route, 253);
}

void add_simple_route(route_message &message, std::uint32_t group) {
    fill_head(message.next_route(), group);
    vell_mrib_add_oifs_begin();
    vell_mrib_add_reg_oif(5);
    vell_mrib_add_oifs_end(message.next_route());
    message.close_route();
}

class Client : public end_to_end {
protected:
    void SetUp() override { kyt_sim_get_counts(&before); }

    void expect_no_reference_leaked() const {
        kyt_sim_counts now;
        kyt_sim_get_counts(&now);
        EXPECT_EQ(now.open_references, 0u);
        EXPECT_EQ(now.wrong_drops, before.wrong_drops);
    }

    std::uint64_t messages_sent() const {
        kyt_sim_counts now;
        kyt_sim_get_counts(&now);
        return now.sent - before.sent;
    }

private:
    kyt_sim_counts before = {};
};

TEST_F(Client, RegistersWithItsUuidAndSegmentAndDeregisters) {
    start_switch();
    client_queue queue;
    ASSERT_EQ(queue.register_client(777, "mrib-segment"), 1u);
    json client = show("clients").at(0);
    EXPECT_EQ(client["uuid"], 777);
    EXPECT_EQ(client["segment"], "mrib-segment");
    EXPECT_EQ(client["pid"], getpid());
    EXPECT_EQ(client["state"], "registered");

    EXPECT_EQ(vell_deregister(), 1u);
    EXPECT_EQ(show("clients").at(0)["state"], "deregistered");
    EXPECT_EQ(messages_sent(), 2u);
    expect_no_reference_leaked();
}

TEST_F(Client, EveryFieldAndListOfARouteArrives) {
    start_switch();
    client_queue queue;
    ASSERT_EQ(queue.register_client(500, "lists"), 1u);

    route_message message;
    vell_mrib_route *const route = message.next_route();
    vell_mrib_set_opcode(route, 1);
    vell_mrib_set_flags(route, std::uint64_t{1} << 40);
    vell_mrib_set_flags_decap(route);
    vell_mrib_set_flags_dux_rpf_is_svi(route);
    vell_mrib_set_source(route, 0x0a010203, 24);
    vell_mrib_set_group(route, 0xef040506, 28);
    vell_mrib_set_epoch(route, 0x01020304);
    vell_mrib_set_rpfif(route, 0x11223344);
    vell_mrib_set_df_ordinal(route, 0x1fe);
    vell_mrib_set_table_id(route, 0x21222324);
    vell_mrib_add_oifs_begin();
    vell_mrib_add_reg_oif(1001);
    vell_mrib_add_vprime_oif(1002);
    vell_mrib_add_duxsvi_oif(1003);
    vell_mrib_add_duxbidir_rpf_oif(1004);
    vell_mrib_add_dux_bidir_rpf_duxsvi_oif(1005);
    vell_mrib_add_oifs_end(route);
    vell_mrib_add_mti_encap_begin();
    vell_mrib_add_mti_encap(1, 2, 3, 4);
    vell_mrib_add_mti_encap_end(route);
    vell_mrib_add_glt_encap_begin();
    vell_mrib_add_glt_encap(5, 6, 7, 8, "\x0a\x0b\x0c", 3, 9);
    vell_mrib_add_glt_encap_end(route);

    std::uint32_t n_oif = 0, n_mti = 0, n_glt = 0;
    EXPECT_EQ(vell_mrib_get_mroute_tlv_info(route, &n_oif, &n_mti, &n_glt), 3u);
    EXPECT_EQ(n_oif, 5u);
    EXPECT_EQ(n_mti, 1u);
    EXPECT_EQ(n_glt, 1u);
    // 44, and three TLVs with heads of 4 bytes.
    EXPECT_EQ(vell_mrib_get_route_size(route), 44u + (4 + 4 + 40) + (4 + 4 + 16) + (4 + 4 + 60));
    message.close_route();
    ASSERT_EQ(message.send(queue.handle), 1u);

    json held = route_of("239.4.5.6");
    EXPECT_EQ(held["source"], "10.1.2.3");
    EXPECT_EQ(held["source_len"], 24);
    EXPECT_EQ(held["group_len"], 28);
    EXPECT_EQ(held["epoch"], 0x01020304);
    EXPECT_EQ(held["rpf_if"], 0x11223344);
    EXPECT_EQ(held["df_ordinal"], 0xfe);
    EXPECT_EQ(held["table"], 0x21222324);
    EXPECT_EQ(held["flags_word"], "0x10000801000");
    const json oifs = json::parse(
        R"([{"if_index":1001,"name":"0x000003e9","kind":0},
            {"if_index":1002,"name":"0x000003ea","kind":1},
            {"if_index":1003,"name":"0x000003eb","kind":4},
            {"if_index":1004,"name":"0x000003ec","kind":8},
            {"if_index":1005,"name":"0x000003ed","kind":12}])");
    EXPECT_EQ(held["oifs"], oifs);
    EXPECT_EQ(held["mti"], json::parse("[[1,2,3,4]]"));
    EXPECT_EQ(held["glt"],
              json::parse(R"([{"words":[5,6,7,8],"data":"0a0b0c","length":3,"last":9}])"));
    EXPECT_EQ(vell_deregister(), 1u);
    expect_no_reference_leaked();
}

TEST_F(Client, SeveralRecordsInOneMessageEachKeepTheirOwnLists) {
    start_switch();
    client_queue queue;
    ASSERT_EQ(queue.register_client(500, "records"), 1u);
    route_message message;
    for (std::uint32_t i = 0; i < 3; ++i) {
        fill_head(message.next_route(), group_a + i);
        vell_mrib_add_oifs_begin();
        for (std::uint32_t oif = 0; oif <= i; ++oif)
            vell_mrib_add_reg_oif(100 * i + oif);
        vell_mrib_add_oifs_end(message.next_route());
        message.close_route();
    }
    // A route without lists, and one behind it.
    fill_head(message.next_route(), group_a + 3);
    message.close_route();
    add_simple_route(message, group_a + 4);
    ASSERT_EQ(message.send(queue.handle), 1u);

    EXPECT_EQ(route_of("239.1.1.1")["oifs"].size(), 1u);
    EXPECT_EQ(route_of("239.1.1.2")["oifs"].size(), 2u);
    EXPECT_EQ(route_of("239.1.1.3")["oifs"],
              json::parse(R"([{"if_index":200,"name":"0x000000c8","kind":0},
                              {"if_index":201,"name":"0x000000c9","kind":0},
                              {"if_index":202,"name":"0x000000ca","kind":0}])"));
    EXPECT_EQ(route_of("239.1.1.4")["oifs"].size(), 0u);
    EXPECT_EQ(route_of("239.1.1.5")["oifs"].size(), 1u);
}

TEST_F(Client, AListThatFillsItsTlvArrivesWhole) {
    start_switch();
    client_queue queue;
    ASSERT_EQ(queue.register_client(500, "long"), 1u);
    route_message message(vell_mrib_get_max_route_size(8191, 0, 0) + sizeof(vell_mrib_message));
    fill_head(message.next_route(), group_a);
    vell_mrib_add_oifs_begin();
    for (std::uint32_t oif = 1; oif <= 8191; ++oif)
        vell_mrib_add_reg_oif(oif);
    vell_mrib_add_oifs_end(message.next_route());
    message.close_route();
    ASSERT_EQ(message.send(queue.handle), 1u);
    const json oifs = route_of("239.1.1.1")["oifs"];
    ASSERT_EQ(oifs.size(), 8191u);
    EXPECT_EQ(oifs.at(0)["if_index"], 1);
    EXPECT_EQ(oifs.at(8190)["if_index"], 8191);
}

TEST_F(Client, AListOneEntryTooLongIsRefusedByTheServiceWhichGoesOn) {
    start_switch();
    client_queue queue;
    ASSERT_EQ(queue.register_client(500, "too-long"), 1u);
    route_message message(100000);
    fill_head(message.next_route(), group_a);
    vell_mrib_add_oifs_begin();
    for (std::uint32_t oif = 1; oif <= 8192; ++oif)
        vell_mrib_add_reg_oif(oif);
    vell_mrib_add_oifs_end(message.next_route());
    message.close_route();
    EXPECT_EQ(message.send(queue.handle), 1u) << "the transport took it";
    EXPECT_TRUE(route_of("239.1.1.1").is_null());
    EXPECT_EQ(show("clients").at(0)["refused"], 1);
    EXPECT_THAT(service_log(run_dir, 102), Contains(HasSubstr("75831")));

    route_message next;
    add_simple_route(next, group_a + 1);
    EXPECT_EQ(next.send(queue.handle), 1u);
    EXPECT_FALSE(route_of("239.1.1.2").is_null());
}

TEST_F(Client, TheDuxRolesAndTheIpv6NoticeArrive) {
    start_switch();
    client_queue queue;
    ASSERT_EQ(queue.register_client(500, "roles"), 1u);
    const std::vector<std::pair<std::uint32_t (*)(), std::string>> roles = {
        {vell_mrib_send_dux_role_forward_all, "forward_all"},
        {vell_mrib_send_dux_role_forward_even, "forward_even"},
        {vell_mrib_send_dux_role_forward_odd, "forward_odd"},
        {vell_mrib_send_dux_role_forward_none, "forward_none"}};
    for (const auto &[send, name] : roles) {
        EXPECT_EQ(send(), 1u);
        EXPECT_THAT(show("clients").at(0)["dux_role"].get<std::string>(), HasSubstr(name));
    }
    EXPECT_EQ(vell_mrib_send_dux_role_update(5), 1u);
    EXPECT_EQ(vell_send_v6_mroute_update(0x01020304, 0x05060708, 0x090a), 1u);
    const json client = show("clients").at(0);
    EXPECT_EQ(client["ipv6_notices"], 1);
    EXPECT_EQ(client["refused"], 0);
    EXPECT_EQ(show("routes").size(), 0u);
    EXPECT_EQ(vell_deregister(), 1u);
    expect_no_reference_leaked();
}

TEST_F(Client, NoReferenceLeaksOverManyMessages) {
    start_switch();
    client_queue queue;
    ASSERT_EQ(queue.register_client(500, "many"), 1u);
    for (int i = 0; i < 500; ++i) {
        route_message message;
        add_simple_route(message, group_a + static_cast<std::uint32_t>(i));
        ASSERT_EQ(message.send(queue.handle), 1u);
        ASSERT_EQ(vell_mrib_send_dux_role_forward_all(), 1u);
        ASSERT_EQ(vell_send_v6_mroute_update(1, 2, 3), 1u);
    }
    EXPECT_EQ(vell_deregister(), 1u);
    EXPECT_EQ(messages_sent(), 1502u);
    expect_no_reference_leaked();
    EXPECT_EQ(show("routes").size(), 500u);
}

TEST_F(Client, AKilledServiceMakesSendsFailCleanlyAndARestartedOneIsUsableAfterRegisteringAgain) {
    start_switch();
    client_queue queue;
    ASSERT_EQ(queue.register_client(500, "survivor"), 1u);
    the_switch().signal(SIGKILL);
    the_switch().wait();

    for (int i = 0; i < 3; ++i) {
        route_message message;
        add_simple_route(message, group_a);
        EXPECT_EQ(message.send(queue.handle), 0u);
        EXPECT_EQ(p_current_tlv_addr, 0u);
        EXPECT_EQ(vell_mrib_send_dux_role_forward_all(), 0u);
        EXPECT_EQ(vell_send_v6_mroute_update(1, 2, 3), 0u);
        EXPECT_EQ(vell_deregister(), 0u) << "a failed deregistration leaves the client registered";
    }
    expect_no_reference_leaked();

    start_switch();
    EXPECT_EQ(vell_register(queue.handle, 500, "survivor"), 0u)
        << "still registered, as far as the library knows";
    EXPECT_EQ(vell_deregister(), 1u);
    ASSERT_EQ(queue.register_client(501, "survivor"), 1u);
    route_message message;
    add_simple_route(message, group_a);
    EXPECT_EQ(message.send(queue.handle), 1u);
    EXPECT_FALSE(route_of("239.1.1.1").is_null());
    EXPECT_EQ(vell_deregister(), 1u);
    expect_no_reference_leaked();
}

TEST_F(Client, ARejectedRegistrationIsTracedInTheLogs) {
    start_switch({"--reject-registration"});
    client_queue queue;
    EXPECT_EQ(queue.register_client(500, "rejected"), 0u);
    EXPECT_EQ(vell_send_v6_mroute_update(1, 2, 3), 0u);
    std::vector<std::string> history, client;
    const auto all = [](const std::string &sink) {
        const auto shown = vellsim({"show", "log", "--json", "--sink", sink});
        return nlohmann::json::parse(shown.out).at("log");
    };
    for (const auto &line : all("history")) {
        history.push_back(line["text"]);
    }
    for (const auto &line : show("log")) {
        if (line["sink"] == "client") {
            client.push_back(line["text"]);
            EXPECT_EQ(line["uuid"], 500);
        }
        if (line["sink"] != "service") {
            EXPECT_EQ(line["module"], 0x730000);
            EXPECT_EQ(line["pid"], getpid());
        }
    }
    EXPECT_THAT(history, testing::ElementsAre(
                             "vell_register_ack(180):TRACE: Failed to update client_id\n",
                             "vell_send_v6_mroute_update(700):ERROR: Client not registered\n"));
    EXPECT_THAT(client, testing::ElementsAre(
                            "vell_register_ack(180):Failed to update client_id\n",
                            "vell_send_v6_mroute_update(700):ERROR: Client not registered\n"));
}

TEST_F(Client, AnAcknowledgmentThatComesTwiceIsTakenTwice) {
    start_switch({"--ack", "twice"});
    client_queue queue;
    ASSERT_EQ(queue.register_client(500, "twice"), 1u);
    EXPECT_EQ(queue.take_answer(20000), 1u);
    EXPECT_EQ(vell_mrib_send_dux_role_forward_all(), 1u);
}

TEST_F(Client, AnAcknowledgmentThatNeverComesLeavesTheClientUnacknowledged) {
    start_switch({"--ack", "never"});
    client_queue queue;
    EXPECT_EQ(queue.register_client(500, "never", 100), 0u);
    EXPECT_EQ(vell_deregister(), 0u);
    EXPECT_EQ(vell_mrib_send_dux_role_forward_all(), 0u);
    EXPECT_EQ(messages_sent(), 1u) << "nothing but the registration";
    EXPECT_EQ(vell_register(queue.handle, 500, "never"), 0u);
}

TEST_F(Client, AClientThatVanishesIsShownAsLostAndItsRoutesStay) {
    start_switch();
    {
        client_queue queue;
        ASSERT_EQ(queue.register_client(500, "vanishing"), 1u);
        route_message message;
        add_simple_route(message, group_a);
        ASSERT_EQ(message.send(queue.handle), 1u);
        ASSERT_FALSE(route_of("239.1.1.1").is_null());
        kyt_sim_queue_close(queue.handle);
    }
    EXPECT_TRUE(wait_until([] { return show("clients").at(0)["state"] == "lost"; }));
    EXPECT_FALSE(route_of("239.1.1.1").is_null());
}

TEST_F(Client, AClientThatIsNoPositionIndependentExecutableSharesTheCursorsWithTheLibrary) {
    // Such a program carries copies of the library's exported variables; the library must use the
    // copies.
    const auto client = run_program({FIXED_ADDRESS_CLIENT_PATH});
    EXPECT_EQ(client.exit_code, 0) << client.err;
}

} // namespace
