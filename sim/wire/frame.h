// What travels over the simulator's Unix stream sockets: frames, each a fixed head and a payload.
//
// All words are in host byte order; both ends are on one machine. A frame whose magic is wrong
// cannot be skipped, since nothing says where the next one starts: the connection is closed.
#pragma once

#include <cstdint>
#include <type_traits>

namespace sim {

inline constexpr std::uint32_t frame_magic = 0x3154594b; // "KYT1"
inline constexpr std::uint32_t frame_max_payload = 16u << 20;
inline constexpr std::uint32_t send_option_words = 19;

enum class frame_kind : std::uint32_t {
    request = 1,  // a client's kyt_send
    message = 2,  // what the switch sends to a client's queue
    question = 3, // what vellsim's commands ask a running switch, in JSON
    answer = 4,   // a piece of the answer; of a refusal when the opcode is not 0
    closing = 5,  // the switch closes the connection; the payload says why
};

struct frame_head {
    std::uint32_t magic;
    frame_kind kind;
    std::uint32_t length; // of the payload that follows
    std::uint32_t node;
    std::uint32_t sap;
    std::uint32_t opcode;
    std::uint32_t flags;
    std::uint32_t options[send_option_words];
};
static_assert(sizeof(frame_head) == 104 && std::has_unique_object_representations_v<frame_head>);

// The socket of the vell service, inside the run directory.
inline constexpr char service_socket[] = "vell.sock";

} // namespace sim
