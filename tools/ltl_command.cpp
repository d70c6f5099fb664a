#include "commands.h"
#include "common_options.h"
#include "counted.h"
#include "input_error.h"
#include "manager_answer.h"
#include "switch_port.h"
#include "vlan.h"

#include <vell.h>

#include <fmt/ostream.h>

namespace feed {

namespace {

// A session asks once, so that there is nothing to tell apart.
constexpr std::uint32_t cookie = 1;

constexpr char teller[] = "`vellsim show ltl`";

struct ltl_result {
    std::uint32_t index = 0;
    std::uint32_t interfaces = 0;
};

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

std::string result_text(const ltl_result &result) {
    return fmt::format("LTL {:#x} with {}", result.index, counted(result.interfaces, "interface"));
}

// Sends a request with the rest of its arguments, takes the answer and ends the session.
template <typename Send, typename... Arguments>
ltl_result ask(const session_options &session, const manager_request &request, Send &&send, Arguments... arguments) {
    client_session client(session);
    require_sent(send(arguments..., cookie) == 1, request.name);
    const ltl_result result = take_answer(client, request);
    client.close(teller);
    return result;
}

ltl_result ask_for_ports(const session_options &session, const manager_request &request,
                         decltype(vell_nerb_l2_ltl_alloc) &send, std::uint32_t key, std::uint32_t tag,
                         const std::vector<std::uint32_t> &ports) {
    const auto count = static_cast<std::uint32_t>(ports.size());
    const ltl_result result = ask(session, request, send, key, count, ports.data(), tag);
    if (result.interfaces != count) {
        throw session_error(
            fmt::format("the LTL manager answered that there is {}, though {} were sent", result_text(result), count));
    }
    return result;
}

void check_index(std::uint32_t answered, std::uint32_t asked, const manager_request &request) {
    if (answered != asked) {
        throw session_error(fmt::format("the LTL manager answered the {} for LTL {:#x}, expected LTL {:#x}",
                                        request.name, answered, asked));
    }
}

CLI::Option *add_vlan(CLI::App &command, std::uint32_t &vlan, const char *description) {
    return command.add_option("--vlan", vlan, description)
        ->option_text("N")
        ->check(CLI::Range(std::uint32_t{1}, std::uint32_t{largest_vlan}));
}

void add_tag(CLI::App &command, std::uint32_t &tag, const char *description) {
    add_number(command, "--tag", tag, description)->option_text("N")->required();
}

void add_index(CLI::App &command, std::uint32_t &index) {
    add_number(command, "INDEX", index, "The LTL index, in decimal or as 0x4000")->option_text("")->required();
}

constexpr char tag_of_allocation[] = "The tag that it was allocated with";

} // namespace

void ltl_alloc_command::add_to(CLI::App &command) {
    add_vlan(command, vlan, "VLAN of the interfaces, and of the group")->required();
    add_tag(command, tag, "A number of your own, without which the LTL index cannot be changed or released");
    ports.add_to(command);
    add_session_options(command, session);
    command.footer(
        "Prints the LTL index. It stays until it is released. The bridge itself, as a port of a group, is the\n"
        "VLAN's own interface; ports named as eth3-7, po12 or vlan10 are those of the switch.\n"
        "Examples: vellfeed ltl alloc --vlan 10 --tag 7 Eth3/7 Po1\n"
        "          vellfeed ltl alloc --vlan 10 --tag 7 --mdb snooping.mdb.json --links "
        "snooping.links.json --group 239.255.255.250");
}

int ltl_alloc_command::run(std::ostream &out) const {
    ports.check(vlan);
    const std::vector<std::uint32_t> interfaces = ports.load(vlan);
    const ltl_result result =
        ask_for_ports(session, ltl_allocation_request, vell_nerb_l2_ltl_alloc, vlan, tag, interfaces);
    fmt::print(out, "allocated {}: {}\n", result_text(result), switch_names(interfaces));
    return 0;
}

void ltl_modify_command::add_to(CLI::App &command) {
    add_index(command, index);
    add_tag(command, tag, tag_of_allocation);
    add_vlan(command, vlan, "VLAN of the group");
    ports.add_to(command);
    add_session_options(command, session);
    command.footer("The interfaces replace those that the LTL has.\n"
                   "Example: vellfeed ltl modify 0x4000 --tag 7 Eth3/7 Eth3/8");
}

int ltl_modify_command::run(std::ostream &out) const {
    ports.check(vlan);
    const std::vector<std::uint32_t> interfaces = ports.load(vlan);
    const ltl_result result =
        ask_for_ports(session, ltl_change_request, vell_nerb_l2_ltl_modify, index, tag, interfaces);
    check_index(result.index, index, ltl_change_request);
    fmt::print(out, "changed {}: {}\n", result_text(result), switch_names(interfaces));
    return 0;
}

void ltl_release_command::add_to(CLI::App &command) {
    add_index(command, index);
    add_tag(command, tag, tag_of_allocation);
    add_session_options(command, session);
    command.footer("Example: vellfeed ltl release 0x4000 --tag 7");
}

int ltl_release_command::run(std::ostream &out) const {
    const ltl_result result = ask(session, ltl_release_request, vell_nerb_l2_ltl_dealloc, index, tag);
    check_index(result.index, index, ltl_release_request);
    fmt::print(out, "released LTL {:#x}\n", result.index);
    return 0;
}

} // namespace feed
