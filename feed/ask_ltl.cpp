// `vellfeed ltl`: one request to the LTL manager, and its answer.
#include "feed/command_line.h"
#include "feed/failure.h"
#include "feed/interfaces.h"
#include "feed/records.h"
#include "sim/base/if_name.h"
#include "sim/base/number_option.h"
#include "sim/wire/protocol.h"

#include <nerb_sim.h>
#include <vell.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace feed {

namespace {

struct ltl_request {
    const char *done; // "allocated"
    ltl_change change;
    session_options client{};
    sim::output_form form = sim::output_form::text;
    bool quiet = false;

    bool is_allocation() const { return change.opcode == NERB_SIM_OPCODE_ALLOCATION; }
    std::string name() const { return fmt::format("LTL {}", operation_name(change)); }
    std::string text() const {
        return is_allocation() ? fmt::format("{} for VLAN {} with tag {}", name(), change.key.vlan,
                                             change.key.tag)
                               : fmt::format("{} of LTL {:#x} with tag {}", name(),
                                             change.row.index, change.key.tag);
    }
};

struct ltl_result {
    std::uint32_t index = 0;
    std::uint32_t interfaces = 0;
};

bool is_answer(const received_message &message, const ltl_request &request, std::uint32_t cookie) {
    nerb_sim_answer head{};
    return message.opcode() == request.change.opcode &&
           nerb_sim_answer_head(message.handle(), &head) == NERB_SIM_READ && head.cookie == cookie;
}

// The library's readers say only that it did not work.
[[noreturn]] void refuse(const received_message &answer, const ltl_request &request) {
    std::uint32_t words[4] = {};
    if (nerb_sim_answer_entry(answer.handle(), 0, words) != NERB_SIM_READ ||
        words[3] == NERB_SIM_DONE) {
        throw session_error(fmt::format("the answer to the {} is not of one LTL", request.text()));
    }
    throw session_error(fmt::format("the LTL manager refused the {}: {} (status {})",
                                    request.text(), nerb_sim_status_name(words[3]), words[3]));
}

ltl_result ask(session &client, const ltl_request &request) {
    const std::uint32_t cookie = client.new_cookie();
    client.require_sent(send_ltl_change(request.change, cookie), request.name());
    const received_message answer =
        client.await(request.name(), [&](const received_message &message) {
            return is_answer(message, request, cookie);
        });
    const auto read =
        request.is_allocation() ? vell_nerb_handle_l2_alloc_response : vell_nerb_handle_l2_response;
    ltl_result result;
    if (read(answer.handle(), &result.index, &result.interfaces) == 0) {
        refuse(answer, request);
    }
    if ((!request.is_allocation() && result.index != request.change.row.index) ||
        result.interfaces != request.change.row.interfaces.size()) {
        throw session_error(fmt::format("the LTL manager answered the {} with LTL {:#x} and {}",
                                        request.text(), result.index,
                                        sim::counted(result.interfaces, "interface")));
    }
    return result;
}

void print(const ltl_request &request, const ltl_result &result, std::ostream &to) {
    if (request.quiet && !request.is_allocation()) {
        return;
    }
    const std::vector<std::uint32_t> &interfaces = request.change.row.interfaces;
    sim::output out(request.form);
    out.open_object();
    out.json("done", request.done);
    out.json("index", result.index);
    if (request.quiet) {
        out.text("{:#x}\n", result.index);
    } else {
        out.text("{} LTL {:#x}", request.done, result.index);
        if (request.change.opcode != NERB_SIM_OPCODE_RELEASE) {
            out.text(" with {}: {}", sim::counted(result.interfaces, "interface"),
                     interface_names(interfaces));
        }
        out.text("\n");
    }
    out.open_list("interfaces");
    for (const std::uint32_t if_index : interfaces) {
        out.json({}, sim::if_name(if_index));
    }
    out.close_list();
    out.close_object();
    print_result(out, to);
}

int run(const ltl_request &request, std::ostream &to) {
    session client(request.client);
    client.register_client();
    const ltl_result result = ask(client, request);
    // Before anything else can fail: without its index an LTL cannot be released.
    print(request, result, to);
    client.close("`vellsim show ltl`");
    return 0;
}

void add_tag(CLI::App &app, ltl_request &request, const char *help) {
    sim::add_number(app, "--tag", request.change.key.tag, help)
        ->option_text("N REQUIRED")
        ->required();
}

void add_index(CLI::App &app, ltl_request &request) {
    sim::add_number(app, "INDEX", request.change.row.index,
                    "The LTL index, in decimal or as 0x4000")
        ->option_text("")
        ->required();
    add_tag(app, request, "The tag that it was allocated with");
}

void add_ports(CLI::App &app, ltl_request &request) {
    const auto read = [&request](const std::vector<std::string> &names) {
        constexpr std::size_t most = std::numeric_limits<std::uint16_t>::max();
        if (names.size() > most) {
            throw CLI::ValidationError(
                "PORT", fmt::format("{} interfaces are too many for a request, which has {} at "
                                    "most",
                                    names.size(), most));
        }
        for (const std::string &name : names) {
            const auto index = index_in_name(name);
            if (!index) {
                throw CLI::ValidationError(
                    "PORT", fmt::format("{}: expected Eth3/7 (slot and port, up to 255), Eth3/7/1 "
                                        "(a breakout lane of it), Po1 (up to 65535), Vlan10 (up to "
                                        "4094), or if12 (any other, by the kernel's index)",
                                        in_quotes(name)));
            }
            request.change.row.interfaces.push_back(*index);
        }
    };
    CLI::Option *ports = app.add_option_function<std::vector<std::string>>(
                                "PORT", read, "Interfaces: Eth3/7, Eth3/7/1, Po1, Vlan10 or if12")
                             ->option_text("...");
    CLI::Option *no_ports = app.add_flag_callback(
                                   "--no-ports", [] {}, "No interface at all")
                                ->excludes(ports);
    app.parse_complete_callback([ports, no_ports] {
        if (ports->count() == 0 && no_ports->count() == 0) {
            throw CLI::ValidationError("PORT", "name the interfaces, or say --no-ports");
        }
    });
}

// The rest of a command: what all requests have, and the action.
action finish(CLI::App &app, command_context &context,
              const std::shared_ptr<ltl_request> &request) {
    add_client_options(app, request->client);
    add_json(app, request->form);
    add_quiet(app, request->quiet,
              request->is_allocation() ? "Print the LTL index alone" : "Print nothing but errors");
    return [request, &context] { return run(*request, context.out); };
}

action make_allocation(CLI::App &app, command_context &context) {
    const auto request = std::make_shared<ltl_request>(
        ltl_request{"allocated", {NERB_SIM_OPCODE_ALLOCATION, {}, {}}});
    app.add_option("--vlan", request->change.key.vlan, "VLAN of the interfaces, 1 to 4094")
        ->option_text("N REQUIRED")
        ->required()
        ->transform(sim::number_up_to(VELL_SIM_HIGHEST_VLAN, 1));
    add_tag(app, *request,
            "A number of your own, without which the LTL cannot be changed or released");
    add_ports(app, *request);
    app.footer("Prints the LTL index. It stays allocated until it is released.\n"
               "Example: vellfeed ltl alloc --vlan 10 --tag 7 Eth3/7 Po1");
    return finish(app, context, request);
}

action make_modification(CLI::App &app, command_context &context) {
    const auto request = std::make_shared<ltl_request>(
        ltl_request{"modified", {NERB_SIM_OPCODE_MODIFICATION, {}, {}}});
    add_index(app, *request);
    add_ports(app, *request);
    app.footer("The interfaces replace those that the LTL has.\n"
               "Example: vellfeed ltl modify 0x4000 --tag 7 Eth3/7 Eth3/8");
    return finish(app, context, request);
}

action make_release(CLI::App &app, command_context &context) {
    const auto request =
        std::make_shared<ltl_request>(ltl_request{"released", {NERB_SIM_OPCODE_RELEASE, {}, {}}});
    add_index(app, *request);
    app.footer("Example: vellfeed ltl release 0x4000 --tag 7");
    return finish(app, context, request);
}

constexpr command requests[] = {
    {"alloc", "Allocate an LTL index for some interfaces", make_allocation},
    {"modify", "Give an LTL index other interfaces", make_modification},
    {"release", "Release an LTL index", make_release},
};

} // namespace

action make_ltl(CLI::App &app, command_context &context) {
    add_commands(app, requests, context);
    app.footer("Example: vellfeed ltl alloc --vlan 10 --tag 7 Eth3/7 Po1");
    return {};
}

} // namespace feed
