#include "commands.h"
#include "common_options.h"
#include "ltl_request.h"
#include "sim/base/print.h"
#include "switch_port.h"
#include "vlan.h"

#include <CLI/CLI.hpp>

namespace feed {

namespace {

constexpr char teller[] = "`vellsim show ltl`";

CLI::Option *add_vlan(CLI::App &command, std::uint32_t &vlan, const char *description) {
    return command.add_option("--vlan", vlan, description)
        ->option_text("N")
        ->check(CLI::Range(std::uint32_t{1}, std::uint32_t{largest_vlan}));
}

void add_tag(CLI::App &command, std::uint32_t &tag, const char *description) {
    add_number(command, "--tag", tag, description)->option_text("N REQUIRED")->required();
}

void add_index(CLI::App &command, std::uint32_t &index) {
    add_number(command, "INDEX", index, "The LTL index, in decimal or as 0x4000")
        ->option_text("")
        ->required();
}

constexpr char tag_of_allocation[] = "The tag that it was allocated with";

} // namespace

void ltl_alloc_command::add_to(CLI::App &command) {
    add_vlan(command, vlan, "VLAN of the interfaces, and of the group")
        ->option_text("N REQUIRED")
        ->required();
    add_tag(command, tag,
            "A number of your own, without which the LTL index cannot be changed or released");
    ports.add_to(command);
    add_session_options(command, session);
    command.footer(
        "Prints the LTL index. It stays until it is released. The bridge itself, as a port of a "
        "group, is the\n"
        "VLAN's own interface; ports named as eth3-7, po12 or vlan10 are those of the switch,\n"
        "Eth3/7, Po12 and Vlan10; any other is known by its index alone, as if17.\n"
        "Examples: vellfeed ltl alloc --vlan 10 --tag 7 Eth3/7 Po1\n"
        "          vellfeed ltl alloc --vlan 10 --tag 7 --mdb snooping.mdb.json --links "
        "snooping.links.json --group 239.255.255.250");
}

int ltl_alloc_command::run(std::ostream &out) const {
    ports.check(vlan);
    const std::vector<std::uint32_t> interfaces = ports.load(vlan);
    client_session client(session);
    const ltl_result result = allocate_ltl(client, vlan, tag, interfaces);
    fmt::print(out, "allocated {}: {}\n", result_text(result), switch_names(interfaces));
    client.close(teller);
    return 0;
}

void ltl_modify_command::add_to(CLI::App &command) {
    add_index(command, index);
    add_tag(command, tag, tag_of_allocation);
    CLI::Option *const of_vlan = add_vlan(command, vlan, "VLAN of the group");
    ports.add_to(command);
    of_vlan->needs("--group");
    add_session_options(command, session);
    command.footer("The interfaces replace those that the LTL has.\n"
                   "Example: vellfeed ltl modify 0x4000 --tag 7 Eth3/7 Eth3/8");
}

int ltl_modify_command::run(std::ostream &out) const {
    ports.check(vlan);
    const std::vector<std::uint32_t> interfaces = ports.load(vlan);
    client_session client(session);
    const ltl_result result = change_ltl(client, index, tag, interfaces);
    fmt::print(out, "changed {}: {}\n", result_text(result), switch_names(interfaces));
    client.close(teller);
    return 0;
}

void ltl_release_command::add_to(CLI::App &command) {
    add_index(command, index);
    add_tag(command, tag, tag_of_allocation);
    add_session_options(command, session);
    command.footer("Example: vellfeed ltl release 0x4000 --tag 7");
}

int ltl_release_command::run(std::ostream &out) const {
    client_session client(session);
    const ltl_result result = release_ltl(client, index, tag);
    fmt::print(out, "released LTL {:#x}\n", result.index);
    client.close(teller);
    return 0;
}

} // namespace feed
