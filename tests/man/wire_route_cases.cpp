// Route messages and what they consist of, with the simulator's TLV arrays.
#include "tests/man/wire_cases.h"
#include "tests/man/wire_page.h"

#include <kyt.h>
#include <vell.h>

#include <algorithm>
#include <gtest/gtest.h>

namespace wire {

namespace {

constexpr std::uint32_t head_size = sizeof(vell_mrib_message);
constexpr std::uint32_t route_size = sizeof(vell_mrib_route);

// One route that is filled by a function, in a message; returns what was sent after the message's
// head.
template <typename FillRoute>
bytes sent_route(FillRoute fill_route) {
    bytes message(1024);
    auto *route = reinterpret_cast<vell_mrib_route *>(message.data() + head_size);
    fill_route(route);
    kyt_msg_ref reference;
    vell_send_v4_mroute_update(message.data(), head_size + vell_mrib_get_route_size(route), 1, 0,
                               &reference);
    const bytes sent = sent_payload();
    return part(sent, head_size, sent.size() - head_size);
}

// The TLVs of a route that is filled by a function, after the array's head.
template <typename FillRoute>
bytes sent_tlvs(FillRoute fill_route) {
    const bytes sent = sent_route(fill_route);
    const std::size_t at = route_size + size_of(drawing("TLV array"));
    return part(sent, at, sent.size() - at);
}

// The first entry of a route's one list.
template <typename FillRoute>
bytes sent_entry(const std::string &section, FillRoute fill_route) {
    const std::size_t at = size_of(drawing("TLV"));
    return part(sent_tlvs(fill_route), at, size_of(drawing(section)));
}

Found route_message(Numbers &numbers) {
    auto message = filled<vell_mrib_message>();
    const bytes before = bytes_of(message);
    const std::uint16_t count = numbers.half(), marker = numbers.half();
    kyt_msg_ref reference;
    vell_send_v4_mroute_update(&message, sizeof message, count, marker, &reference);
    return {sent_payload(),
            {{"client id", client_id},
             {"reserved", Fill{fill}},
             {"route count", count},
             {"marker", marker}},
            before};
}

Found route_record(Numbers &numbers) {
    auto route = filled<vell_mrib_route>();
    std::map<std::string, Value> values = {{"reserved", Fill{fill}}};
    const auto word = [&](const char *name) {
        const std::uint32_t drawn = numbers.word();
        values[name] = drawn;
        return drawn;
    };
    const auto byte = [&](const char *name) {
        const std::uint8_t drawn = numbers.byte();
        values[name] = drawn;
        return drawn;
    };
    const std::uint64_t flags = std::uint64_t{numbers.word()} << 32 | numbers.word();
    values["flags"] = flags;
    vell_mrib_set_flags(&route, flags);
    vell_mrib_set_opcode(&route, byte("opcode"));
    vell_mrib_set_source(&route, word("source"), byte("source length"));
    vell_mrib_set_group(&route, word("group"), byte("group length"));
    vell_mrib_set_epoch(&route, word("epoch"));
    vell_mrib_set_rpfif(&route, word("RPF interface"));
    vell_mrib_set_df_ordinal(&route, byte("DF ordinal"));
    vell_mrib_set_table_id(&route, word("table id"));
    const bytes sent = sent_route([&](vell_mrib_route *to) { *to = route; });
    return {part(sent, 0, route_size), values, bytes_of(route)};
}

// Two lists: two MTI encapsulations and an outgoing interface.
void add_two_lists(vell_mrib_route *route) {
    vell_mrib_add_mti_encap_begin();
    vell_mrib_add_mti_encap(1, 2, 3, 4);
    vell_mrib_add_mti_encap(1, 2, 3, 4);
    vell_mrib_add_mti_encap_end(route);
    vell_mrib_add_oifs_begin();
    vell_mrib_add_reg_oif(5);
    vell_mrib_add_oifs_end(route);
}

Found tlv_array(Numbers &) {
    const bytes sent = sent_route(add_two_lists);
    const std::size_t tlvs = sent.size() - route_size - 4;
    return {
        part(sent, route_size, 4), {{"TLV count", 2u}, {"word count", tlvs / 4}}, {}, "platform"};
}

Found tlv(Numbers &) {
    const std::size_t length = 4 + 2 * sizeof(vell_mti_entry);
    const bytes sent = sent_tlvs(add_two_lists);
    EXPECT_EQ(part(sent, 4 + length, 8), hex("00 00 0c 00 01 00 00 00"))
        << "the second TLV is of type 0, and follows the first at once";
    return {part(sent, 0, size_of(drawing("TLV"))),
            {{"TLV type", 1u}, {"length", length}, {"entry count", 2u}}};
}

Found oif_entry(Numbers &numbers) {
    const std::uint32_t if_index = numbers.word();
    return {sent_entry("OIF entry",
                       [&](vell_mrib_route *route) {
                           vell_mrib_add_oifs_begin();
                           vell_mrib_add_dux_bidir_rpf_duxsvi_oif(if_index);
                           vell_mrib_add_oifs_end(route);
                       }),
            {{"if index", if_index}, {"kind", 12u}}};
}

Found mti_entry(Numbers &numbers) {
    const std::uint32_t words[] = {numbers.word(), numbers.word(), numbers.word(), numbers.word()};
    return {
        sent_entry("MTI entry",
                   [&](vell_mrib_route *route) {
                       vell_mrib_add_mti_encap_begin();
                       vell_mrib_add_mti_encap(words[0], words[1], words[2], words[3]);
                       vell_mrib_add_mti_encap_end(route);
                   }),
        {{"word 0", words[0]}, {"word 1", words[1]}, {"word 2", words[2]}, {"word 3", words[3]}}};
}

Found glt_entry(Numbers &numbers) {
    const std::uint32_t words[] = {numbers.word(), numbers.word(), numbers.word(), numbers.word()};
    const std::uint32_t last = numbers.word();
    const bytes data = numbers.some(1 + numbers.byte() % VELL_GLT_DATA_MAX);
    const auto length = static_cast<std::uint32_t>(data.size());
    std::fill_n(vell_mrib_buf, sizeof vell_mrib_buf, std::uint8_t{0});
    return {sent_entry("GLT entry",
                       [&](vell_mrib_route *route) {
                           vell_mrib_add_glt_encap_begin();
                           vell_mrib_add_glt_encap(words[0], words[1], words[2], words[3],
                                                   data.data(), length, last);
                           vell_mrib_add_glt_encap_end(route);
                       }),
            {{"word 0", words[0]},
             {"word 1", words[1]},
             {"word 2", words[2]},
             {"word 3", words[3]},
             {"data", zero_padded(data, VELL_GLT_DATA_MAX)},
             {"data length", length},
             {"last word", last}}};
}

Found dux_role(Numbers &numbers) {
    static constexpr std::uint32_t flags[] = {0, 1 << 18, 1 << 19, 1 << 20, 1 << 25};
    const std::uint32_t role = numbers.byte() % 5;
    vell_mrib_send_dux_role_update(role);
    return {sent_payload(),
            {{"client id", client_id},
             {"reserved", Fill{0}},
             {"route count", 1u},
             {"marker", 0x5aa5u},
             {"opcode", 23u},
             {"flags", flags[role]}}};
}

} // namespace

const std::vector<Case> route_cases = {
    {"Route message", "vell_send_v4_mroute_update", route_message},
    {"Route record", nullptr, route_record},
    {"TLV array", nullptr, tlv_array},
    {"TLV", nullptr, tlv},
    {"OIF entry", nullptr, oif_entry},
    {"MTI entry", nullptr, mti_entry},
    {"GLT entry", nullptr, glt_entry},
    {"Dux role update", "vell_mrib_send_dux_role_update", dux_role},
};

} // namespace wire
