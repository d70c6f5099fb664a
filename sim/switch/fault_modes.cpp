#include "sim/switch/fault_modes.h"

#include "sim/base/text.h"
#include "sim/switch/limits.h"
#include "sim/wire/frame.h"

#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <iterator>

namespace sim {

namespace {

using std::chrono::milliseconds;
using texts = std::vector<std::string>;

constexpr std::uint32_t longest_delay_ms = 3'600'000;

constexpr std::string_view late_prefix = "late:";

struct named_mode {
    std::string_view name;
    ack_mode mode;
};
constexpr named_mode named_modes[] = {
    {"once", ack_mode::once},       {"twice", ack_mode::twice}, {"never", ack_mode::never},
    {"garbled", ack_mode::garbled}, {"cut", ack_mode::cut},     {"foreign", ack_mode::foreign},
};

std::string read_number(const std::string &text, std::uint32_t least, std::uint32_t most,
                        std::uint32_t &number) {
    const std::optional<std::uint64_t> read = parse_number(text);
    if (!read || *read < least || *read > most) {
        return fmt::format("{} is not a number from {} to {}", printable(text), least, most);
    }
    number = static_cast<std::uint32_t>(*read);
    return {};
}

template <answer_fault fault_modes::*Fault>
std::string set_answer(fault_modes &faults, const std::string &text) {
    const auto found = std::ranges::find(named_modes, text, &named_mode::name);
    std::uint32_t delay = 0;
    if (found != std::end(named_modes)) {
        faults.*Fault = found->mode;
    } else if (text.starts_with(late_prefix) &&
               read_number(text.substr(late_prefix.size()), 0, longest_delay_ms, delay).empty()) {
        faults.*Fault = {ack_mode::late, milliseconds(delay)};
    } else {
        return fmt::format("{} is not late:MS (0 to {} milliseconds), twice, never, garbled, cut, "
                           "foreign or once",
                           printable(text), longest_delay_ms);
    }
    return {};
}

template <answer_fault fault_modes::*Fault>
texts answer_values(const fault_modes &faults) {
    const answer_fault &how = faults.*Fault;
    if (how.mode == ack_mode::once) {
        return {};
    }
    if (how.mode == ack_mode::late) {
        return {fmt::format("{}{}", late_prefix, how.delay.count())};
    }
    return {std::string(std::ranges::find(named_modes, how.mode, &named_mode::mode)->name)};
}

template <std::set<std::uint16_t> fault_modes::*Vlans>
std::string add_vlan(fault_modes &faults, const std::string &text) {
    std::uint32_t vlan = 0;
    std::string error = read_number(text, 1, VELL_SIM_HIGHEST_VLAN, vlan);
    if (error.empty()) {
        (faults.*Vlans).insert(static_cast<std::uint16_t>(vlan));
    }
    return error;
}

template <std::set<std::uint16_t> fault_modes::*Vlans>
texts vlan_values(const fault_modes &faults) {
    texts values;
    std::ranges::transform(faults.*Vlans, std::back_inserter(values),
                           [](std::uint16_t vlan) { return std::to_string(vlan); });
    return values;
}

template <std::uint32_t fault_modes::*Number, std::uint32_t Least, std::uint32_t Most>
std::string set_number(fault_modes &faults, const std::string &text) {
    return read_number(text, Least, Most, faults.*Number);
}

template <std::uint32_t fault_modes::*Number>
texts number_value(const fault_modes &faults) {
    const bool is_on = faults.*Number != fault_modes{}.*Number;
    return is_on ? texts{std::to_string(faults.*Number)} : texts{};
}

std::string set_rejection(fault_modes &faults, const std::string &) {
    faults.reject_registration = true;
    return {};
}

texts rejection_value(const fault_modes &faults) {
    return faults.reject_registration ? texts{""} : texts{};
}

std::string add_group(fault_modes &faults, const std::string &text) {
    const auto group = parse_l2_address(text);
    if (!group) {
        return fmt::format("{} is not an IPv4, IPv6 or MAC address", printable(text));
    }
    faults.refused_groups.insert(address_text(*group));
    return {};
}

texts group_values(const fault_modes &faults) {
    return {faults.refused_groups.begin(), faults.refused_groups.end()};
}

std::string set_ack_id(fault_modes &faults, const std::string &text) {
    std::uint32_t id = 0;
    std::string error = read_number(text, 0, 255, id);
    if (error.empty()) {
        faults.ack_id = static_cast<std::uint8_t>(id);
    }
    return error;
}

texts ack_id_value(const fault_modes &faults) {
    return faults.ack_id ? texts{std::to_string(*faults.ack_id)} : texts{};
}

std::string set_slow(fault_modes &faults, const std::string &text) {
    std::uint32_t delay = 0;
    std::string error = read_number(text, 0, longest_delay_ms, delay);
    if (error.empty()) {
        faults.slow = milliseconds(delay);
    }
    return error;
}

texts slow_value(const fault_modes &faults) {
    return faults.slow.count() != 0 ? texts{std::to_string(faults.slow.count())} : texts{};
}

constexpr fault_mode modes[] = {
    {"reject-registration", "", "Answer every registration with a rejection", set_rejection,
     rejection_value},
    {"ack", "MODE",
     "How to acknowledge registrations: late:MS (MS milliseconds\n"
     "later), twice, never, garbled (every byte inverted), cut\n"
     "(half of it), foreign (after a message that answers\n"
     "nothing) or once. What was asked for is done at once",
     set_answer<&fault_modes::ack>, answer_values<&fault_modes::ack>},
    {"answer", "MODE", "How to answer statistics and clear requests: as for --ack",
     set_answer<&fault_modes::answer>, answer_values<&fault_modes::answer>},
    {"ltl-answer", "MODE", "How the LTL manager answers: as for --ack",
     set_answer<&fault_modes::ltl_answer>, answer_values<&fault_modes::ltl_answer>},
    {"ltl-refuse-vlan", "VLAN",
     "Refuse flood updates and LTL allocations for this VLAN;\n"
     "may be given several times",
     add_vlan<&fault_modes::ltl_refused_vlans>, vlan_values<&fault_modes::ltl_refused_vlans>},
    {"ltl-pool", "N", "How many LTL indexes there are; 0: always exhausted;\ndefault 1024",
     set_number<&fault_modes::ltl_pool, 0, ltl_index_limit>, number_value<&fault_modes::ltl_pool>},
    {"refuse-vlan", "VLAN",
     "Refuse layer-2 messages that name this VLAN; may be\n"
     "given several times",
     add_vlan<&fault_modes::refused_vlans>, vlan_values<&fault_modes::refused_vlans>},
    {"refuse-group", "ADDRESS",
     "Refuse route and layer-2 messages that name this group;\n"
     "may be given several times",
     add_group, group_values},
    {"ack-id", "N", "The client id to hand out, the same to every client;\n0 is allowed",
     set_ack_id, ack_id_value},
    {"slow", "MS", "Pause before each request of a client, in milliseconds", set_slow, slow_value},
    {"drop-after", "N",
     "Close the connection that sends the Nth request from\n"
     "now, without an answer; the switch goes on",
     set_number<&fault_modes::drop_after, 1, UINT32_MAX>, number_value<&fault_modes::drop_after>},
    {"die-after", "N",
     "Exit with code 3 after N requests from now, refused ones\n"
     "included, and leave the socket as a crash would",
     set_number<&fault_modes::die_after, 1, UINT32_MAX>, number_value<&fault_modes::die_after>},
};

static_assert(VELL_SIM_LTL_POOL_SIZE == 1024, "the help of --ltl-pool says so");

std::vector<std::byte> with_payload(const std::vector<std::byte> &frame,
                                    std::vector<std::byte> payload, std::uint32_t opcode_offset) {
    frame_head head;
    std::memcpy(&head, frame.data(), sizeof head);
    head.length = static_cast<std::uint32_t>(payload.size());
    head.opcode += opcode_offset;
    std::vector<std::byte> made(sizeof head);
    std::memcpy(made.data(), &head, sizeof head);
    made.insert(made.end(), payload.begin(), payload.end());
    return made;
}

std::string set_one(fault_modes &faults, const std::string &option, const std::string &value) {
    const auto found = std::ranges::find_if(modes, [&option](const fault_mode &mode) {
        return option == "--" + std::string(mode.name);
    });
    if (found == std::end(modes)) {
        return fmt::format("there is no fault mode {}", printable(option));
    }
    const std::string error = found->set(faults, value);
    return error.empty() ? error : fmt::format("{}: {}", option, error);
}

} // namespace

void add_replies(std::vector<reply> &replies, const std::vector<std::byte> &frame,
                 const answer_fault &how) {
    std::vector<std::byte> payload(frame.begin() + sizeof(frame_head), frame.end());
    switch (how.mode) {
    case ack_mode::never:
        return;
    case ack_mode::garbled:
        std::ranges::transform(payload, payload.begin(), [](std::byte one) { return ~one; });
        replies.push_back({with_payload(frame, payload, 0)});
        return;
    case ack_mode::cut:
        payload.resize(payload.size() / 2);
        replies.push_back({with_payload(frame, payload, 0)});
        return;
    case ack_mode::foreign:
        replies.push_back({with_payload(frame, payload, 1000)});
        break;
    case ack_mode::twice:
        replies.push_back({frame});
        break;
    case ack_mode::once:
    case ack_mode::late:
        break;
    }
    replies.push_back({frame, how.delay});
}

std::span<const fault_mode> all_fault_modes() {
    return modes;
}

std::string fault_text(const fault_modes &faults) {
    std::string text;
    for (const fault_mode &mode : modes) {
        for (const std::string &value : mode.values(faults)) {
            text += fmt::format("{}--{}{}{}", text.empty() ? "" : " ", mode.name,
                                value.empty() ? "" : " ", value);
        }
    }
    return text;
}

std::string set_faults(fault_modes &faults, std::string_view text) {
    fault_modes changed = faults;
    while (!text.empty()) {
        // An option, and what comes before the next one.
        const std::string_view one = text.substr(0, text.find(" --"));
        text.remove_prefix(std::min(one.size() + 1, text.size()));
        const std::size_t space = std::min(one.find(' '), one.size());
        std::string error = set_one(changed, std::string(one.substr(0, space)),
                                    std::string(one.substr(std::min(space + 1, one.size()))));
        if (!error.empty()) {
            return error;
        }
    }
    faults = changed;
    return {};
}

} // namespace sim
