#include "commands.h"
#include "common_options.h"
#include "input_error.h"
#include "printable.h"
#include "sim/base/print.h"

#include <vell.h>

#include <CLI/CLI.hpp>
#include <string>

namespace feed {

namespace {

struct role_row {
    const char *name;
    std::uint32_t (*send)();
};

constexpr role_row roles[] = {
    {"all", vell_mrib_send_dux_role_forward_all},
    {"even", vell_mrib_send_dux_role_forward_even},
    {"odd", vell_mrib_send_dux_role_forward_odd},
    {"none", vell_mrib_send_dux_role_forward_none},
};

// `vellsim show` calls them forward_all and so on; what it prints is to be taken here too.
const role_row &find_role(const std::string &name) {
    for (const role_row &role : roles) {
        if (name == role.name || name == std::string("forward_") + role.name)
            return role;
    }
    throw usage_error(fmt::format(
        "there is no role {}: all, even, odd or none, or forward_all and so on", in_quotes(name)));
}

void check_choice(bool named, bool numbered) {
    if (named && numbered)
        throw usage_error("both a role and --value were given, only one of them can be sent");
    if (!named && !numbered)
        throw usage_error("which role? Name one of all, even, odd and none, or give --value N");
}

} // namespace

void role_command::add_to(CLI::App &command) {
    command.add_option("ROLE", name, "The role: all, even, odd or none");
    add_number(command, "--value", value,
               "A role by its number, meaningful or not, instead of ROLE")
        ->option_text("N");
    add_quiet_option(command, quiet);
    add_session_options(command, session);
    command.footer("Example: vellfeed role even");
}

int role_command::run(std::ostream &out) const {
    check_choice(!name.empty(), value.has_value());
    const role_row *role = value ? nullptr : &find_role(name);
    client_session client(session);
    require_sent((value ? vell_mrib_send_dux_role_update(*value) : role->send()) == 1, "dux role");
    client.close();
    if (!quiet)
        fmt::print(out, "vellfeed: sent the dux role {}\n", value ? std::to_string(*value) : name);
    return 0;
}

void notice6_command::add_to(CLI::App &command) {
    add_number(command, "FIRST", first, "First word")->required();
    add_number(command, "SECOND", second, "Second word")->required();
    add_number(command, "THIRD", third, "16-bit value")->required();
    add_quiet_option(command, quiet);
    add_session_options(command, session);
    command.footer("Example: vellfeed notice6 1 2 3");
}

int notice6_command::run(std::ostream &out) const {
    client_session client(session);
    require_sent(vell_send_v6_mroute_update(first, second, third) == 1, "IPv6 route notice");
    client.close();
    if (!quiet)
        fmt::print(out, "vellfeed: sent the IPv6 route notice {} {} {}\n", first, second, third);
    return 0;
}

} // namespace feed
