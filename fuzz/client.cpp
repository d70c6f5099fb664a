// A client may call any operations in any order, while transport, LTL manager and allocator fail at
// any call: after each operation the client state and the append position are what the model says.
// The senders' requests and messages are checked in full here. Operations that have a target of
// their own are only checked for what they do to the state, to references and to memory.
#include "client/client_state.h"
#include "fuzz/platform.h"

#include <vell.h>

#include <cstring>

namespace {

using namespace fuzz;

struct State {
    std::uint8_t id = 0;
    std::uint32_t queue = 0;
    std::uint32_t uuid = 384;
    std::uint32_t position = 0;
    std::uint32_t size = 0;

    bool acknowledged() const { return id != 0 && queue != 0; }
};
State state;

// A payload, field by field.
class Payload {
public:
    template <typename Value>
    Payload &put(Value value) {
        const Bytes bytes = bytes_of(value);
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
        return *this;
    }
    Payload &put(Bytes bytes) {
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
        return *this;
    }
    Payload &fill_to(std::size_t size) {
        bytes_.resize(size);
        return *this;
    }
    operator Bytes() const { return bytes_; }

private:
    std::vector<std::uint8_t> bytes_;
};

// What the model of most senders is: it sends, releases, and logs a failure if it has a line for
// it.
std::uint32_t send_and_release(std::uint32_t queue, const Request &request, Bytes payload) {
    const bool sent = expect_send(queue, request, payload);
    if (sent)
        expect_drop(queue);
    return sent;
}

// ---- registration ----------------------------------------------------------------------------

void fuzz_register(Input &input) {
    static constexpr std::uint32_t uuids[] = {286, 592, 384, 1};
    static constexpr std::size_t lengths[] = {0, 1, 20, 238, 239, 240, 241, 600};
    const std::uint32_t queue = input.number();
    const std::uint32_t uuid = input.flip() ? uuids[input.below(4)] : input.number();
    const std::size_t length = lengths[input.below(std::size(lengths))];
    std::vector<char> name(length + 1, 'n');
    name[length] = '\0';
    const bool named = uuid != 286 && uuid != 592;
    const bool none = !named && input.flip();

    const std::uint32_t result =
        library([&] { return vell_register(queue, uuid, none ? nullptr : name.data()); });
    const auto play = [&]() -> std::uint32_t {
        static constexpr char function[] = "vell_register";
        if (state.id != 0 || state.queue != 0) {
            expect_log("%s(%d):TRACE: client already registered? client-id: %d, vell_client_q: "
                       "%d\n",
                       function, 93, state.id, static_cast<int>(state.queue));
            return 0;
        }
        if (named && length > 239) {
            expect_log("%s(%d):ERROR: shared memory segment name length error\n", function, 106);
            return 0;
        }
        Payload payload;
        payload.put(0u).put(uuid);
        if (named)
            payload.put(Bytes(reinterpret_cast<std::uint8_t *>(name.data()), length));
        if (!expect_send(queue, {212, 75796, 0}, payload.fill_to(248))) {
            expect_log("%s(%d):ERROR: kyt_send failed : %d\n", function, 135, -1);
            return 0;
        }
        expect_drop(queue);
        state.queue = queue;
        state.uuid = uuid;
        return 1;
    };
    FUZZ_CHECK(result == play());
}

void fuzz_acknowledgment(Input &input) {
    std::uint8_t payload[] = {input.byte(), input.byte()};
    const bool accepted = payload[1] != 0 && (payload[1] & 1) != 0;
    setup().received_payload = payload[1] == 0 ? nullptr : payload;
    const std::uint32_t result = library([&] { return vell_register_ack(&input); });
    expect(Call::kyt_payload_get, {number_of(&input)});
    if (!accepted)
        expect_log("%s(%d):TRACE: Failed to update client_id\n", "vell_register_ack", 180);
    state.id = accepted ? payload[0] : 0;
    FUZZ_CHECK(result == (state.id != 0));
}

void fuzz_deregister() {
    const std::uint32_t result = library([] { return vell_deregister(); });
    if (!state.acknowledged())
        return FUZZ_CHECK(result == 0);
    Payload payload;
    payload.put(state.id).fill_to(248);
    FUZZ_CHECK(result == send_and_release(state.queue, {212, 75797, 0}, payload));
    if (result == 1)
        state = {.position = state.position, .size = state.size};
}

void fuzz_queue(Input &input) {
    state.queue = input.one_in(3) ? 0 : input.number();
    library([] { vell_register_kyt_q(state.queue); });
}

// ---- routes ----------------------------------------------------------------------------------

void fuzz_ipv4_update(Input &input) {
    const std::uint16_t count = input.half(), marker = input.half();
    const std::uint32_t length = input.number();
    Buffer message(8 + input.below(8), input.below(4));
    fill_with_pattern(message.data(), message.size(), input.byte());
    std::vector<std::uint8_t> expected(message.bytes().begin(), message.bytes().end());
    kyt_msg_ref reference;
    setup().reference = &reference;
    setup().payload = message.bytes();
    const std::uint32_t result = library([&] {
        return vell_send_v4_mroute_update(message.data(), length, count, marker, &reference);
    });
    if (state.acknowledged()) {
        expected[0] = state.id;
        std::memcpy(&expected[2], &count, 2);
        std::memcpy(&expected[4], &marker, 2);
        FUZZ_CHECK(result == expect_send_of_callers(state.queue, {214, 75831, 1}, expected, length,
                                                    Reference::callers));
        state.position = state.size = 0;
    } else {
        FUZZ_CHECK(result == 0);
    }
    FUZZ_CHECK(equal(message.bytes(), expected));
}

void fuzz_ipv6_update(Input &input) {
    const std::uint32_t first = input.number(), second = input.number();
    const std::uint16_t third = input.half();
    const std::uint32_t result =
        library([&] { return vell_send_v6_mroute_update(first, second, third); });
    if (!state.acknowledged()) {
        expect_log("%s(%d):ERROR: Client not registered\n", "vell_send_v6_mroute_update", 700);
        return FUZZ_CHECK(result == 0);
    }
    Payload notice;
    notice.put(state.id).fill_to(2).put(third).fill_to(8).put(first).put(second);
    FUZZ_CHECK(result == send_and_release(state.queue, {214, 75779, 1}, notice));
}

void fuzz_dux_role(Input &input) {
    static constexpr std::uint32_t (*senders[])() = {
        vell_mrib_send_dux_role_forward_all, vell_mrib_send_dux_role_forward_even,
        vell_mrib_send_dux_role_forward_odd, vell_mrib_send_dux_role_forward_none};
    static constexpr std::uint64_t flags[] = {0, 0x40000, 0x80000, 0x100000, 0x2000000};
    const std::uint32_t role = input.number();
    const bool by_name = role >= 1 && role <= 4 && input.flip();
    const std::uint32_t result = library(
        [&] { return by_name ? senders[role - 1]() : vell_mrib_send_dux_role_update(role); });
    if (!state.acknowledged())
        return FUZZ_CHECK(result == 0);
    // The array lies in the library's message, whose address nothing gives away.
    const std::uint32_t length = expect_size_of_own_array() + 52;
    Payload message;
    message.put(state.id).fill_to(2).put(std::uint16_t{1}).put(std::uint16_t{0x5aa5}).fill_to(8);
    message.put(std::uint8_t{23}).fill_to(12).put(role <= 4 ? flags[role] : 0).fill_to(length);
    FUZZ_CHECK(result == send_and_release(state.queue, {214, 75831, 0}, message));
}

// ---- statistics ------------------------------------------------------------------------------

struct Key {
    std::uint32_t table, source, group;
    std::uint8_t source_length, group_length;

