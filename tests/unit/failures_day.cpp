#include "failures_day.h"

#include "library_allocations.h"

#include <cstring>
#include <type_traits>

kyt_msg_ref callers_reference;

namespace {

using fake::platform;

constexpr std::uint32_t queue = 0x14131211;
constexpr std::uint32_t uuid = 5;
constexpr std::uint8_t id = 9;

// ---- calling ------------------------------------------------------------------------------------

template <typename Function>
std::uint32_t as_result(Function function) {
    if constexpr (std::is_void_v<decltype(function())>) {
        function();
        return 0;
    } else {
        return static_cast<std::uint32_t>(function());
    }
}

// The two fields that every row begins with. The arguments may name the buffer, `b`.
#define CALLS(function, ...)                                                                       \
    .name = #function, .call = []([[maybe_unused]] std::uint8_t *b) -> std::uint32_t {             \
        return as_result([&] { return function(__VA_ARGS__); });                                   \
    }

template <typename Type>
Type *at(std::uint8_t *place) {
    return reinterpret_cast<Type *>(place);
}

vell_mrib_route *route(std::uint8_t *place) {
    return at<vell_mrib_route>(place);
}

std::uint32_t address_of_reference() {
    return reinterpret_cast<std::uintptr_t>(&callers_reference);
}

// In place of an address: whether it is not null.
void store_whether(std::uint8_t *place, const void *pointer) {
    const std::uint32_t not_null = pointer != nullptr;
    std::memcpy(place, &not_null, sizeof not_null);
}

// The entry is at the start of the buffer; the list is copied to the bytes after it.
int build_entry(std::uint8_t *b, std::uint32_t count, const std::uint8_t *list) {
    auto *const entry = at<vell_ltl_entry>(b);
    const int result = vell_nerb_build_mcast_ltl_info(
        1, count, at<const std::uint32_t>(const_cast<std::uint8_t *>(list)), 2, entry);
    std::uint32_t *const copy = entry->if_indexes;
    if (copy != nullptr)
        std::memcpy(b + sizeof *entry, copy, count * sizeof *copy);
    LibraryAllocations::release(copy);
    store_whether(b + 16, copy);
    return result;
}

// The buffer starts with whether there is a message. The message, of two VLANs, follows.
std::uint32_t read_flood_answer(std::uint8_t *b) {
    std::uint8_t *message = b;
    const auto result = vell_handle_l2_mc_update_flood_ltl_resp(b + 512, &message);
    store_whether(b, message);
    if (message != nullptr && message != b)
        std::memcpy(b + 4, message, 8 + 2 * 80);
    if (message != b)
        LibraryAllocations::release(message);
    return result;
}

// ---- answers of the platform --------------------------------------------------------------------

void accept() {
    static std::uint8_t payload[] = {id, 1};
    platform().kyt_payload_get.returns(payload);
}
void refuse() {
    static std::uint8_t payload[] = {id, 0xfe};
    platform().kyt_payload_get.returns(payload);
}

// Every append moves the append position on.
void append() {
    platform().append_tlv.runs([] {
        const auto size = tlv_cursor().size + 16;
        platform().append_state = {.position = 0x1000 + size, .size = size};
    });
}

void three_lists() {
    platform().holds_tlvs({{.type = 0, .length = 4, .value = word(3)},
                           {.type = 1, .length = 4, .value = word(5)},
                           {.type = 2, .length = 4, .value = word(7)}});
}

void tlvs_of_8_bytes() {
    platform().size_get.returns(8);
}

void one_entry() {
    platform().reply = {.status = 0, .entry_count = 1, .entries = {{{0x71, 0x72, 0x73, 0}}}};
}

void two_vlans() {
    platform().reply = {
        .status = 0, .entry_count = 2, .entries = {{{100, 0, 0, 0}}, {{200, 0, 0, 7}}}};
}

void one_index() {
    platform().reply = {.alloc_status = 0,
                        .alloc_entry_count = 1,
                        .parm_status = 0,
                        .parm = {{{0x81, 0x82, 0x83}}}};
}

void refused_index() {
    platform().reply = {.alloc_status = 7, .alloc_entry_count = 0};
}

