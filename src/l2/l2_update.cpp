#include "client/byte_order.h"
#include "client/client_state.h"
#include "client/log.h"
#include "client/transport.h"
#include "l2/igmp_notifications.h"
#include "l2/l2_records.h"

#include <kyt.h>
#include <vell.h>

#include <cstddef>
#include <cstdint>

namespace vell {

namespace {

constexpr char l2_sender[] = "vell_send_l2_mc_update";

static_assert(sizeof(vell_l2_message) == 8 && alignof(vell_l2_message) == 1);
static_assert(offsetof(vell_l2_message, count) == 2 && offsetof(vell_l2_message, value) == 4 &&
              offsetof(vell_l2_message, flags) == 6);

// What was sent, as far as it is worth a trace.
void trace_record(std::uint8_t type) {
    switch (type) {
    case vell_l2_lookup_mode:
        vell_log(log_trace, l2_sender, 486, "%s(%d):TRACE: Send lkup mode change\n");
        break;
    case vell_l2_mbd_add:
    case vell_l2_mbd_delete:
        vell_log(log_trace, l2_sender, 478, "%s(%d):TRACE: Send VELL_OP_ADD/DEL_L2_MBD update\n");
        break;
    }
}

// Converts `count` records. One that cannot be converted takes over the length of the one before
// it, so that the walk goes on from there by that much; the first one's is 0, and the walk stays
// where it is.
void convert_records(std::uint8_t *first, std::uint16_t count) {
    std::uint32_t length = 0;
    // A number, not a pointer: behind the last record it may say any address.
    auto at = reinterpret_cast<std::uintptr_t>(first);
    for (; count != 0; --count, at += length) {
        auto *const record = reinterpret_cast<vell_l2_record *>(at);
        if (const l2_conversion convert = l2_conversion_of(record->type)) {
            length = convert(reinterpret_cast<std::uint8_t *>(at));
            trace_record(record->type);
        }
        record->length = length; // in host order, unlike everything else
    }
}

} // namespace

} // namespace vell

using namespace vell;

int vell_send_l2_mc_update(std::uint8_t *buffer, std::uint32_t length, std::uint16_t count,
                           std::uint16_t value, std::uint32_t msg_ref) {
    if (vell_client_q == 0) {
        vell_log(log_error, l2_sender, 422, "%s(%d):ERROR: Client not registered\n");
        return 0;
    }

    auto *const message = reinterpret_cast<vell_l2_message *>(buffer);
    message->count = swapped(count);
    message->value = swapped(value);
    message->client_id = vell_client_id;
    const std::uint16_t flags = message->flags;
    if ((flags & vell_l2_begin_marker) != 0) {
        send_oob_marker(oob_begin_marker);
        vell_log(log_trace, l2_sender, 436, "%s(%d):TRACE: Sent OOB begin marker\n");
    }
    message->flags = swapped(flags);

    convert_records(buffer + sizeof(*message), count);

    if (!send_request(request::l2_update, vell_client_q, buffer, length,
                      reinterpret_cast<kyt_msg_ref *>(msg_ref)))
        return 0;
    if ((flags & vell_l2_end_marker) != 0) {
        send_oob_marker(oob_end_marker);
        vell_log(log_trace, l2_sender, 514, "%s(%d):TRACE: Sent OOB end marker\n");
    }
    return 1;
}
