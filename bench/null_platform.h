// The platform as light as can be, the same for every version: calls succeed and do nothing, unless
// they are being recorded.
#pragma once

#include <nerb.h>

#include <cstddef>
#include <cstdint>

namespace bench::null_platform {

// Whether the event history takes messages.
extern bool history_open;

// What the LTL manager's answers say: the number of entries, and words for them.
inline constexpr std::uint32_t most_answer_entries = 4095;
extern std::uint32_t answer_entries;
extern nerb_rsp_info answer[most_answer_entries];

// Whether calls are being added to the checksum.
extern bool recording;

// From here on, every call adds its arguments and the bytes they point to, until the checksum is
// taken.
void start_recording();
std::uint64_t checksum();

// Adds what a version hands to its caller.
void record(const void *bytes, std::size_t size);

} // namespace bench::null_platform
