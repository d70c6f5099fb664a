// What the LTL manager answers, where the library's functions do not tell it.
#pragma once

#include "transport_queue.h"

#include <cstdint>
#include <string>
#include <vector>

namespace feed {

// A kind of request to the LTL manager. Its answers have its opcode.
struct manager_request {
    const char *name; // "flood update"
    std::uint32_t opcode;
    const char *teller;      // the command that shows what became of it
    bool allocation = false; // whose answers are read with functions of their own
};

extern const manager_request flood_update_request;
extern const manager_request ltl_allocation_request;
extern const manager_request ltl_change_request;
extern const manager_request ltl_release_request;

class client_session;

// Waits for the answer to the request that was sent with this cookie. Throws session_error when
// nothing comes in time, or something else.
received_message await_answer(client_session &client, const manager_request &request,
                              std::uint32_t cookie);

// How each of the first `count` entries of an answer ended: 0 for done. Empty when the answer
// cannot be read, or has fewer entries.
std::vector<std::uint32_t> entry_statuses(const received_message &answer, std::uint32_t count);

// Why an entry was refused, in words: "the pool is exhausted".
std::string status_text(std::uint32_t status);

// An answer of the right opcode that makes no sense otherwise.
[[noreturn]] void reject_answer(const received_message &answer, const manager_request &request,
                                const std::string &why);

} // namespace feed
