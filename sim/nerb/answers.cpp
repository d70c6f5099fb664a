// The LTL manager's answers, read from the messages that carry them.
#include "interface.h"
#include "nerb_messages.h"

#include <kyt_desk.h>

#include <cstddef>
#include <cstring>
#include <limits>
#include <optional>

namespace desk {

namespace {

enum status : std::uint32_t { ok = 0, no_answer = 1, not_so_many = 2 };

struct answer {
    std::uint32_t kind;
    std::uint32_t status;
    std::uint32_t cookie;
    std::uint32_t count;
};
static_assert(sizeof(answer) == nerb_answer_head_size && sizeof(nerb_rsp_info) == nerb_info_size);

// A message, with the payload that is its answer.
struct received_answer {
    answer head;
    const std::byte *infos;
};

// Nothing when the message is no answer of the manager's.
std::optional<received_answer> read_answer(const void *rsp) {
    const auto *message = static_cast<const kyt_desk_message *>(rsp);
    const std::uint32_t length = kyt_desk_message_length(message);
    if (kyt_desk_message_sap(message) != nerb_sap || length < sizeof(answer))
        return std::nullopt;
    // kyt_payload_get takes the message as its receiver has it; nothing is written.
    const auto *payload = static_cast<const std::byte *>(kyt_payload_get(const_cast<void *>(rsp)));
    received_answer received{{}, payload + sizeof(answer)};
    std::memcpy(&received.head, payload, sizeof received.head);
    const std::uint64_t needed = sizeof(answer) + std::uint64_t{received.head.count} * nerb_info_size;
    const nerb_answer_kind *expected = find_nerb_answer_kind(kyt_desk_message_opcode(message));
    const bool right_kind = expected != nullptr && received.head.kind == expected->kind;
    return right_kind && length == needed ? std::optional(received) : std::nullopt;
}

// An answer to anything but an allocation.
std::optional<received_answer> read_general(const void *rsp) {
    const auto received = read_answer(rsp);
    return received && received->head.kind != nerb_kind_allocation ? received : std::nullopt;
}

std::optional<received_answer> read_allocation(const void *rsp, std::uint32_t kind) {
    const auto received = read_answer(rsp);
    return received && kind == nerb_kind_allocation && received->head.kind == kind ? received : std::nullopt;
}

} // namespace

} // namespace desk

uint32_t nerb_parse_rsp_status(const void *rsp, uint32_t *status) {
    const auto received = desk::read_general(rsp);
    if (!received)
        return desk::no_answer;
    *status = received->head.status;
    return desk::ok;
}

uint32_t nerb_parse_rsp_get_entry_count(const void *rsp, uint32_t *count) {
    const auto received = desk::read_general(rsp);
    if (!received)
        return desk::no_answer;
    *count = received->head.count;
    return desk::ok;
}

uint32_t nerb_parse_rsp_get_rsp_info(const void *rsp, uint32_t count, nerb_rsp_info *info) {
    const auto received = desk::read_general(rsp);
    if (!received)
        return desk::no_answer;
    if (count > received->head.count)
        return desk::not_so_many;
    if (count > 0)
        std::memcpy(info, received->infos, count * sizeof *info);
    return desk::ok;
}

uint32_t nerb_parse_alloc_ltl_get_entry_count(const void *rsp, uint32_t *status, uint32_t kind, uint16_t *count) {
    const auto received = desk::read_allocation(rsp, kind);
    // A request cannot have had more entries than its own 16-bit count says.
    if (!received || received->head.count > std::numeric_limits<std::uint16_t>::max())
        return desk::no_answer;
    *status = received->head.status;
    *count = static_cast<std::uint16_t>(received->head.count);
    return desk::ok;
}

uint32_t nerb_parse_alloc_ltl_rsp_parm(const void *rsp, uint32_t *status, uint32_t kind,
                                       nerb_alloc_ltl_rsp_parm *parm) {
    const auto received = desk::read_allocation(rsp, kind);
    if (!received)
        return desk::no_answer;
    if (received->head.count == 0)
        return desk::not_so_many;
    *status = received->head.status;
    // The parameters are the first three words of the entry's information.
    std::memcpy(parm, received->infos, sizeof *parm);
    return desk::ok;
}