// ---- promises -----------------------------------------------------------------------------------

void silent(Failure &) {}

void silent_when_prepared(Failure &failed) {
    failed.leaves_what_success_leaves();
}

Promise error(int line, const char *text) {
    return [=](Failure &failed) { failed.error(line, text); };
}

Promise error_when_prepared(int line, const char *text) {
    return [=](Failure &failed) {
        failed.leaves_what_success_leaves();
        failed.error(line, text);
    };
}

// The message says what the platform function returned.
Promise status_error_when_prepared(int line, const char *format) {
    return [=](Failure &failed) {
        failed.leaves_what_success_leaves();
        failed.error(line, format, failed.status);
    };
}

void not_acknowledged(Failure &failed) {
    failed.expected.state.client.id = 0;
    failed.trace(180, "Failed to update client_id\n");
}

// Whether a marker was sent does not change the result, but there is nothing to release.
void marker_lost(Failure &failed) {
    failed.error_of("vell_send_igmp_oob_notification", 609,
                    "KYT send fail for KYT_OPC_VELL_IGMP_OOB_MSG\n");
    failed.goes_on_without(1);
}

void size_of_route(Failure &failed) {
    failed.expected.result = failed.status + 44;
}

// Head and record are always sent, and of the TLV array what the platform says it has.
void size_of_role_message(Failure &failed) {
    failed.goes_on_without(0);
    std::get<fake::Send>(failed.expected.calls.at(1)).payload.resize(failed.status + 52);
}

// There is no fourth TLV to read.
void one_more_tlv(Failure &failed) {
    const auto *const array = std::get<fake::NumTlvs>(failed.expected.calls.at(0)).array;
    failed.expected.calls.push_back(fake::NextTlv{
        .array = array, .value_was = array, .reserved = 0, .cursor_was = fake::cursor_behind(2)});
    failed.leaves_what_success_leaves();
    failed.expected.result = fake::no_more_tlvs;
}

// The three lists are walked: their number is asked for before each of them and at the end.
std::vector<Promise> walk_of_three_lists() {
    std::vector<Promise> promises;
    for (std::size_t read = 0; read <= 3; ++read) {
        const auto stop = [=](Failure &failed) {
            bytes counts;
            for (std::size_t list = 0; list < 3; ++list)
                counts = counts + word(static_cast<std::uint32_t>(list < read ? 3 + 2 * list : 0));
            failed.expected.buffer = patched(failed.expected.buffer, 0, counts);
            failed.expected.result = failed.status;
        };
        promises.push_back([=](Failure &failed) {
            if (static_cast<std::int32_t>(failed.status) <= static_cast<std::int32_t>(read))
                stop(failed);
            else if (read < 3)
                failed.goes_on_without(0);
            else
                one_more_tlv(failed);
        });
        if (read < 3)
            promises.push_back(stop);
    }
    return promises;
}

// ---- flood sets ---------------------------------------------------------------------------------

// VLAN 10: 0x301 stays, 0x502 is added before 0x603 goes, and 0x904 is added at the end. VLAN 20
// loses both its interfaces.
constexpr std::size_t vlan_10_old = 8 + 74;
constexpr std::size_t vlan_10_new = 320 + 8 + 74;
constexpr std::size_t payload_at = 640;

bytes oif(std::uint32_t if_index) {
    return patched(pattern(32), 4, word(0) + pattern(8) + word(if_index));
}
const bytes sorted_old = oif(0x301) + oif(0x603);
const bytes sorted_new = oif(0x301) + oif(0x502) + oif(0x904);

bytes vlan_record(std::uint32_t vlan, const bytes &oifs) {
    auto record = patched(pattern(80 + oifs.size()), 24, word(vlan));
    record = patched(record, 70, word(static_cast<std::uint32_t>(oifs.size() / 32)));
    return patched(record, 74, oifs);
}

