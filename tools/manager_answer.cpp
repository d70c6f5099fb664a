#include "manager_answer.h"

#include "client_session.h"
#include "input_error.h"
#include "nerb_messages.h"

#include <nerb.h>

#include <cstddef>
#include <cstring>
#include <fmt/format.h>
#include <optional>

namespace feed {

namespace {

// Allocations are of one entry, and their status is the answer's.
std::vector<std::uint32_t> allocation_status(const received_message &answer) {
    std::uint32_t status = 0;
    std::uint16_t count = 0;
    const bool read =
        nerb_parse_alloc_ltl_get_entry_count(answer.handle(), &status, desk::nerb_kind_allocation, &count) == 0;
    return read && count == 1 ? std::vector{status} : std::vector<std::uint32_t>{};
}

// Behind the kind and the overall status. None of an answer that is too short to have one.
std::optional<std::uint32_t> cookie_of(const received_message &answer) {
    std::uint32_t cookie = 0;
    constexpr std::size_t offset = 2 * sizeof cookie;
    const auto payload = answer.payload();
    if (payload.size() < offset + sizeof cookie)
        return std::nullopt;
    std::memcpy(&cookie, payload.data() + offset, sizeof cookie);
    return cookie;
}

constexpr char show_ltl[] = "`vellsim show ltl`";

} // namespace

const manager_request flood_update_request = {"flood update", desk::nerb_opcode_flood_update, "`vellsim show flood`"};
const manager_request ltl_allocation_request = {"LTL allocation", desk::nerb_opcode_allocation, show_ltl, true};
const manager_request ltl_change_request = {"LTL modification", desk::nerb_opcode_modification, show_ltl};
const manager_request ltl_release_request = {"LTL release", desk::nerb_opcode_release, show_ltl};

received_message await_answer(client_session &client, const manager_request &request, std::uint32_t cookie) {
    received_message answer = client.await(
        {fmt::format("answer the {}", request.name), fmt::format("answering the {}", request.name), request.teller},
        [&](const received_message &message) {
            return message.opcode() == request.opcode && cookie_of(message) == cookie;
        });
    if (answer.opcode() != request.opcode) {
        reject_answer(answer, request, fmt::format("opcode {}, expected opcode {}", answer.opcode(), request.opcode));
    }
    if (const auto answered = cookie_of(answer); answered && *answered != cookie) {
        reject_answer(answer, request, fmt::format("cookie {}, expected cookie {}", *answered, cookie));
    }
    return answer;
}

std::vector<std::uint32_t> entry_statuses(const received_message &answer, const manager_request &request,
                                          std::uint32_t count) {
    if (request.allocation)
        return allocation_status(answer);
    std::uint32_t entries = 0;
    // The count is looked at first: it may be any number, whatever was asked for.
    if (nerb_parse_rsp_get_entry_count(answer.handle(), &entries) != 0 || entries < count)
        return {};
    std::vector<nerb_rsp_info> infos(count);
    if (nerb_parse_rsp_get_rsp_info(answer.handle(), count, infos.data()) != 0)
        return {};
    std::vector<std::uint32_t> statuses;
    for (const nerb_rsp_info &info : infos)
        statuses.push_back(info.word[3]);
    return statuses;
}

std::string status_text(std::uint32_t status) {
    return fmt::format("{} (status {})", desk::nerb_status_name(desk::nerb_status{status}), status);
}

void reject_answer(const received_message &answer, const manager_request &request, const std::string &why) {
    throw session_error(fmt::format("the switch answered the {} with a message of {} bytes that is no answer to it: {}",
                                    request.name, answer.payload().size(), why));
}

} // namespace feed
