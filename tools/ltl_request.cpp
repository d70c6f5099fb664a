#include "ltl_request.h"

#include "counted.h"
#include "input_error.h"
#include "manager_answer.h"

#include <vell.h>

#include <fmt/format.h>

namespace feed {

namespace {

// A request is answered before the next one is sent, so that there is nothing to tell apart.
constexpr std::uint32_t cookie = 1;

// Why the library did not take an answer.
[[noreturn]] void refuse(const received_message &answer, const manager_request &request) {
    const std::vector<std::uint32_t> statuses = entry_statuses(answer, request, 1);
    if (statuses.empty() || statuses[0] == 0)
        reject_answer(answer, request, "it is not of one LTL");
    throw session_error(fmt::format("the LTL manager refused the {}: {}", request.name, status_text(statuses[0])));
}

ltl_result take_answer(client_session &client, const manager_request &request) {
    const received_message answer = await_answer(client, request);
    const auto take = request.allocation ? vell_nerb_handle_l2_alloc_response : vell_nerb_handle_l2_response;
    ltl_result result;
    if (take(answer.handle(), &result.index, &result.interfaces) == 0)
        refuse(answer, request);
    return result;
}

ltl_result ask_for_interfaces(client_session &client, const manager_request &request,
                              decltype(vell_nerb_l2_ltl_alloc) &send, std::uint32_t key, std::uint32_t tag,
                              const std::vector<std::uint32_t> &interfaces) {
    const auto count = static_cast<std::uint32_t>(interfaces.size());
    require_sent(send(key, count, interfaces.data(), tag, cookie) == 1, request.name);
    const ltl_result result = take_answer(client, request);
    if (result.interfaces != count) {
        throw session_error(
            fmt::format("the LTL manager answered that there is {}, though {} were sent", result_text(result), count));
    }
    return result;
}

ltl_result checked(const ltl_result &result, std::uint32_t asked, const manager_request &request) {
    if (result.index != asked) {
        throw session_error(fmt::format("the LTL manager answered the {} for LTL {:#x}, expected LTL {:#x}",
                                        request.name, result.index, asked));
    }
    return result;
}

} // namespace

std::string result_text(const ltl_result &result) {
    return fmt::format("LTL {:#x} with {}", result.index, counted(result.interfaces, "interface"));
}

ltl_result allocate_ltl(client_session &client, std::uint32_t vlan, std::uint32_t tag,
                        const std::vector<std::uint32_t> &interfaces) {
    return ask_for_interfaces(client, ltl_allocation_request, vell_nerb_l2_ltl_alloc, vlan, tag, interfaces);
}

ltl_result change_ltl(client_session &client, std::uint32_t index, std::uint32_t tag,
                      const std::vector<std::uint32_t> &interfaces) {
    return checked(ask_for_interfaces(client, ltl_change_request, vell_nerb_l2_ltl_modify, index, tag, interfaces),
                   index, ltl_change_request);
}

ltl_result release_ltl(client_session &client, std::uint32_t index, std::uint32_t tag) {
    require_sent(vell_nerb_l2_ltl_dealloc(index, tag, cookie) == 1, ltl_release_request.name);
    return checked(take_answer(client, ltl_release_request), index, ltl_release_request);
}

} // namespace feed
