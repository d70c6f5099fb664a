#include "sim/switch/notices.h"

#include "sim/switch/byte_reader.h"
#include "sim/switch/limits.h"
#include "sim/switch/request.h"
#include "sim/wire/log_file.h"
#include "sim/wire/protocol.h"

#include <algorithm>
#include <cstdint>
#include <type_traits>
#include <utility>

namespace sim {

namespace {

template <typename Item>
Item &add_to(std::deque<Item> &kept, std::type_identity_t<Item> added) {
    if (kept.size() == batches_kept) {
        kept.pop_front();
    }
    return kept.emplace_back(std::move(added));
}

constexpr std::size_t notice_size = 4;

l2_batch &add_batch(request &asked) {
    batch_table &table = asked.vell.batches;
    return add_to(table.batches, {.key = ++table.last_key, .from = name_sender(asked)});
}

void begin_batch(request &asked) {
    if (asked.from.batch != 0) {
        asked.vell.batches.abandon(asked.from.batch);
        asked.vell.trace("{}: begin marker inside a batch: the batch ends without an end marker",
                         describe(asked.vell, asked.from));
    }
    l2_batch &begun = add_batch(asked);
    begun.begun = log_time_now();
    begun.open = true;
    asked.from.batch = begun.key;
}

void end_batch(request &asked) {
    const batch_key open = std::exchange(asked.from.batch, 0);
    if (open == 0) {
        add_batch(asked).ended = log_time_now();
        asked.vell.trace("{}: end marker without a begin marker", describe(asked.vell, asked.from));
    } else if (l2_batch *ended = asked.vell.batches.find(open)) {
        ended->ended = log_time_now();
        ended->open = false;
    }
}

} // namespace

l2_batch *batch_table::find(batch_key key) {
    const auto found = std::ranges::find(batches, key, &l2_batch::key);
    return found == batches.end() ? nullptr : &*found;
}

void batch_table::abandon(batch_key key) {
    if (l2_batch *abandoned = find(key)) {
        abandoned->open = false;
    }
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
        add_to(asked.vell.batches.others, {name_sender(asked), marker, log_time_now()});
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
