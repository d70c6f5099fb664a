// Records sent through a batch of messages.
#pragma once

#include "counted.h"
#include "input_error.h"

#include <fmt/format.h>

namespace feed {

// Adds each record and sends what is left. Throws session_error with how far it came. `one` is what
// a record is.
template <typename Records, typename Messages>
void send_all(const Records &records, Messages &messages, const char *one) {
    bool sent = true;
    for (auto record = records.begin(); sent && record != records.end(); ++record)
        sent = messages.add(*record);
    if (sent && messages.finish())
        return;
    throw session_error(fmt::format(
        "message {} could not be sent: the switch went away; {} of {} in {} went out before",
        messages.messages_sent() + 1, messages.records_sent(), counted(records.size(), one),
        counted(messages.messages_sent(), "message")));
}

} // namespace feed
