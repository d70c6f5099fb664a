// Layer-2 messages: what the caller builds, and what is left of it once it is converted.
#include "tests/man/wire_cases.h"
#include "tests/man/wire_page.h"

#include <kyt.h>
#include <vell.h>

#include <cstddef>

namespace wire {

void send_l2_message(bytes &message, std::uint16_t count, std::uint16_t value) {
    kyt_msg_ref reference;
    const auto address = reinterpret_cast<std::uintptr_t>(&reference);
    vell_send_l2_mc_update(message.data(), static_cast<std::uint32_t>(message.size()), count, value,
                           static_cast<std::uint32_t>(address));
}

namespace {

// What was sent of a message with one record, after the message's head.
bytes sent_record(const bytes &record) {
    auto head = filled<vell_l2_message>();
    head.flags = 0;
    bytes message = bytes_of(head) + record;
    send_l2_message(message, 1, 0);
    return part(sent_payload(), sizeof head, record.size());
}

Found l2_message(Numbers &numbers) {
    auto head = filled<vell_l2_message>();
    // Asks for no marker.
    const auto flags = static_cast<std::uint16_t>(numbers.half() & ~3);
    head.flags = flags;
    const bytes before = bytes_of(head);
    const std::uint16_t count = numbers.byte(), value = numbers.half();
    // Records without entries.
    bytes message = before + bytes(VELL_L2_RECORD_BYTES * std::size_t{count});
    send_l2_message(message, count, value);
    return {part(sent_payload(), 0, sizeof head),
            {{"client id", client_id},
             {"reserved", Fill{fill}},
             {"record count", count},
             {"value", value},
             {"flags", flags}},
            before};
}

// A record of one entry, and the fields that every record has.
template <typename Record>
struct OneRecord {
    Record record = filled<Record>();
    std::map<std::string, Value> values = {{"reserved", Fill{fill}}, {"entry count", 1u}};

    // Of one of two types.
    OneRecord(Numbers &numbers, std::uint8_t first_type, std::uint8_t last_type) {
        const std::uint8_t type = numbers.byte() % 2 != 0 ? first_type : last_type;
        record.head.type = type;
        record.count = 1;
        values["type"] = type;
    }

    // A number for the field of that name.
    std::uint32_t word(Numbers &numbers, const std::string &name) {
        const std::uint32_t drawn = numbers.word();
        values[name] = drawn;
        return drawn;
    }

