// The notifications around layer-2 messages.
//
//   out-of-band marker   4 bytes: u32 marker
//   download complete    4 bytes: u32 0
#include "sim/switch/byte_reader.h"
#include "sim/switch/request.h"
#include "sim/wire/protocol.h"

#include <cstdint>
#include <fmt/format.h>
#include <utility>

namespace sim {

namespace {

constexpr std::size_t notice_size = 4;

void begin_batch(request &asked) {
    batch_table &batches = asked.vell.batches;
    if (asked.from.batch != 0) {
        batches.abandon(asked.from.batch);
        asked.vell.log(
            log_level_trace,
            fmt::format("{}: begin marker inside a batch: the batch ends without an end marker",
                        describe(asked.vell, asked.from)));
    }
    asked.from.batch = batches.begin(name_sender(asked));
}

void end_batch(request &asked) {
    if (const batch_key open = std::exchange(asked.from.batch, 0); open != 0) {
        return asked.vell.batches.end(open);
    }
    asked.vell.batches.add_lone_end(name_sender(asked));
    asked.vell.log(log_level_trace, fmt::format("{}: end marker without a begin marker",
                                                describe(asked.vell, asked.from)));
}

} // namespace

void handle_marker(request &asked) {
    require_option_word_1(asked, 0);
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
    require_option_word_1(asked, 0);
    require_length(asked.payload, notice_size);
    if (const std::uint32_t value = byte_reader(asked.payload).u32("value"); value != 0) {
        refuse_at(0, "value is {}, it must be 0", value);
    }
    ++require_registered(asked).downloads_complete;
}

} // namespace sim
