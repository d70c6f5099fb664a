// Registration, statistics, notices and the overlay.
#include "client/client_state.h"
#include "tests/fake/platform.h"
#include "tests/man/wire_cases.h"

#include <vell.h>

#include <algorithm>
#include <gtest/gtest.h>

namespace wire {

bytes sent_payload() {
    for (auto call = fake::platform().calls.rbegin(); call != fake::platform().calls.rend();
         ++call) {
        if (const auto *send = std::get_if<fake::Send>(&*call)) {
            return send->payload;
        }
    }
    ADD_FAILURE() << "nothing was sent";
    return {};
}

namespace {

Found client_register(Numbers &numbers) {
    vell_client_id = 0;
    vell_client_q = 0;
    const std::uint32_t uuid = numbers.word();
    // As long as may be, so that only the NUL after it is padding.
    std::string name(VELL_SHM_NAME_MAX, ' ');
    std::generate(name.begin(), name.end(), [&] { return static_cast<char>(numbers.byte()); });
    vell_register(numbers.word(), uuid, name.c_str());
    return {sent_payload(),
            {{"client id", 0u},
             {"reserved", Fill{0}},
             {"uuid", uuid},
             {"segment name", zero_padded(characters(name), 240)}}};
}

Found client_deregister(Numbers &) {
    vell_deregister();
    return {sent_payload(), {{"client id", client_id}, {"reserved", Fill{0}}}};
}

Found registration_answer(Numbers &numbers) {
    bytes answer = {numbers.byte(), 0xfe};
    fake::platform().kyt_payload_get.returns(answer.data());
    EXPECT_EQ(vell_register_ack(nullptr), 0U) << "the flag is clear";
    answer[1] = 0x01;
    EXPECT_EQ(vell_register_ack(nullptr), 1U);
    return {answer, {{"client id", vell_client_id}, {"flags", 0x01u}}, {}, "service"};
}

Found marker(Numbers &numbers) {
    const std::uint32_t value = numbers.word();
    vell_send_igmp_oob_notification(value);
    return {sent_payload(), {{"marker", value}}};
}

Found download_complete(Numbers &) {
    vell_send_igmp_download_complete();
    return {sent_payload(), {{"reserved", Fill{0}}}};
}

Found ipv6_route_notice(Numbers &numbers) {
    const std::uint32_t first = numbers.word(), second = numbers.word();
    const std::uint16_t third = numbers.half();
    vell_send_v6_mroute_update(first, second, third);
    return {sent_payload(),
            {{"client id", client_id},
             {"reserved", Fill{0}},
             {"first", first},
             {"second", second},
             {"third", third}}};
}

// What identifies a route in a statistics request.
struct RouteKey {
    std::uint32_t table_id;
    bytes source, group;
    std::uint8_t source_length, group_length;

    RouteKey(Numbers &numbers, std::size_t address_size)
        : table_id(numbers.word()),
          source(numbers.some(address_size)),
          group(numbers.some(address_size)),
          source_length(numbers.byte()),
          group_length(numbers.byte()) {}

    static std::uint32_t ipv4(const bytes &address) {
        std::uint32_t number;
        std::memcpy(&number, address.data(), sizeof number);
        return number;
    }

    std::map<std::string, Value> values() const {
        std::map<std::string, Value> all = {{"table id", table_id},
                                            {"source length", source_length},
                                            {"group length", group_length},
                                            {"reserved", Fill{0}},
                                            {"source", source},
                                            {"group", group}};
        if (source.size() == sizeof(std::uint32_t)) {
            all["source"] = ipv4(source);
            all["group"] = ipv4(group);
        }
        return all;
    }
};

Found ipv4_statistics(Numbers &numbers) {
    const RouteKey key(numbers, 4);
    const std::uint32_t clear = numbers.word();
    vell_send_v4_mroute_stats_req(key.table_id, key.ipv4(key.source), key.source_length,
                                  key.ipv4(key.group), key.group_length, clear);
    auto values = key.values();
    values["clear"] = clear;
    return {sent_payload(), values};
}

Found ipv4_clear(Numbers &numbers) {
    const RouteKey key(numbers, 4);
    vell_send_v4_mroute_clear_req(key.table_id, key.ipv4(key.source), key.source_length,
                                  key.ipv4(key.group), key.group_length);
    return {sent_payload(), key.values()};
}

Found ipv6_statistics(Numbers &numbers) {
    const RouteKey key(numbers, 16);
    vell_send_v6_mroute_stats_req(key.table_id, key.source.data(), key.source_length,
                                  key.group.data(), key.group_length);
    return {sent_payload(), key.values()};
}

Found ipv6_clear(Numbers &numbers) {
    const RouteKey key(numbers, 16);
    vell_send_v6_mroute_clear_req(key.table_id, key.source.data(), key.source_length,
                                  key.group.data(), key.group_length);
    return {sent_payload(), key.values()};
}

Found overlay_disable(Numbers &numbers) {
    const bool is_flagged = numbers.byte() % 2 != 0;
    vell_send_zeb_feature_disable(numbers.word(), 0);
    const bytes without_flag = sent_payload();
    vell_send_zeb_feature_disable(numbers.word(), is_flagged);
    EXPECT_EQ(sent_payload() == without_flag, !is_flagged);
    return {sent_payload(),
            {{"type", is_flagged ? 3u : 1u}, {"length", 8u}, {"reserved", Fill{0}}}};
}

// The head of a message of 4 to 20 bytes, as the caller builds it.
bytes overlay_message(Numbers &numbers) {
    bytes message = numbers.some(20);
    const auto length = static_cast<std::uint16_t>(4 + numbers.byte() % 17);
    std::memcpy(message.data() + 2, &length, sizeof length);
    return message;
}

Found overlay_vlans(Numbers &numbers) {
    bytes message = overlay_message(numbers);
    const bytes before = part(message, 0, 4);
    vell_send_zeb_vlans_disable(numbers.word(), message.data());
    const bytes sent = sent_payload();
    return {part(sent, 0, 4), {{"type", 2u}, {"length", sent.size()}}, before};
}

Found overlay_route(Numbers &numbers) {
    const bytes message = overlay_message(numbers);
    kyt_msg_ref reference;
    vell_send_zeb_route_update(numbers.word(), message.data(), &reference);
    const bytes sent = sent_payload();
    return {part(sent, 0, 4),
            {{"type", std::uint64_t{message[0]} | std::uint64_t{message[1]} << 8},
             {"length", sent.size()}},
            part(message, 0, 4)};
}

} // namespace

const std::vector<Case> service_cases = {
    {"Client register", "vell_register", client_register},
    {"Client deregister", "vell_deregister", client_deregister},
    {"Registration answer", nullptr, registration_answer},
    {"Out-of-band marker", "vell_send_igmp_oob_notification", marker},
    {"Download complete", "vell_send_igmp_download_complete", download_complete},
    {"IPv6 route notice", "vell_send_v6_mroute_update", ipv6_route_notice},
    {"IPv4 statistics", "vell_send_v4_mroute_stats_req", ipv4_statistics},
    {"IPv4 clear", "vell_send_v4_mroute_clear_req", ipv4_clear},
    {"IPv6 statistics", "vell_send_v6_mroute_stats_req", ipv6_statistics},
    {"IPv6 clear", "vell_send_v6_mroute_clear_req", ipv6_clear},
    {"Overlay disable", "vell_send_zeb_feature_disable", overlay_disable},
    {"Overlay VLANs", "vell_send_zeb_vlans_disable", overlay_vlans},
    {"Overlay route", "vell_send_zeb_route_update", overlay_route},
};

} // namespace wire