    explicit Key(Input &input)
        : table(input.number()),
          source(input.number()),
          group(input.number()),
          source_length(input.byte()),
          group_length(input.byte()) {}
    Payload payload() const {
        Payload fields;
        return fields.put(table).put(source_length).put(group_length);
    }
};

struct StatsSender {
    const char *name;
    int not_registered_line;
    int send_failed_line; // 0: it logs nothing
    std::uint32_t opcode;
    std::uint32_t clear_counters;
};

int model_stats(const StatsSender &sender, Bytes payload) {
    if (!state.acknowledged()) {
        expect_log("%s(%d):ERROR: Client not registered\n", sender.name,
                   sender.not_registered_line);
        return 0;
    }
    if (!expect_send(state.queue, {214, sender.opcode, 0}, payload)) {
        if (sender.send_failed_line != 0)
            expect_log("%s(%d):ERROR: Send stat req to vell failed.. \n", sender.name,
                       sender.send_failed_line);
        return 0;
    }
    if (sender.clear_counters != 0)
        expect_log("%s(%d):TRACE: %s: Sent Clear counters request\n", sender.name, 851,
                   sender.name);
    expect_drop(state.queue);
    return 1;
}

void fuzz_ipv4_stats(Input &input) {
    const Key key(input);
    const std::uint32_t clear_counters = input.number();
    Payload payload = key.payload().fill_to(8).put(key.source).put(key.group);
    if (input.flip()) {
        const int result = library([&] {
            return vell_send_v4_mroute_clear_req(key.table, key.source, key.source_length,
                                                 key.group, key.group_length);
        });
        FUZZ_CHECK(result ==
                   model_stats({"vell_send_v4_mroute_clear_req", 941, 964, 75798, 0}, payload));
        return;
    }
    const int result = library([&] {
        return vell_send_v4_mroute_stats_req(key.table, key.source, key.source_length, key.group,
                                             key.group_length, clear_counters);
    });
    FUZZ_CHECK(result ==
               model_stats({"vell_send_v4_mroute_stats_req", 823, 847, 75785, clear_counters},
                           payload.put(clear_counters)));
}

void fuzz_ipv6_stats(Input &input) {
    const Key key(input);
    Buffer source(16, input.below(4)), group(16, input.below(4));
    fill_with_pattern(source.data(), 16, static_cast<std::uint8_t>(key.source));
    fill_with_pattern(group.data(), 16, static_cast<std::uint8_t>(key.group));
    const bool clear = input.flip();
    const int result = library([&] {
        const auto send = clear ? vell_send_v6_mroute_clear_req : vell_send_v6_mroute_stats_req;
        return send(key.table, source.data(), key.source_length, group.data(), key.group_length);
    });
    if (state.acknowledged()) {
        expect(Call::ipv6_addr_copy, {number_of(source.data())}, source.bytes());
        expect(Call::ipv6_addr_copy, {number_of(group.data())}, group.bytes());
    }
    const StatsSender sender =
        clear ? StatsSender{"vell_send_v6_mroute_clear_req", 999, 1022, 75799, 0}
              : StatsSender{"vell_send_v6_mroute_stats_req", 885, 0, 75786, 0};
    FUZZ_CHECK(
        result ==
        model_stats(sender, key.payload().put(source.bytes()).put(group.bytes()).fill_to(40)));
}

// ---- notifications ---------------------------------------------------------------------------

void fuzz_marker(Input &input) {
    const std::uint32_t marker = input.number();
    const int result = library([&] { return vell_send_igmp_oob_notification(marker); });
    FUZZ_CHECK(result == expect_marker(state.queue, marker));
    FUZZ_CHECK(library([] { return vell_send_igmp_snoop_update(); }) == 1);
}

void fuzz_download_complete() {
    const int result = library([] { return vell_send_igmp_download_complete(); });
    if (!state.acknowledged()) {
        expect_log("%s(%d):ERROR: Client not registered\n", "vell_send_igmp_download_complete",
                   548);
        return FUZZ_CHECK(result == 0);
    }
    FUZZ_CHECK(result ==
               static_cast<int>(send_and_release(state.queue, {213, 75789, 0}, bytes_of(0u))));
}

int logged_overlay_failure(const char *function, int line) {
    expect_log("%s(%d):ERROR: KYT send failed\n", function, line);
    return 0;
}

void fuzz_overlay_disable(Input &input) {
    const std::uint32_t queue = input.number(), flag = input.number();
    const int result = library([&] { return vell_send_zeb_feature_disable(queue, flag); });
    if (queue == 0)
        return FUZZ_CHECK(result == 0);
    Payload payload;
    payload.put(std::uint16_t(flag != 0 ? 3 : 1)).put(std::uint16_t{8}).put(0u);
    FUZZ_CHECK(result == (send_and_release(queue, {213, 75820, 0}, payload)
                              ? 1
                              : logged_overlay_failure("vell_send_zeb_feature_disable", 323)));
}

// A message whose length need not be its own.
void fuzz_overlay_message(Input &input) {
    const std::uint32_t queue = input.number();
    Buffer message(4 + input.below(8), input.below(4));
    fill_with_pattern(message.data(), message.size(), input.byte());
    const std::uint16_t length = input.half();
    std::memcpy(message.data() + 2, &length, sizeof(length));
    std::vector<std::uint8_t> expected(message.bytes().begin(), message.bytes().end());
    kyt_msg_ref reference;
    setup().reference = &reference;
    setup().payload = message.bytes();
    const bool no_message = input.one_in(8), no_reference = input.one_in(8);
    void *const buffer = no_message ? nullptr : message.data();
    if (input.flip()) {
        const int result = library([&] { return vell_send_zeb_vlans_disable(queue, buffer); });
        if (queue == 0 || no_message)
            return FUZZ_CHECK(result == 0 && equal(message.bytes(), expected));
        expected[0] = 2;
        expected[1] = 0;
        const bool sent =
            expect_send_of_callers(queue, {213, 75820, 1}, expected, length, Reference::own);
        if (sent)
            expect_drop(queue);
        FUZZ_CHECK(result ==
                   (sent ? 1 : logged_overlay_failure("vell_send_zeb_vlans_disable", 370)));
    } else {
        const int result = library([&] {
            return vell_send_zeb_route_update(queue, buffer, no_reference ? nullptr : &reference);
        });
        if (queue == 0 || no_message || no_reference)
            return FUZZ_CHECK(result == 0 && equal(message.bytes(), expected));
        const bool sent =
            expect_send_of_callers(queue, {213, 75818, 1}, expected, length, Reference::callers);
        FUZZ_CHECK(result ==
                   (sent ? 1 : logged_overlay_failure("vell_send_zeb_route_update", 281)));
    }
    FUZZ_CHECK(equal(message.bytes(), expected));
}

// ---- what has targets of its own -------------------------------------------------------------

void fuzz_lists(Input &input) {
    vell_mrib_route route = {};
    const vell_oif_entry oif = {input.byte(), 0};
    const vell_mti_entry mti = {{1, 2, 3, 4}};
    const vell_glt_entry glt = {};
    vell_mrib_add_mti_encap_begin();
    vell_mrib_add_mti_encap(1, 2, 3, 4);
    vell_mrib_add_mti_encap_end(&route);
    vell_mrib_add_glt_encap_begin();
    vell_mrib_add_glt_encap(1, 2, 3, 4, "five", 5, 6);
    vell_mrib_add_glt_encap_end(&route);
    vell_mrib_add_oifs_begin();
    vell_mrib_add_reg_oif(oif.if_index);
    vell_mrib_add_oifs_end(&route);
    vell_mrib_test_add_oiflist(&route, &oif, 1);
    vell_mrib_test_add_mti_oif(&route, &mti, 1);
    vell_mrib_test_add_glt_oif(&route, &glt, 1);
    FUZZ_CHECK(vell_oifs == nullptr && mti_oifs == nullptr && glt_oifs == nullptr);
    // Whatever the platform has stored.
    state.position = p_current_tlv_addr;
    state.size = current_tlv_size;
}

void fuzz_l2_update(Input &input) {
    std::uint8_t message[8] = {0, 0, 0, 0, 0, 0, input.byte(), 0};
    kyt_msg_ref reference;
    setup().reference = &reference;
    setup().payload = message;
    const int result = library([&] {
        return vell_send_l2_mc_update(message, sizeof(message), 0, 1, number_of(&reference));
    });
    FUZZ_CHECK(state.queue != 0 || result == 0);
}

void fuzz_flood(Input &input) {
    std::uint8_t was[8 + 80 + 32] = {}, is[8 + 80 + 32] = {};
    was[8 + 70] = is[8 + 70] = 1;
    was[8 + 74 + 16] = input.byte();
    is[8 + 74 + 16] = input.byte();
    const std::uint32_t result = library([&] {
        return vell_send_l2_mc_update_flood_ltl(was, sizeof(was), 1, is, sizeof(is), 1, &state);
    });
    FUZZ_CHECK(state.queue != 0 || result == 0);
}

void fuzz_manager(Input &input) {
    const std::uint32_t indexes[] = {input.number(), 2, 3};
    library([&] { vell_nerb_l2_ltl_alloc(1, 3, indexes, 2, 3); });
    library([&] { vell_nerb_l2_ltl_modify(1, 3, indexes, 2, 3); });
    library([] { vell_nerb_l2_ltl_dealloc(1, 2, 3); });
    std::uint32_t results[2];
    library([&] { vell_nerb_handle_l2_response(indexes, &results[0], &results[1]); });
    library([&] { vell_nerb_handle_l2_alloc_response(indexes, &results[0], &results[1]); });
    std::uint8_t *message = nullptr;
    if (library([&] { return vell_handle_l2_mc_update_flood_ltl_resp(indexes, &message); }) == 1)
        release(message, 8u + 80u * static_cast<unsigned>(message[2] << 8 | message[3]));
}

void fuzz_operation(Input &input) {
    const std::uint32_t what = input.below(18);
    switch (what) {
    case 0:
    case 1:
        return fuzz_register(input);
    case 2:
    case 3:
        return fuzz_acknowledgment(input);
    case 4:
        return fuzz_deregister();
    case 5:
        return fuzz_queue(input);
    case 6:
        return fuzz_ipv4_update(input);
    case 7:
        return fuzz_ipv6_update(input);
    case 8:
        return fuzz_dux_role(input);
    case 9:
        return fuzz_ipv4_stats(input);
    case 10:
        return fuzz_ipv6_stats(input);
    case 11:
        return fuzz_marker(input);
    case 12:
        return fuzz_download_complete();
    case 13:
        return fuzz_overlay_disable(input);
    case 14:
        return fuzz_overlay_message(input);
    default:
        break;
    }
    if (what == 15)
        fuzz_lists(input);
    else if (what == 16)
        input.flip() ? fuzz_l2_update(input) : fuzz_flood(input);
    else
        fuzz_manager(input);
    skip_expectations();
}

} // namespace

void fuzz::run(Input &input) {
    state = {};
    for (unsigned operations = 0; operations < 64 && !input.used_up(); ++operations) {
        fuzz_operation(input);
        setup() = {};
        setup().log_uuid = state.uuid;
        FUZZ_CHECK(vell_client_id == state.id && vell_client_q == state.queue &&
                   vell_client_uuid == state.uuid);
        FUZZ_CHECK(p_current_tlv_addr == state.position && current_tlv_size == state.size);
    }
}