bytes flood_batches() {
    const auto was =
        pattern(8) + vlan_record(10, oif(0x603) + oif(0x301)) + vlan_record(20, oif(8) + oif(7));
    const auto is =
        pattern(8) + vlan_record(10, oif(0x904) + oif(0x502) + oif(0x301)) + vlan_record(20, {});
    auto buffer = patched(pattern(day_buffer_size), 0, was);
    buffer = patched(buffer, 320, is);
    return patched(buffer, payload_at, bytes(200));
}

// One lookup of a line card in vain: of the type, or of the fields.
struct Lookup {
    std::uint32_t if_index;
    bool of_type;
    int line;    // of the delta's own error
    bytes delta; // of the delta, what has been written before
};
const std::vector<Lookup> lookups = [] {
    struct Kind {
        std::uint32_t if_index;
        int line;
        std::uint32_t bitmask;
        bytes updates;
    };
    const Kind kinds[] = {
        {0x301, 1134, 0x0, {}},
        {0x502, 1158, 0x2, {}},
        {0x904, 1175, 0x6, word(0x502) + word(1) + word(0x603) + word(2)},
    };
    std::vector<Lookup> all;
    for (const auto &kind : kinds)
        for (const bool of_type : {true, false})
            all.push_back(
                {kind.if_index, of_type, kind.line, word(kind.bitmask) + bytes(8) + kind.updates});
    return all;
}();

void line_card_not_found(Failure &failed, const Lookup &lookup) {
    failed.error_of("vell_set_flc_bitmask", lookup.of_type ? 1055 : 1063,
                    lookup.of_type ? "Failed to get if_index type for 0x%x, status 0x%x\n"
                                   : "Failed to get if_index fields for 0x%x, status 0x%x\n",
                    lookup.if_index, failed.status);
    failed.expected.result = failed.status;
}

void delta_not_found(Failure &failed, const Lookup &lookup) {
    line_card_not_found(failed, lookup);
    failed.error_of("vell_find_oiflist_delta", lookup.line, "Set LC bitmask failed\n");
    failed.expected.buffer = patched(failed.expected.buffer, vlan_10_old, sorted_old);
    failed.expected.buffer = patched(failed.expected.buffer, vlan_10_new, sorted_new);
}

// Of the first interface of the delta.
std::vector<Promise> lookups_of_interface() {
    std::vector<Promise> promises;
    for (std::size_t i = 0; i < 2; ++i)
        promises.push_back([=](Failure &failed) { line_card_not_found(failed, lookups[i]); });
    return promises;
}

std::vector<Promise> lookups_of_delta() {
    std::vector<Promise> promises;
    for (const auto &lookup : lookups)
        promises.push_back([=](Failure &failed) {
            delta_not_found(failed, lookup);
            failed.expected.buffer = patched(failed.expected.buffer, payload_at + 12, lookup.delta);
        });
    return promises;
}

std::vector<Promise> lookups_of_payload() {
    std::vector<Promise> promises;
    for (const auto &lookup : lookups)
        promises.push_back([=](Failure &failed) {
            delta_not_found(failed, lookup);
            const auto head = word(2) + word(10) + bytes(8);
            failed.expected.buffer =
                patched(failed.expected.buffer, payload_at, head + lookup.delta);
        });
    return promises;
}

std::vector<Promise> lookups_of_request() {
    std::vector<Promise> promises;
    for (const auto &lookup : lookups)
        promises.push_back([=](Failure &failed) {
            delta_not_found(failed, lookup);
            failed.error(1361, "Building NERB request payload failed 0x%x\n", failed.status);
            failed.expected.result = 0;
        });
    promises.push_back(
        status_error_when_prepared(1368, "Sending LTL update to NERB failed 0x%x\n"));
    return promises;
}

// ---- LTL indexes --------------------------------------------------------------------------------

void no_memory_for_list(Failure &failed) {
    failed.error_of("vell_nerb_build_mcast_ltl_info", 1484, "p_ifidx alloc failed");
}

// The request is built but for its list, and has the count of the one before.
Promise no_memory_for_request(int line) {
    return [=](Failure &failed) {
        no_memory_for_list(failed);
        failed.error(line, "failure to build nerb payload\n");
        const auto count = part(failed.expected.state.ltl_request, 0, 2);
        auto request = patched(failed.undisturbed.state.ltl_request, 0, count);
        failed.expected.state.ltl_request = patched(request, 18, word(0));
    };
}

