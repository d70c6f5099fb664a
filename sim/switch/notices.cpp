#include "sim/switch/notices.h"

#include "sim/switch/byte_reader.h"
#include "sim/switch/limits.h"
#include "sim/switch/request.h"
#include "sim/wire/log_line.h"
#include "sim/wire/protocol.h"

#include <algorithm>
#include <cstdint>
#include <fmt/format.h>
#include <utility>

namespace sim {

namespace {

template <typename Item>
Item &add_to(std::deque<Item> &kept, Item added) {
    if (kept.size() == batches_kept) {
        kept.pop_front();
    }
    return kept.emplace_back(std::move(added));
}

constexpr std::size_t notice_size = 4;

void begin_batch(request &asked) {
    batch_table &batches = asked.vell.batches;
    if (asked.from.batch != 0) {
        batches.abandon(asked.from.batch);
        asked.vell.trace("{}: begin marker inside a batch: the batch ends without an end marker",
                         describe(asked.vell, asked.from));
    }
    asked.from.batch = batches.begin(name_sender(asked));
}

void end_batch(request &asked) {
    if (const batch_key open = std::exchange(asked.from.batch, 0); open != 0) {
        return asked.vell.batches.end(open);
    }
    asked.vell.batches.add_lone_end(name_sender(asked));
    asked.vell.trace("{}: end marker without a begin marker", describe(asked.vell, asked.from));
}

} // namespace

l2_batch &batch_table::add(const sender_name &from) {
    return add_to(batches_, l2_batch{.key = ++last_key_, .from = from});
}

l2_batch *batch_table::find(batch_key key) {
    const auto found = std::ranges::find(batches_, key, &l2_batch::key);
    return found == batches_.end() ? nullptr : &*found;
}

batch_key batch_table::begin(const sender_name &from) {
    l2_batch &begun = add(from);
    begun.begun = log_time_now();
    begun.open = true;
    return begun.key;
}

void batch_table::add_message(batch_key key, std::size_t records) {
    if (l2_batch *counted = find(key)) {
        ++counted->messages;
        counted->records += records;
    }
}

void batch_table::end(batch_key key) {
    if (l2_batch *ended = find(key)) {
        ended->ended = log_time_now();
        ended->open = false;
    }
}

void batch_table::abandon(batch_key key) {
    if (l2_batch *abandoned = find(key)) {
        abandoned->open = false;
    }
}

void batch_table::add_lone_end(const sender_name &from) {
    add(from).ended = log_time_now();
}

void batch_table::add_other(const sender_name &from, std::uint32_t marker) {
    add_to(others_, other_marker{from, marker, log_time_now()});
}

void handle_marker(request &asked) {
    require_length(asked.payload, notice_size);
    const std::uint32_t marker = byte_reader(asked.payload).u32("marker");
    switch (marker) {
    case VELL_SIM_MARKER_BEGIN:
        return begin_batch(asked);
    case VELL_SIM_MARKER_END:
        return end_batch(asked);
    default:
        asked.vell.batches.add_other(name_sender(asked), marker);
    }
}

void handle_download_complete(request &asked) {
    require_length(asked.payload, notice_size);
    if (const std::uint32_t value = byte_reader(asked.payload).u32("value"); value != 0) {
        refuse_at(0, "value is {}, it must be 0", value);
    }
    ++require_registered(asked).downloads_complete;
}

ipv6_notice decode_ipv6_notice(std::span<const std::byte> message) {
    require_length(message, 16);
    byte_reader reader(message);
    ipv6_notice decoded;
    decoded.client_id = reader.u8("client id");
    reader.skip(1, "reserved");
    decoded.third = reader.u16("third value");
    reader.skip(4, "reserved");
    decoded.first = reader.u32("first value");
    decoded.second = reader.u32("second value");
    return decoded;
}

void handle_ipv6_notice(request &asked) {
    const ipv6_notice notice = decode_ipv6_notice(asked.payload);
    client &sender = require_client(asked, notice.client_id);
    ++sender.ipv6_notices;
    sender.last_ipv6_notice = {notice.first, notice.second, notice.third};
}

} // namespace sim
