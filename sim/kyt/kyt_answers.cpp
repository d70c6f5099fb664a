// The service's answers, read from the messages that carry them.
#include "sim/wire/protocol.h"
#include "sim/wire/vell_sim.h"

#include <kyt_sim.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>

static_assert(sizeof(vell_sim_registration) == 2 && sizeof(vell_sim_stats) == 72 &&
              offsetof(vell_sim_stats, cleared) == 44 && offsetof(vell_sim_stats, packets) == 48);

namespace {

template <class Answer>
int read_answer(const kyt_sim_message *message, std::uint32_t sap,
                std::initializer_list<std::uint32_t> opcodes, Answer *answer) {
    if (answer == nullptr || kyt_sim_message_sap(message) != sap ||
        kyt_sim_message_length(message) != sizeof *answer)
        return VELL_SIM_NO_ANSWER;
    for (const std::uint32_t opcode : opcodes) {
        if (kyt_sim_message_opcode(message) != opcode)
            continue;
        // kyt_payload_get takes the message as its receiver has it; nothing is written.
        std::memcpy(answer, kyt_payload_get(const_cast<kyt_sim_message *>(message)),
                    sizeof *answer);
        return VELL_SIM_READ;
    }
    return VELL_SIM_NO_ANSWER;
}

} // namespace

int vell_sim_registration_answer(const kyt_sim_message *message,
                                 struct vell_sim_registration *answer) {
    return read_answer(message, VELL_SIM_SAP_REGISTRATION, {VELL_SIM_OPCODE_REGISTER}, answer);
}

int vell_sim_stats_answer(const kyt_sim_message *message, struct vell_sim_stats *answer) {
    return read_answer(message, VELL_SIM_SAP_ROUTES,
                       {VELL_SIM_OPCODE_IPV4_STATS, VELL_SIM_OPCODE_IPV4_CLEAR,
                        VELL_SIM_OPCODE_IPV6_STATS, VELL_SIM_OPCODE_IPV6_CLEAR},
                       answer);
}