void no_memory_for_entry(Failure &failed) {
    no_memory_for_list(failed);
    failed.expected.buffer = patched(failed.undisturbed.buffer, 16, word(0));
    failed.expected.buffer = patched(failed.expected.buffer, 24, part(pattern(32), 24, 8));
}

Promise no_flood_answer(int line, const char *format) {
    return [=](Failure &failed) {
        if (line == 1428)
            failed.error(line, format);
        else if (line == 1411)
            failed.error(line, format, failed.status, failed.written ? 2 : 0);
        else
            failed.error(line, format, failed.status);
        failed.expected.buffer = patched(failed.expected.buffer, 0, word(0));
    };
}

// After the platform's result come further values of the message: those that the call wrote, or 0.
Promise reply_error(int line, const char *format, std::vector<std::uint32_t> written) {
    return [=](Failure &failed) {
        const auto value = [&](std::size_t i) { return failed.written ? written.at(i) : 0; };
        if (written.size() == 1)
            failed.error(line, format, failed.status, value(0));
        else
            failed.error(line, format, failed.status, value(0), value(1));
    };
}

// ---- the day ------------------------------------------------------------------------------------

const bytes l2_message = hex("e1 e2 e3e4 e5e6 0300" // asks for both markers
                             "12 000000000000 00 00000000 11121314 01000000 2122232431323334");

std::vector<Operation> requests() {
    using enum Needs;
    return {
        {CALLS(vell_send_v4_mroute_update, b, 60, 2, 0x1234, &callers_reference), .result = 1,
         .needs = acknowledged_client, .failures = {silent_when_prepared}, .gives_reference = true},
        {CALLS(vell_send_v6_mroute_update, 1, 2, 3), .result = 1, .needs = acknowledged_client,
         .failures = {silent}},
        {CALLS(vell_mrib_send_dux_role_update, 5), .result = 1, .needs = acknowledged_client,
         .arrange = tlvs_of_8_bytes, .failures = {size_of_role_message, silent}},
        {CALLS(vell_mrib_send_dux_role_forward_all), .result = 1, .needs = acknowledged_client,
         .arrange = tlvs_of_8_bytes, .failures = {size_of_role_message, silent}},
        {CALLS(vell_mrib_send_dux_role_forward_even), .result = 1, .needs = acknowledged_client,
         .arrange = tlvs_of_8_bytes, .failures = {size_of_role_message, silent}},
        {CALLS(vell_mrib_send_dux_role_forward_odd), .result = 1, .needs = acknowledged_client,
         .arrange = tlvs_of_8_bytes, .failures = {size_of_role_message, silent}},
        {CALLS(vell_mrib_send_dux_role_forward_none), .result = 1, .needs = acknowledged_client,
         .arrange = tlvs_of_8_bytes, .failures = {size_of_role_message, silent}},

        {CALLS(vell_send_v4_mroute_stats_req, 1, 2, 32, 3, 24, 7), .result = 1,
         .needs = acknowledged_client,
         .failures = {error(847, "Send stat req to vell failed.. \n")}},
        {CALLS(vell_send_v4_mroute_clear_req, 1, 2, 32, 3, 24), .result = 1,
         .needs = acknowledged_client,
         .failures = {error(964, "Send stat req to vell failed.. \n")}},
        {CALLS(vell_send_v6_mroute_stats_req, 1, b, 128, b + 17, 64), .result = 1,
         .needs = acknowledged_client, .failures = {silent}},
        {CALLS(vell_send_v6_mroute_clear_req, 1, b, 128, b + 17, 64), .result = 1,
         .needs = acknowledged_client,
         .failures = {error(1022, "Send stat req to vell failed.. \n")}},

        {CALLS(vell_send_igmp_oob_notification, 1), .result = 1, .needs = queue,
         .failures = {error(609, "KYT send fail for KYT_OPC_VELL_IGMP_OOB_MSG\n")}},
        {CALLS(vell_send_l2_mc_update, b, 36, 1, 0x6261, address_of_reference()), .result = 1,
         .needs = queue, .input = l2_message,
         .failures = {marker_lost, silent_when_prepared, marker_lost}, .gives_reference = true},
        {CALLS(vell_send_igmp_download_complete), .result = 1, .needs = acknowledged_client,
         .failures = {silent}},
        {CALLS(vell_send_igmp_snoop_update), .result = 1},

        {CALLS(vell_send_zeb_feature_disable, ::queue, 1), .result = 1,
         .failures = {error(323, "KYT send failed\n")}},
        {CALLS(vell_send_zeb_vlans_disable, ::queue, b), .result = 1, .input = hex("0900 0c00"),
         .failures = {error_when_prepared(370, "KYT send failed\n")}},
        {CALLS(vell_send_zeb_route_update, ::queue, b, &callers_reference), .result = 1,
         .input = hex("0900 0c00"), .failures = {error(281, "KYT send failed\n")},
         .gives_reference = true},

        {CALLS(vell_send_l2_mc_update_flood_ltl, b, 0, 2, b + 320, 0, 2, b + 900), .result = 1,
         .needs = queue, .input = flood_batches(), .failures = lookups_of_request(),
         .without_memory = {error(1352, "Memory allocation failed\n")},
         .calls_before_memory = 5}, // of the trace
        {CALLS(vell_nerb_l2_ltl_alloc, 1, 2, at<std::uint32_t>(b), 2, 3), .result = 1,
         .failures = {status_error_when_prepared(1523, "NERB ltl alloc API returned error %d\n")},
         .without_memory = {no_memory_for_request(1512)}},
        {CALLS(vell_nerb_l2_ltl_modify, 4, 3, at<std::uint32_t>(b), 5, 6), .result = 1,
         .failures = {status_error_when_prepared(1587, "NERB ltl alloc API returned error %d\n")},
         .without_memory = {no_memory_for_request(1576)}},
        {CALLS(vell_nerb_l2_ltl_dealloc, 7, 8, 9), .result = 1,
         .failures = {status_error_when_prepared(1551,
                                                 "NERB ltl dealloc API returned error %d\n")}},
    };
}