    // `entry_size` is that of its entry.
    Found sent(std::size_t entry_size) {
        values["length"] = VELL_L2_RECORD_BYTES + entry_size;
        const bytes whole = sent_record(zero_padded(bytes_of(record), 80 + entry_size));
        return {part(whole, 0, sizeof record), values, bytes_of(record)};
    }
};

Found pairs_record(Numbers &numbers) {
    OneRecord<vell_l2_pairs_record> one(numbers, 8, 9);
    one.record.word0 = one.word(numbers, "word 0");
    one.record.word1 = one.word(numbers, "word 1");
    return one.sent(sizeof(vell_l2_pair));
}

Found bare_pairs_record(Numbers &numbers) {
    return OneRecord<vell_l2_bare_pairs_record>(numbers, 10, 11).sent(sizeof(vell_l2_pair));
}

Found lookup_mode_record(Numbers &numbers) {
    OneRecord<vell_l2_lookup_mode_record> one(numbers, 18, 18);
    one.record.word = one.word(numbers, "word");
    return one.sent(sizeof(vell_l2_pair));
}

// The fields that both records with addresses have. The address family is unknown, so that the
// blocks remain as they are.
template <typename Record>
void fill_addresses(OneRecord<Record> &one, Numbers &numbers) {
    for (std::size_t i = 0; i < sizeof one.record.words / sizeof(std::uint32_t); ++i) {
        one.record.words[i] = one.word(numbers, "word " + std::to_string(i));
    }
    const std::uint16_t half = numbers.half();
    one.record.half = half;
    one.values["half"] = half;
    for (std::size_t i = 0; i < 2; ++i) {
        const bytes block = numbers.some(sizeof one.record.addresses[i]);
        std::memcpy(&one.record.addresses[i], block.data(), block.size());
        one.values["address " + std::to_string(i)] = block;
    }
}

Found vlan_record(Numbers &numbers) {
    OneRecord<vell_l2_vlan_record> one(numbers, 12, 15);
    fill_addresses(one, numbers);
    one.record.vlan = one.word(numbers, "VLAN");
    return one.sent(sizeof(vell_l2_oif));
}

Found mbd_record(Numbers &numbers) {
    OneRecord<vell_l2_mbd_record> one(numbers, 21, 22);
    fill_addresses(one, numbers);
    return one.sent(sizeof(vell_l2_oif));
}

// An MBD record of one entry, of which `part` is sent as `size` bytes from `offset` on.
Found part_of_mbd_record(const vell_l2_mbd_record &record, const vell_l2_oif &entry,
                         std::size_t offset, std::size_t size,
                         const std::map<std::string, Value> &values) {
    const bytes whole = zero_padded(bytes_of(record) + bytes_of(entry), 80 + sizeof entry);
    return {part(sent_record(whole), offset, size), values, part(whole, offset, size)};
}

vell_l2_mbd_record record_of_one_entry() {
    vell_l2_mbd_record record = {};
    record.head.type = vell_l2_mbd_add;
    record.count = 1;
    record.addresses[0].kind = vell_l2_address_ipv6;
    record.addresses[1].kind = vell_l2_address_ipv6;
    return record;
}

Found address_block(Numbers &numbers) {
    vell_l2_mbd_record record = record_of_one_entry();
    const bytes area = numbers.some(16);
    std::memcpy(record.addresses[1].area, area.data(), area.size());
    return part_of_mbd_record(record, {}, field("Records of type 21 and 22", "address 1").offset,
                              sizeof(vell_l2_address),
                              {{"address family", vell_l2_address_ipv6}, {"area", area}});
}

Found l2_oif_entry(Numbers &numbers) {
    vell_l2_oif entry = {};
    entry.kind = vell_l2_oif_ipv6;
    const std::uint32_t flags = numbers.word(), word0 = numbers.word(), word1 = numbers.word();
    entry.flags = flags;
    entry.words[0] = word0;
    entry.words[1] = word1;
    const bytes address = numbers.some(16);
    std::memcpy(entry.value.ipv6, address.data(), address.size());
    return part_of_mbd_record(record_of_one_entry(), entry,
                              size_of(drawing("Records of type 21 and 22")), sizeof entry,
                              {{"kind", vell_l2_oif_ipv6},
                               {"flags", flags},
                               {"word 0", word0},
                               {"word 1", word1},
                               {"value", address}});
}

Found pair_entry(Numbers &numbers) {
    vell_l2_pairs_record record = {};
    record.head.type = 8;
    record.count = 1;
    const std::uint32_t word0 = numbers.word(), word1 = numbers.word();
    const vell_l2_pair entry = {{word0, word1}};
    const bytes whole = zero_padded(bytes_of(record) + bytes_of(entry), 80 + sizeof entry);
    return {part(sent_record(whole), size_of(drawing("Records of type 8 and 9")), sizeof entry),
            {{"word 0", word0}, {"word 1", word1}},
            bytes_of(entry)};
}

} // namespace

const std::vector<Case> l2_cases = {
    {"Layer-2 message", "vell_send_l2_mc_update", l2_message},
    {"Records of type 8 and 9", nullptr, pairs_record},
    {"Records of type 10 and 11", nullptr, bare_pairs_record},
    {"Records of type 12 to 15", nullptr, vlan_record},
    {"Records of type 18", nullptr, lookup_mode_record},
    {"Records of type 21 and 22", nullptr, mbd_record},
    {"Address block", nullptr, address_block},
    {"Layer-2 OIF entry", nullptr, l2_oif_entry},
    {"Pair entry", nullptr, pair_entry},
};

} // namespace wire
