// What a layer-2 message does to the tables.
#include "sim/switch/l2_decode.h"
#include "sim/switch/l2_tables.h"
#include "sim/switch/request.h"

#include <cstdint>
#include <fmt/format.h>

namespace sim {

namespace {

// A message can hold 65535 deletes; the log gets the first few one by one and a line for the rest.
constexpr std::uint64_t missed_deletes_logged = 8;

void check_client_id(const request &asked, std::uint8_t id) {
    if (id != 0) {
        require_client(asked, id);
    }
}

void log_missed_delete(request &asked, const l2_record &record) {
    const char *missing =
        asked.vell.l2.entries.contains(key_of(record)) ? "no such port" : "no such entry or port";
    asked.vell.log(log_level_trace,
                   fmt::format("{}: delete of {}: {}", describe(asked.vell, asked.from),
                               key_text(key_of(record)), missing));
}

void apply(request &asked, const l2_message &message) {
    const sender_name from = name_sender(asked);
    std::uint64_t missed = 0;
    for (const l2_record &record : message.records) {
        if (!apply_l2_record(asked.vell.l2, record, from) && ++missed <= missed_deletes_logged) {
            log_missed_delete(asked, record);
        }
    }
    if (missed > missed_deletes_logged) {
        asked.vell.log(
            log_level_trace,
            fmt::format("{}: {} more deletes of absent layer-2 entries in the same message",
                        describe(asked.vell, asked.from), missed - missed_deletes_logged));
    }
    if (client *sender = asked.vell.clients.find(asked.from.client_of)) {
        sender->missed_deletes += missed;
    }
}

} // namespace

void handle_l2_message(request &asked) {
    require_option_word_1(asked, 1);
    const l2_message message = decode_l2_message(asked.payload);
    check_client_id(asked, message.client_id);
    apply(asked, message);
    asked.vell.batches.add_message(asked.from.batch, message.records.size());
}

} // namespace sim
