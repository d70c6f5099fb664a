#include "manager_answer.h"

#include "client_session.h"
#include "input_error.h"

#include <nerb_sim.h>

#include <fmt/format.h>
#include <optional>

namespace feed {

namespace {

// None of a message that is no answer.
std::optional<std::uint32_t> cookie_of(const received_message &message) {
    nerb_sim_answer head{};
    return nerb_sim_answer_head(message.handle(), &head) == NERB_SIM_READ
               ? std::optional(head.cookie)
               : std::nullopt;
}

constexpr char show_ltl[] = "`vellsim show ltl`";

} // namespace

const manager_request flood_update_request = {"flood update", NERB_SIM_OPCODE_FLOOD_UPDATE,
                                              "`vellsim show flood`"};
const manager_request ltl_allocation_request = {"LTL allocation", NERB_SIM_OPCODE_ALLOCATION,
                                                show_ltl, true};
const manager_request ltl_change_request = {"LTL modification", NERB_SIM_OPCODE_MODIFICATION,
                                            show_ltl};
const manager_request ltl_release_request = {"LTL release", NERB_SIM_OPCODE_RELEASE, show_ltl};

received_message await_answer(client_session &client, const manager_request &request,
                              std::uint32_t cookie) {
    received_message answer =
        client.await({fmt::format("answer the {}", request.name),
                      fmt::format("answering the {}", request.name), request.teller},
                     [&](const received_message &message) {
                         return message.opcode() == request.opcode && cookie_of(message) == cookie;
                     });
    if (answer.opcode() != request.opcode) {
        reject_answer(
            answer, request,
            fmt::format("opcode {}, expected opcode {}", answer.opcode(), request.opcode));
    }
    if (const auto answered = cookie_of(answer); answered && *answered != cookie) {
        reject_answer(answer, request,
                      fmt::format("cookie {}, expected cookie {}", *answered, cookie));
    }
    return answer;
}

std::vector<std::uint32_t> entry_statuses(const received_message &answer, std::uint32_t count) {
    std::vector<std::uint32_t> statuses;
    std::uint32_t words[4];
    while (statuses.size() < count) {
        const auto number = static_cast<std::uint32_t>(statuses.size());
        if (nerb_sim_answer_entry(answer.handle(), number, words) != NERB_SIM_READ)
            return {};
        statuses.push_back(words[3]);
    }
    return statuses;
}

std::string status_text(std::uint32_t status) {
    return fmt::format("{} (status {})", nerb_sim_status_name(status), status);
}

void reject_answer(const received_message &answer, const manager_request &request,
                   const std::string &why) {
    throw session_error(fmt::format(
        "the switch answered the {} with a message of {} bytes that is no answer to it: {}",
        request.name, answer.payload().size(), why));
}

} // namespace feed
