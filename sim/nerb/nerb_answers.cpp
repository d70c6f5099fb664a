// The LTL manager's answers, read from the messages that carry them.
#include "sim/wire/nerb_messages.h"

#include <kyt_sim.h>
#include <nerb.h>
#include <nerb_sim.h>

#include <cstddef>
#include <cstring>
#include <limits>
#include <optional>

namespace sim {

namespace {

static_assert(sizeof(nerb_rsp_info) == nerb_info_size);

// A message, with the payload that is its answer.
struct received_answer {
    nerb_sim_answer head;
    const std::byte *infos;
};

// Nothing when the message is not an answer of the manager.
std::optional<received_answer> read_answer(const void *rsp) {
    const auto *message = static_cast<const kyt_sim_message *>(rsp);
    const std::uint32_t length = kyt_sim_message_length(message);
    if (kyt_sim_message_sap(message) != NERB_SIM_SAP || length < nerb_answer_head_size)
        return std::nullopt;
    // kyt_payload_get takes the message as its receiver has it; nothing is written.
    const auto *payload = static_cast<const std::byte *>(kyt_payload_get(const_cast<void *>(rsp)));
    received_answer received{{}, payload + nerb_answer_head_size};
    std::memcpy(&received.head, payload, sizeof received.head);
    const std::uint64_t needed =
        nerb_answer_head_size + std::uint64_t{received.head.entry_count} * nerb_info_size;
    const nerb_answer_kind *expected = find_nerb_answer_kind(kyt_sim_message_opcode(message));
    const bool right_kind = expected != nullptr && received.head.kind == expected->kind;
    return right_kind && length == needed ? std::optional(received) : std::nullopt;
}

// An answer to anything but an allocation.
std::optional<received_answer> read_general(const void *rsp) {
    const auto received = read_answer(rsp);
    return received && received->head.kind != NERB_SIM_KIND_ALLOCATION ? received : std::nullopt;
}

std::optional<received_answer> read_allocation(const void *rsp, std::uint32_t kind) {
    const auto received = read_answer(rsp);
    return received && kind == NERB_SIM_KIND_ALLOCATION && received->head.kind == kind
               ? received
               : std::nullopt;
}

} // namespace

} // namespace sim

uint32_t nerb_parse_rsp_status(const void *rsp, uint32_t *status) {
    const auto received = sim::read_general(rsp);
    if (!received)
        return NERB_SIM_NO_ANSWER;
    *status = received->head.status;
    return NERB_SIM_READ;
}

uint32_t nerb_parse_rsp_get_entry_count(const void *rsp, uint32_t *count) {
    const auto received = sim::read_general(rsp);
    if (!received)
        return NERB_SIM_NO_ANSWER;
    *count = received->head.entry_count;
    return NERB_SIM_READ;
}

uint32_t nerb_parse_rsp_get_rsp_info(const void *rsp, uint32_t count, nerb_rsp_info *info) {
    const auto received = sim::read_general(rsp);
    if (!received)
        return NERB_SIM_NO_ANSWER;
    if (count > received->head.entry_count)
        return NERB_SIM_NOT_SO_MANY;
    if (count > 0)
        std::memcpy(info, received->infos, count * sizeof *info);
    return NERB_SIM_READ;
}

uint32_t nerb_parse_alloc_ltl_get_entry_count(const void *rsp, uint32_t *status, uint32_t kind,
                                              uint16_t *count) {
    const auto received = sim::read_allocation(rsp, kind);
    // A request cannot have had more entries than its own 16-bit count says.
    if (!received || received->head.entry_count > std::numeric_limits<std::uint16_t>::max())
        return NERB_SIM_NO_ANSWER;
    *status = received->head.status;
    *count = static_cast<std::uint16_t>(received->head.entry_count);
    return NERB_SIM_READ;
}

uint32_t nerb_parse_alloc_ltl_rsp_parm(const void *rsp, uint32_t *status, uint32_t kind,
                                       nerb_alloc_ltl_rsp_parm *parm) {
    const auto received = sim::read_allocation(rsp, kind);
    if (!received)
        return NERB_SIM_NO_ANSWER;
    if (received->head.entry_count == 0)
        return NERB_SIM_NOT_SO_MANY;
    *status = received->head.status;
    // The parameters are the first three words of the entry's information.
    std::memcpy(parm, received->infos, sizeof *parm);
    return NERB_SIM_READ;
}

const char *nerb_sim_status_name(uint32_t status) {
    return sim::nerb_status_name(status);
}

int nerb_sim_answer_head(const void *rsp, nerb_sim_answer *head) {
    const auto received = sim::read_answer(rsp);
    if (!received)
        return NERB_SIM_NO_ANSWER;
    *head = received->head;
    return NERB_SIM_READ;
}

int nerb_sim_answer_entry(const void *rsp, uint32_t number, uint32_t words[4]) {
    const auto received = sim::read_answer(rsp);
    if (!received)
        return NERB_SIM_NO_ANSWER;
    if (number >= received->head.entry_count)
        return NERB_SIM_NOT_SO_MANY;
    std::memcpy(words, received->infos + std::size_t{number} * sim::nerb_info_size,
                sim::nerb_info_size);
    return NERB_SIM_READ;
}