// What the requests do in a state in which some of them are refused.
std::vector<Operation> requests_with(Needs there_is) {
    auto all = requests();
    for (auto &request : all)
        if (request.needs > there_is) {
            request.result = 0;
            request.failures.clear();
            request.without_memory.clear();
            request.gives_reference = false;
        }
    return all;
}

std::vector<Operation> registration() {
    const Promise send_failed = [](Failure &failed) {
        failed.error(135, "kyt_send failed : %d\n", -1);
    };
    return {
        {CALLS(vell_register, ::queue, ::uuid, std::string(240, 'n').c_str())},
        {CALLS(vell_register, ::queue, ::uuid, "segment"), .result = 1, .failures = {send_failed}},
        {CALLS(vell_register, 7, 8, "again"), .result = 0},
        {CALLS(vell_register_ack, b), .arrange = refuse, .failures = {not_acknowledged}},
        {CALLS(vell_register_ack, b), .result = 1, .arrange = accept,
         .failures = {not_acknowledged}},
        {CALLS(vell_register_ack, b), .result = 1, .arrange = accept,
         .failures = {not_acknowledged}},
    };
}

std::vector<Operation> route_fields() {
    return {
#define SETTER(bit, setter) {CALLS(vell_mrib_set_flags_##setter, route(b + 1))},
#define FLAG(bit, setter, tester)                                                                  \
    SETTER(bit, setter){CALLS(vell_mrib_is_flags_##tester, route(b + 1)), .result = 1,             \
                        .input = hex("00 00000000 ffffffffffffffff")},
        VELL_MRIB_FLAG_TABLE(FLAG, SETTER)
#undef FLAG
#undef SETTER
            {CALLS(vell_mrib_set_flags, route(b + 1), 1ULL << 40)},
        {CALLS(vell_mrib_set_flag_init, route(b + 1))},
        {CALLS(vell_mrib_set_opcode, route(b + 1), 0x117)},
        {CALLS(vell_mrib_set_source, route(b + 1), 0x0a000001, 32)},
        {CALLS(vell_mrib_set_group, route(b + 1), 0xe8010101, 24)},
        {CALLS(vell_mrib_set_epoch, route(b + 1), 6)},
        {CALLS(vell_mrib_set_rpfif, route(b + 1), 7)},
        {CALLS(vell_mrib_get_rpfif, route(b)), .result = 0x44434241,
         .input = pattern(28) + hex("41424344")},
        {CALLS(vell_mrib_set_df_ordinal, route(b + 1), 0x1ff)},
        {CALLS(vell_mrib_set_table_id, route(b + 1), 9)},
    };
}

std::vector<Operation> route_lists() {
    return {
        {CALLS(vell_mrib_add_oifs_begin)},
        {CALLS(vell_mrib_add_reg_oif, 1)},
        {CALLS(vell_mrib_add_vprime_oif, 2)},
        {CALLS(vell_mrib_add_duxsvi_oif, 3)},
        {CALLS(vell_mrib_add_duxbidir_rpf_oif, 4)},
        {CALLS(vell_mrib_add_dux_bidir_rpf_duxsvi_oif, 5)},
        {CALLS(vell_mrib_add_oifs_end, route(b)), .arrange = append},
        {CALLS(vell_mrib_add_mti_encap_begin)},
        {CALLS(vell_mrib_add_mti_encap, 1, 2, 3, 4)},
        {CALLS(vell_mrib_add_mti_encap_end, route(b)), .arrange = append},
        {CALLS(vell_mrib_add_glt_encap_begin)},
        {CALLS(vell_mrib_add_glt_encap, 1, 2, 3, 4, b, 36, 5)},
        {CALLS(vell_mrib_add_glt_encap_end, route(b)), .arrange = append},
        {CALLS(vell_mrib_test_add_oiflist, route(b), at<vell_oif_entry>(b + 41), 3),
         .arrange = append},
        {CALLS(vell_mrib_test_add_mti_oif, route(b), at<vell_mti_entry>(b + 41), 2),
         .arrange = append},
        {CALLS(vell_mrib_test_add_glt_oif, route(b), at<vell_glt_entry>(b + 41), 2),
         .arrange = append},
        {CALLS(vell_mrib_get_route_size, route(b)), .result = 52, .arrange = tlvs_of_8_bytes,
         .failures = {size_of_route}},
        {CALLS(vell_mrib_get_max_route_size, 1, 1, 1), .result = 140},
        {CALLS(vell_mrib_get_mroute_tlv_info, route(b + 64), at<std::uint32_t>(b),
               at<std::uint32_t>(b + 4), at<std::uint32_t>(b + 8)),
         .result = 3, .arrange = three_lists, .failures = walk_of_three_lists()},
    };
}

std::vector<Operation> refused_arguments() {
    return {
        {CALLS(vell_send_zeb_vlans_disable, ::queue, nullptr)},
        {CALLS(vell_send_zeb_route_update, ::queue, b, nullptr)},
        {CALLS(vell_send_l2_mc_update_flood_ltl, b, 0, 2, b + 320, 0, 2, nullptr)},
        {CALLS(vell_send_l2_mc_update_flood_ltl, b, 0, 2, b + 320, 0, 3, b + 900)},
        {CALLS(vell_send_l2_mc_update_flood_ltl, b, 0, 1, b + 320, 0, 1, b + 900),
         .input = patched(flood_batches(), 8 + 24, word(30))},
    };
}

std::vector<Operation> flood_sets_and_indexes() {
    return {
        {CALLS(vell_oif_comp, b, b + 32), .result = 0xffffffff, .input = oif(7) + oif(0x80000000)},
        {CALLS(vell_set_flc_bitmask, at<std::uint32_t>(b), 0x301),
         .failures = lookups_of_interface()},
        {CALLS(vell_find_oiflist_delta, at<vell_l2_oif>(b + vlan_10_old), 2,
               at<vell_l2_oif>(b + vlan_10_new), 3, at<vell_flood_delta>(b + payload_at)),
         .input = flood_batches(), .failures = lookups_of_delta()},
        {CALLS(vell_build_nerb_flood_ltl_pyld, b, b + 320, 2,
               at<vell_flood_payload>(b + payload_at)),
         .input = flood_batches(), .failures = lookups_of_payload()},
        {.name = "vell_handle_l2_mc_update_flood_ltl_resp",
         .call = read_flood_answer,
         .result = 1,
         .arrange = two_vlans,
         .failures = {no_flood_answer(1404, "NERB parse rsp status=%d"),
                      no_flood_answer(1411, "NERB returned status=%d with entry count (%d)\n"),
                      no_flood_answer(1418, "NERB returned status=%d for get resp info\n")},
         .without_memory = {no_flood_answer(1428, "Memory allocation failed\n")},
         .calls_before_memory = 3},
        {.name = "vell_nerb_build_mcast_ltl_info",
         .call =
             [](std::uint8_t *b) { return static_cast<std::uint32_t>(build_entry(b, 2, b + 32)); },
         .result = 1,
         .without_memory = {no_memory_for_entry}},
        {CALLS(vell_nerb_handle_l2_response, b + 512, at<std::uint32_t>(b),
               at<std::uint32_t>(b + 4)),
         .result = 1, .arrange = one_entry,
         .failures = {reply_error(1654, "NERB rsp returned err=%d, status=%d", {0}),
                      reply_error(1662, "NERB get returned err=%d with entry count (%d)", {1}),
                      reply_error(1669, "NERB info returned err=%d in parsing resp, status:%d",
                                  {0})}},
        {CALLS(vell_nerb_handle_l2_alloc_response, b + 512, at<std::uint32_t>(b),
               at<std::uint32_t>(b + 4)),
         .result = 1, .arrange = one_index,
         .failures = {reply_error(1616, "NERB get returned err=%d, status=%d, count=%d", {0, 1}),
                      reply_error(1623, "NERB parm returned err=%d, status=%d", {0})}},
        {CALLS(vell_nerb_handle_l2_alloc_response, b + 512, at<std::uint32_t>(b),
               at<std::uint32_t>(b + 4)),
         .arrange = refused_index,
         .failures = {reply_error(1616, "NERB get returned err=%d, status=%d, count=%d", {7, 0})}},
    };
}

} // namespace

