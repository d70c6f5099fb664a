// `vellfeed notice`: one message, which nobody answers.
#include "feed/command_line.h"
#include "feed/failure.h"
#include "sim/base/number_option.h"
#include "sim/wire/protocol.h"

#include <kyt.h>
#include <vell.h>

#include <CLI/CLI.hpp>
#include <cstring>
#include <fmt/format.h>
#include <limits>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace feed {

namespace {

using bytes = std::vector<std::uint8_t>;

// Sends a notice, and returns what was sent: "the out-of-band marker 1".
using notice_sender = std::function<std::string(session &client)>;

struct notice {
    const char *name;
    const char *help;
    const char *example;                 // of its arguments
    notice_sender (*add)(CLI::App &app); // adds its arguments
    bool is_registered = true;           // an overlay notification needs only a queue
};

// What `vellsim show` calls forward_even is even here too. A number need not be a role.
notice_sender add_role(CLI::App &app) {
    const auto role = std::make_shared<std::uint32_t>();
    const auto name = std::make_shared<std::string>();
    const auto read = [role, name](const std::string &text) {
#define FEED_ROLE(value, role_name) {value, #role_name},
        constexpr std::pair<std::uint32_t, std::string_view> roles[] = {
            VELL_DUX_ROLE_TABLE(FEED_ROLE)};
#undef FEED_ROLE
        const auto number = sim::parse_number(text);
        *role = static_cast<std::uint32_t>(number.value_or(0));
        *name = text;
        bool is_known = number && *number <= std::numeric_limits<std::uint32_t>::max();
        for (const auto &[value, full] : roles) {
            if (text == full || "forward_" + text == full) {
                *role = value;
                is_known = true;
            }
        }
        if (!is_known) {
            throw CLI::ValidationError(
                "ROLE", fmt::format("there is no role {}: all, even, odd, none, or a number from 0 "
                                    "to 4294967295",
                                    in_quotes(text)));
        }
    };
    app.add_option_function<std::string>(
           "ROLE", read, "all, even, odd or none; or any number, which may mean no role")
        ->option_text("REQUIRED")
        ->required();
    return [role, name](session &client) {
        client.require_sent(vell_mrib_send_dux_role_update(*role) == 1, "dux role");
        return "the dux role " + *name;
    };
}

notice_sender add_ipv6(CLI::App &app) {
    struct words {
        std::uint32_t first = 0;
        std::uint32_t second = 0;
        std::uint16_t third = 0;
    };
    const auto sent = std::make_shared<words>();
    sim::add_number(app, "FIRST", sent->first, "First word")->required();
    sim::add_number(app, "SECOND", sent->second, "Second word")->required();
    sim::add_number(app, "THIRD", sent->third, "16-bit value")->required();
    return [sent](session &client) {
        const auto [first, second, third] = *sent;
        client.require_sent(vell_send_v6_mroute_update(first, second, third) == 1,
                            "IPv6 route notice");
        return fmt::format("the IPv6 route notice {} {} {}", first, second, third);
    };
}

notice_sender add_marker(CLI::App &app) {
    const auto marker = std::make_shared<std::uint32_t>();
    sim::add_number(app, "N", *marker,
                    "1 begins a batch of layer-2 messages, 2 ends it; others are sent, too")
        ->required();
    return [marker](session &client) {
        client.require_sent(vell_send_igmp_oob_notification(*marker) == 1, "out-of-band marker");
        return fmt::format("the out-of-band marker {}", *marker);
    };
}

notice_sender add_download_complete(CLI::App &) {
    return [](session &client) {
        client.require_sent(vell_send_igmp_download_complete() == 1, "end of the download");
        return "that the download is complete";
    };
}

void require_overlay_sent(bool sent) {
    if (!sent) {
        throw session_error("the overlay notification could not be sent: " + no_switch());
    }
}

bytes overlay_message(std::uint16_t type, const void *body, std::size_t body_bytes) {
    const vell_zeb_message head = {
        type, static_cast<std::uint16_t>(sizeof(vell_zeb_message) + body_bytes)};
    bytes message(head.length);
    std::memcpy(message.data(), &head, sizeof head);
    if (body_bytes > 0) {
        std::memcpy(message.data() + sizeof head, body, body_bytes);
    }
    return message;
}

notice_sender add_overlay_disable(CLI::App &app) {
    const auto flag = std::make_shared<bool>();
    app.add_flag("--flag", *flag,
                 "Send it with the flag, which makes it another type of notification");
    return [flag](session &client) {
        require_overlay_sent(vell_send_zeb_feature_disable(client.queue(), *flag ? 1 : 0) == 1);
        return std::string("that the overlay is disabled") + (*flag ? ", with the flag" : "");
    };
}

// Each VLAN once, so that all of them fit into one message.
notice_sender add_overlay_vlans(CLI::App &app) {
    const auto vlans = std::make_shared<std::vector<std::uint16_t>>();
    app.add_option("VLAN", *vlans, "VLAN ids, 1 to 4094, each once")
        ->option_text("N...")
        ->required()
        ->transform(sim::number_up_to(VELL_SIM_HIGHEST_VLAN, 1));
    app.parse_complete_callback([vlans] {
        std::set<std::uint16_t> seen;
        for (const std::uint16_t vlan : *vlans) {
            if (!seen.insert(vlan).second) {
                throw CLI::ValidationError("VLAN", fmt::format("{} is given twice", vlan));
            }
        }
    });
    return [vlans](session &client) {
        // The type is the library's to write.
        bytes message = overlay_message(0, vlans->data(), vlans->size() * sizeof(std::uint16_t));
        require_overlay_sent(vell_send_zeb_vlans_disable(client.queue(), message.data()) == 1);
        return fmt::format("that the overlay is disabled for {}",
                           sim::counted(vlans->size(), "VLAN"));
    };
}

bytes parse_hex(const std::string &text) {
    constexpr std::size_t most =
        std::numeric_limits<std::uint16_t>::max() - sizeof(vell_zeb_message);
    if (text.size() % 2 != 0 || text.size() / 2 > most) {
        throw CLI::ValidationError("HEX",
                                   fmt::format("{} digits; expected two for each byte, and {} "
                                               "bytes at most",
                                               text.size(), most));
    }
    bytes body;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        const std::string pair = text.substr(i, 2);
        const auto byte = sim::parse_number("0x" + pair);
        if (!byte) {
            throw CLI::ValidationError("HEX", fmt::format("{} (byte {}) is not a byte in "
                                                          "hexadecimal",
                                                          in_quotes(pair), i / 2));
        }
        body.push_back(static_cast<std::uint8_t>(*byte));
    }
    return body;
}

