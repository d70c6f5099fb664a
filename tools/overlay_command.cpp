#include "commands.h"
#include "common_options.h"
#include "counted.h"
#include "input_error.h"
#include "printable.h"
#include "sim/base/print.h"
#include "vlan.h"

#include <kyt.h>
#include <vell.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <cstring>
#include <limits>
#include <set>

namespace feed {

namespace {

using bytes = std::vector<std::uint8_t>;

constexpr std::size_t most_body_bytes =
    std::numeric_limits<std::uint16_t>::max() - sizeof(vell_zeb_message);

bytes overlay_message(std::uint16_t type, const void *body, std::size_t body_bytes) {
    const vell_zeb_message head = {
        type, static_cast<std::uint16_t>(sizeof(vell_zeb_message) + body_bytes)};
    bytes message(head.length);
    std::memcpy(message.data(), &head, sizeof head);
    if (body_bytes > 0)
        std::memcpy(message.data() + sizeof head, body, body_bytes);
    return message;
}

bytes parse_hex(const std::string &text) {
    if (text.size() % 2 != 0)
        throw usage_error(
            fmt::format("the body has {} hexadecimal digits; two make a byte", text.size()));
    if (text.size() / 2 > most_body_bytes)
        throw usage_error(fmt::format("the body has {} bytes, {} are the most", text.size() / 2,
                                      most_body_bytes));
    bytes body(text.size() / 2);
    for (std::size_t i = 0; i < body.size(); ++i) {
        const char *pair = text.data() + 2 * i;
        const auto result = std::from_chars(pair, pair + 2, body[i], 16);
        if (result.ec != std::errc() || result.ptr != pair + 2)
            throw usage_error(fmt::format("{} is no byte in hexadecimal (byte {} of the body)",
                                          in_quotes({pair, 2}), i));
    }
    return body;
}

// These need no registration, only a queue. `send` returns whether it could.
template <typename Send>
void notify(const char *what, Send &&send) {
    transport_queue queue;
    if (!send(queue.handle()))
        throw session_error(fmt::format("the {} could not be sent: {}", what, no_switch()));
    queue.check_connection("`vellsim show log`");
    queue.close();
}

} // namespace

void overlay_disable_command::add_to(CLI::App &command) {
    command.add_flag("--flag", flag,
                     "Send it with the flag, which makes it another type of notification");
    add_quiet_option(command, quiet);
    command.footer("Example: vellfeed overlay disable");
}

int overlay_disable_command::run(std::ostream &out) const {
    notify("notification", [&](std::uint32_t queue) {
        return vell_send_zeb_feature_disable(queue, flag ? 1 : 0) == 1;
    });
    if (!quiet)
        fmt::print(out, "vellfeed: sent that the overlay is disabled{}\n",
                   flag ? ", with the flag" : "");
    return 0;
}

void overlay_vlans_command::add_to(CLI::App &command) {
    command.add_option("VLAN", vlans, "VLAN ids, 1 to 4094, each once")
        ->option_text("N...")
        ->required()
        ->check(CLI::Range(std::uint16_t{1}, largest_vlan));
    add_quiet_option(command, quiet);
    command.footer("Example: vellfeed overlay vlans 10 20");
}

int overlay_vlans_command::run(std::ostream &out) const {
    // Each once, so that all of them fit into one message.
    std::set<std::uint16_t> seen;
    for (const std::uint16_t vlan : vlans) {
        if (!seen.insert(vlan).second)
            throw usage_error(fmt::format("VLAN {} stands twice", vlan));
    }
    // The type is the library's to write.
    bytes message = overlay_message(0, vlans.data(), vlans.size() * sizeof vlans[0]);
    notify("notification", [&](std::uint32_t queue) {
        return vell_send_zeb_vlans_disable(queue, message.data()) == 1;
    });
    if (!quiet)
        fmt::print(out, "vellfeed: sent that the overlay is disabled for {}\n",
                   counted(vlans.size(), "VLAN"));
    return 0;
}

void overlay_route_command::add_to(CLI::App &command) {
    add_number(command, "TYPE", type, "The message's first 16 bits")->required();
    command.add_option("HEX", body, "What follows its length, in hexadecimal digits")->required();
    add_quiet_option(command, quiet);
    command.footer("Example: vellfeed overlay route 7 0a0b0c0d");
}

int overlay_route_command::run(std::ostream &out) const {
    const bytes content = parse_hex(body);
    const bytes message = overlay_message(type, content.data(), content.size());
    notify("overlay route", [&](std::uint32_t queue) {
        kyt_msg_ref reference{};
        if (vell_send_zeb_route_update(queue, message.data(), &reference) == 0)
            return false;
        kyt_drop(queue, &reference);
        return true;
    });
    if (!quiet)
        fmt::print(out, "vellfeed: sent an overlay route of type {} with {}\n", type,
                   counted(content.size(), "byte"));
    return 0;
}

} // namespace feed