std::vector<Operation> day_of_a_client() {
    const std::vector<Operation> parts[] = {
        requests_with(Needs::nothing),
        {{CALLS(vell_deregister)}, {CALLS(vell_register_kyt_q, ::queue)}},
        requests_with(Needs::queue),
        {{CALLS(vell_deregister)}, {CALLS(vell_register_kyt_q, 0)}},
        registration(),
        route_fields(),
        route_lists(),
        requests_with(Needs::acknowledged_client),
        flood_sets_and_indexes(),
        refused_arguments(),
        {{CALLS(vell_deregister), .result = 1, .failures = {silent}}},
        requests_with(Needs::nothing),
    };
    std::vector<Operation> day;
    for (const auto &operations : parts)
        day.insert(day.end(), operations.begin(), operations.end());
    return day;
}

// ltl_payload is only the count; the entry follows it.
static std::uint8_t *ltl_request() {
    auto *volatile count = reinterpret_cast<std::uint8_t *>(&ltl_payload);
    return count;
}
constexpr std::size_t ltl_request_size = 26;

void clear_ltl_requests() {
    std::memset(ltl_request(), 0, ltl_request_size);
    ltl_dealloc = {};
}

LibraryState library_state() {
    const auto *const release = reinterpret_cast<const std::uint8_t *>(&ltl_dealloc);
    bytes request_bytes(ltl_request(), ltl_request() + ltl_request_size);
    const void *list = nullptr;
    std::memcpy(&list, request_bytes.data() + 18, sizeof list);
    store_whether(request_bytes.data() + 18, list);
    return {.client = client_state(),
            .tlvs = tlv_cursor(),
            .lists = {vell_oifs, mti_oifs, glt_oifs},
            .scratch = bytes(vell_mrib_buf, vell_mrib_buf + 128),
            .ltl_request = std::move(request_bytes),
            .ltl_release = bytes(release, release + sizeof ltl_dealloc)};
}