notice_sender add_overlay_route(CLI::App &app) {
    const auto type = std::make_shared<std::uint16_t>();
    const auto body = std::make_shared<bytes>();
    sim::add_number(app, "TYPE", *type, "The message's first 16 bits")->required();
    app.add_option_function<std::string>(
           "HEX", [body](const std::string &text) { *body = parse_hex(text); },
           "What follows its length, in hexadecimal digits")
        ->option_text("REQUIRED")
        ->required();
    return [type, body](session &client) {
        const bytes message = overlay_message(*type, body->data(), body->size());
        kyt_msg_ref reference{};
        require_overlay_sent(
            vell_send_zeb_route_update(client.queue(), message.data(), &reference) == 1);
        kyt_drop(client.queue(), &reference);
        return fmt::format("an overlay route of type {} with {}", *type,
                           sim::counted(body->size(), "byte"));
    };
}

constexpr notice notices[] = {
    {"role", "Send a dux role", " even", add_role},
    {"ipv6", "Send an IPv6 route notice: two words and a 16-bit value", " 1 2 3", add_ipv6},
    {"marker", "Send an out-of-band marker", " 1", add_marker},
    {"download-complete", "Report that everything was sent", "", add_download_complete},
    {"overlay-disable", "Report that the overlay is disabled", "", add_overlay_disable, false},
    {"overlay-vlans", "Report for which VLANs the overlay is disabled", " 10 20", add_overlay_vlans,
     false},
    {"overlay-route", "Send an overlay route message", " 7 0a0b0c0d", add_overlay_route, false},
};

struct notice_options {
    session_options client;
    bool quiet = false;
    sim::output_form form = sim::output_form::text;
};

int run(const notice &sent, const notice_sender &send, const notice_options &options,
        std::ostream &to) {
    session client(options.client);
    if (sent.is_registered) {
        client.register_client();
    }
    const std::string what = send(client);
    client.close("`vellsim show log`");
    if (!options.quiet) {
        sim::output out(options.form);
        out.open_object();
        out.field("sent", "sent {}\n", what);
        out.close_object();
        print_result(out, to);
    }
    return 0;
}

void add(CLI::App &app, const notice &added, command_context &context) {
    const auto options = std::make_shared<notice_options>();
    const notice_sender send = added.add(app);
    if (added.is_registered) {
        add_client_options(app, options->client);
    } else {
        add_run_dir(app);
    }
    add_quiet(app, options->quiet);
    add_json(app, options->form);
    app.footer(fmt::format("Example: vellfeed notice {}{}", added.name, added.example));
    app.callback([&context, &added, send, options] {
        context.chosen = [&context, &added, send, options] {
            return run(added, send, *options, context.out);
        };
    });
}

} // namespace

action make_notice(CLI::App &app, command_context &context) {
    app.require_subcommand(1);
    for (const notice &one : notices) {
        add(*app.add_subcommand(one.name, one.help), one, context);
    }
    app.footer("Example: vellfeed notice role even");
    return {};
}

} // namespace feed
