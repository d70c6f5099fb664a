#include "ltl_request.h"

#include "counted.h"
#include "input_error.h"
#include "manager_answer.h"

#include <vell.h>

#include <fmt/format.h>

namespace feed {

namespace {

// What an LTL manager is asked for. The key is a VLAN when it is for an allocation, else an LTL
// index.
struct question {
    const manager_request &request;
    std::uint32_t key;
    std::uint32_t tag;

    std::string text() const {
        return request.allocation
                   ? fmt::format("{} for VLAN {} with tag {}", request.name, key, tag)
                   : fmt::format("{} of LTL {:#x} with tag {}", request.name, key, tag);
    }
};

// Why the library did not take an answer.
[[noreturn]] void refuse(const received_message &answer, const question &asked) {
    const std::vector<std::uint32_t> statuses = entry_statuses(answer, 1);
    if (statuses.empty() || statuses[0] == 0)
        reject_answer(answer, asked.request, "it is not of one LTL");
    throw refused_request(
        fmt::format("the LTL manager refused the {}: {}", asked.text(), status_text(statuses[0])));
}

// `send` is given the cookie.
template <typename Send>
ltl_result ask(client_session &client, const question &asked, Send &&send) {
    const manager_request &request = asked.request;
    const std::uint32_t cookie = client.new_cookie();
    require_sent(send(cookie) == 1, request.name);
    const received_message answer = await_answer(client, request, cookie);
    const auto take =
        request.allocation ? vell_nerb_handle_l2_alloc_response : vell_nerb_handle_l2_response;
    ltl_result result;
    if (take(answer.handle(), &result.index, &result.interfaces) == 0)
        refuse(answer, asked);
    if (!request.allocation && result.index != asked.key) {
        throw session_error(
            fmt::format("the LTL manager answered the {} for LTL {:#x}, expected LTL {:#x}",
                        request.name, result.index, asked.key));
    }
    return result;
}

ltl_result ask_for_interfaces(client_session &client, const question &asked,
                              decltype(vell_nerb_l2_ltl_alloc) &send,
                              const std::vector<std::uint32_t> &interfaces) {
    const auto count = static_cast<std::uint32_t>(interfaces.size());
    const ltl_result result = ask(client, asked, [&](std::uint32_t cookie) {
        return send(asked.key, count, interfaces.data(), asked.tag, cookie);
    });
    if (result.interfaces != count) {
        throw session_error(
            fmt::format("the LTL manager answered that there is {}, though {} were sent",
                        result_text(result), count));
    }
    return result;
}

} // namespace

std::string result_text(const ltl_result &result) {
    return fmt::format("LTL {:#x} with {}", result.index, counted(result.interfaces, "interface"));
}

ltl_result allocate_ltl(client_session &client, std::uint32_t vlan, std::uint32_t tag,
                        const std::vector<std::uint32_t> &interfaces) {
    return ask_for_interfaces(client, {ltl_allocation_request, vlan, tag}, vell_nerb_l2_ltl_alloc,
                              interfaces);
}

ltl_result change_ltl(client_session &client, std::uint32_t index, std::uint32_t tag,
                      const std::vector<std::uint32_t> &interfaces) {
    return ask_for_interfaces(client, {ltl_change_request, index, tag}, vell_nerb_l2_ltl_modify,
                              interfaces);
}

ltl_result release_ltl(client_session &client, std::uint32_t index, std::uint32_t tag) {
    return ask(client, {ltl_release_request, index, tag},
               [&](std::uint32_t cookie) { return vell_nerb_l2_ltl_dealloc(index, tag, cookie); });
}

} // namespace feed
