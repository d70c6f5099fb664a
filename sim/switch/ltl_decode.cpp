#include "sim/switch/byte_reader.h"
#include "sim/switch/ltl.h"
#include "sim/wire/frame.h"

#include <algorithm>
#include <limits>
#include <string_view>

namespace sim {

namespace {

constexpr std::size_t word_size = sizeof(std::uint32_t);

// More would not fit into one answer. A request of as many could not be answered, and so must not
// be carried out.
constexpr std::size_t most_entries = (frame_max_payload - nerb_answer_head_size) / nerb_info_size;

// An entry's own count has 16 bits where libnerb reads it.
constexpr std::uint32_t most_interfaces = std::numeric_limits<std::uint16_t>::max();

// What a message lists, and its field that says how many.
struct list_name {
    std::string_view items;
    std::string_view count_field;
};
constexpr list_name entries_list = {"entries", "number of entries"};
constexpr list_name interfaces_list = {"interfaces", "number of interfaces"};
constexpr list_name vlans_list = {"VLANs", "number of VLANs"};
constexpr list_name updates_list = {"updates", "number of updates"};

// Each item takes `least` bytes or more, so that a count never makes the switch set aside more than
// was sent.
std::uint32_t read_count(byte_reader &reader, const list_name &list, std::size_t least) {
    const std::size_t offset = reader.offset();
    const std::uint32_t count = reader.u32(list.count_field);
    if (count > reader.left() / least) {
        refuse_at(offset, "{} {} take {} bytes or more, the message has {} left after their number",
                  count, list.items, std::uint64_t{count} * least, reader.left());
    }
    return count;
}

void require_end(const byte_reader &reader, std::size_t count, const list_name &list) {
    if (reader.left() > 0) {
        refuse_at(reader.offset(), "{} bytes follow the last of {} {}", reader.left(), count,
                  list.items);
    }
}

ltl_keys read_keys(byte_reader &reader) {
    const std::uint32_t first = reader.u32("key word 1");
    return {first, reader.u32("key word 2")};
}

ltl_entry read_ltl_entry(byte_reader &reader) {
    ltl_entry entry{.keys = read_keys(reader)};
    const std::size_t offset = reader.offset();
    const std::uint32_t count = read_count(reader, interfaces_list, word_size);
    if (count > most_interfaces) {
        refuse_at(offset, "{} interfaces, an entry has at most {}", count, most_interfaces);
    }
    entry.interfaces.resize(count);
    std::ranges::generate(entry.interfaces, [&reader] { return reader.u32("interface index"); });
    return entry;
}

ltl_keys read_release(byte_reader &reader) {
    const ltl_keys keys = read_keys(reader);
    reader.skip(word_size, "third word");
    return keys;
}

flood_update read_flood_update(byte_reader &reader) {
    flood_update update{.vlan = reader.u32("VLAN id")};
    reader.skip(2 * word_size, "reserved");
    update.line_card_mask = reader.u32("line-card mask");
    reader.skip(word_size, "reserved");
    update.updates.resize(read_count(reader, updates_list, 2 * word_size));
    for (interface_update &one : update.updates) {
        one.if_index = reader.u32("interface index");
        one.operation = reader.u32("operation");
    }
    return update;
}

// A cookie or context, and entries of `least` bytes or more to the message's end.
template <typename Entry>
ltl_request<Entry> read_request(std::span<const std::byte> message, const list_name &list,
                                std::size_t least, Entry (*read)(byte_reader &reader)) {
    byte_reader reader(message);
    ltl_request<Entry> decoded{.cookie = reader.u32("cookie or context")};
    const std::size_t offset = reader.offset();
    const std::uint32_t count = read_count(reader, list, least);
    if (count > most_entries) {
        refuse_at(offset,
                  "the answer to {} {} would be longer than a message may be, it has room for {}",
                  count, list.items, most_entries);
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        decoded.entries.push_back(read(reader));
    }
    require_end(reader, count, list);
    return decoded;
}

std::uint32_t overall_status(const ltl_answer &answer) {
    if (answer.opcode != NERB_SIM_OPCODE_FLOOD_UPDATE && answer.results.size() == 1) {
        return answer.results.front().status;
    }
    const auto is_done = [](const ltl_result &result) { return result.status == NERB_SIM_DONE; };
    return std::ranges::all_of(answer.results, is_done) ? 0 : 1;
}

} // namespace

ltl_request<ltl_entry> decode_ltl_request(std::span<const std::byte> message) {
    return read_request(message, entries_list, 3 * word_size, read_ltl_entry);
}

ltl_request<ltl_keys> decode_ltl_release(std::span<const std::byte> message) {
    return read_request(message, entries_list, 3 * word_size, read_release);
}

ltl_request<flood_update> decode_flood_request(std::span<const std::byte> message) {
    return read_request(message, vlans_list, 6 * word_size, read_flood_update);
}

std::vector<std::byte> encode_ltl_answer(const ltl_answer &answer) {
    const nerb_answer_kind *kind = find_nerb_answer_kind(answer.opcode);
    std::vector<std::uint32_t> words = {kind == nullptr ? 0 : kind->kind, overall_status(answer),
                                        answer.cookie,
                                        static_cast<std::uint32_t>(answer.results.size())};
    words.reserve((nerb_answer_head_size + answer.results.size() * nerb_info_size) / word_size);
    for (const ltl_result &result : answer.results) {
        words.insert(words.end(), result.words.begin(), result.words.end());
        words.push_back(result.status);
    }
    const auto bytes = std::as_bytes(std::span(words));
    return {bytes.begin(), bytes.end()};
}

} // namespace sim
