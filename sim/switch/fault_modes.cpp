#include "sim/switch/fault_modes.h"

#include "sim/base/text.h"
#include "sim/switch/limits.h"
#include "sim/wire/frame.h"

#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <iterator>
#include <optional>

namespace sim {

namespace {

constexpr std::uint32_t longest_delay_ms = 3'600'000;

constexpr fault_mode modes[] = {
    {"reject-registration", "", "Answer every registration with a rejection",
     &fault_modes::reject_registration},
    {"ack", "MODE",
     "How to acknowledge registrations: late:MS (MS milliseconds\n"
     "later), twice, never, garbled (every byte inverted), cut\n"
     "(half of it), foreign (after a message that answers\n"
     "nothing) or once. What was asked for is done at once",
     &fault_modes::ack},
    {"answer", "MODE", "How to answer statistics and clear requests: as for --ack",
     &fault_modes::answer},
    {"ltl-answer", "MODE", "How the LTL manager answers: as for --ack", &fault_modes::ltl_answer},
    {"ltl-refuse-vlan", "VLAN",
     "Refuse flood updates and LTL allocations for this VLAN;\n"
     "may be given several times",
     &fault_modes::ltl_refused_vlans},
    {"ltl-pool", "N", "How many LTL indexes there are; 0: always exhausted;\ndefault 1024",
     number_fault{&fault_modes::ltl_pool, 0, ltl_index_limit}},
    {"refuse-vlan", "VLAN",
     "Refuse layer-2 messages that name this VLAN; may be\n"
     "given several times",
     &fault_modes::refused_vlans},
    {"refuse-group", "ADDRESS",
     "Refuse route and layer-2 messages that name this group;\n"
     "may be given several times",
     &fault_modes::refused_groups},
    {"ack-id", "N", "The client id to hand out, the same to every client;\n0 is allowed",
     number_fault{&fault_modes::ack_id, 0, 255}},
    {"slow", "MS", "Pause before each request of a client, in milliseconds",
     number_fault{&fault_modes::slow_ms, 0, longest_delay_ms}},
    {"drop-after", "N",
     "Close the connection that sends the Nth request from\n"
     "now, without an answer; the switch goes on",
     number_fault{&fault_modes::drop_after, 1, UINT32_MAX}},
    {"die-after", "N",
     "Exit with code 3 after N requests from now, refused ones\n"
     "included, and leave the socket as a crash would",
     number_fault{&fault_modes::die_after, 1, UINT32_MAX}},
};

static_assert(VELL_SIM_LTL_POOL_SIZE == 1024, "the help of --ltl-pool says so");

constexpr std::string_view late_prefix = "late:";

struct named_mode {
    std::string_view name;
    ack_mode mode;
};
constexpr named_mode named_modes[] = {
    {"once", ack_mode::once},       {"twice", ack_mode::twice}, {"never", ack_mode::never},
    {"garbled", ack_mode::garbled}, {"cut", ack_mode::cut},     {"foreign", ack_mode::foreign},
};

// Sets the mode that a table row points to. Returns an empty string, or what is wrong.
struct setter {
    fault_modes &faults;
    const std::string &text;

    std::string operator()(bool fault_modes::*flag) const {
        faults.*flag = true;
        return {};
    }
    std::string operator()(const number_fault &number) const {
        return read(text, number.least, number.most, faults.*number.value);
    }
    std::string operator()(answer_fault fault_modes::*answer) const {
        const auto found = std::ranges::find(named_modes, text, &named_mode::name);
        std::uint32_t delay = 0;
        if (found != std::end(named_modes)) {
            faults.*answer = found->mode;
        } else if (text.starts_with(late_prefix) &&
                   read(text.substr(late_prefix.size()), 0, longest_delay_ms, delay).empty()) {
            faults.*answer = {ack_mode::late, std::chrono::milliseconds(delay)};
        } else {
            return fmt::format("{} is not late:MS (0 to {} milliseconds), twice, never, garbled, "
                               "cut, foreign or once",
                               printable(text), longest_delay_ms);
        }
        return {};
    }
    std::string operator()(std::set<std::uint16_t> fault_modes::*vlans) const {
        std::uint32_t vlan = 0;
        std::string error = read(text, 1, VELL_SIM_HIGHEST_VLAN, vlan);
        if (error.empty()) {
            (faults.*vlans).insert(static_cast<std::uint16_t>(vlan));
        }
        return error;
    }
    std::string operator()(std::set<l2_address> fault_modes::*groups) const {
        const std::optional<l2_address> group = parse_l2_address(text);
        if (!group) {
            return fmt::format("{} is not an IPv4, IPv6 or MAC address", printable(text));
        }
        (faults.*groups).insert(*group);
        return {};
    }

    static std::string read(const std::string &text, std::uint32_t least, std::uint32_t most,
                            std::uint32_t &number) {
        const std::optional<std::uint64_t> read = parse_number(text);
        if (!read || *read < least || *read > most) {
            return fmt::format("{} is not a number from {} to {}", printable(text), least, most);
        }
        number = static_cast<std::uint32_t>(*read);
        return {};
    }
};

// The values of the mode that a table row points to.
struct getter {
    using texts = std::vector<std::string>;
    const fault_modes &faults;

    texts operator()(bool fault_modes::*flag) const { return faults.*flag ? texts{""} : texts{}; }
    texts operator()(const number_fault &number) const {
        const std::uint32_t value = faults.*number.value;
        return value == fault_modes{}.*number.value ? texts{} : texts{std::to_string(value)};
    }
    texts operator()(answer_fault fault_modes::*answer) const {
        const auto &[mode, delay] = faults.*answer;
        if (mode == ack_mode::late) {
            return {fmt::format("{}{}", late_prefix, delay.count())};
        }
        const auto found = std::ranges::find(named_modes, mode, &named_mode::mode);
        return mode == ack_mode::once ? texts{} : texts{std::string(found->name)};
    }
    texts operator()(std::set<std::uint16_t> fault_modes::*vlans) const {
        texts values;
        for (const std::uint16_t vlan : faults.*vlans) {
            values.push_back(std::to_string(vlan));
        }
        return values;
    }
    texts operator()(std::set<l2_address> fault_modes::*groups) const {
        texts values;
        for (const l2_address &group : faults.*groups) {
            values.push_back(address_text(group));
        }
        return values;
    }
};

std::string set_one(fault_modes &faults, std::string_view name, const std::string &value) {
    const auto found = std::ranges::find(modes, name, &fault_mode::name);
    if (found == std::end(modes)) {
        return fmt::format("there is no fault mode --{}", printable(name));
    }
    const std::string error = found->set(faults, value);
    return error.empty() ? error : fmt::format("--{}: {}", name, error);
}

} // namespace

void add_replies(std::vector<reply> &replies, const std::vector<std::byte> &frame,
                 const answer_fault &how) {
    frame_head head;
    std::memcpy(&head, frame.data(), sizeof head);
    std::vector<std::byte> payload(frame.begin() + sizeof head, frame.end());
    switch (how.mode) {
    case ack_mode::never:
        return;
    case ack_mode::garbled:
        std::ranges::transform(payload, payload.begin(), [](std::byte one) { return ~one; });
        replies.push_back({frame_bytes(head, payload.data())});
        return;
    case ack_mode::cut:
        head.length /= 2;
        replies.push_back({frame_bytes(head, payload.data())});
        return;
    case ack_mode::foreign:
        head.opcode += 1000;
        replies.push_back({frame_bytes(head, payload.data())});
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

std::string fault_mode::set(fault_modes &faults, const std::string &text) const {
    return std::visit(setter{faults, text}, target);
}

std::vector<std::string> fault_mode::values(const fault_modes &faults) const {
    return std::visit(getter{faults}, target);
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
    if (!text.empty() && !text.starts_with("--")) {
        return fmt::format("there is no fault mode {}", printable(take_until(text, " ")));
    }
    text.remove_prefix(std::min<std::size_t>(text.size(), 2));
    while (!text.empty()) {
        std::string_view value = take_until(text, " --");
        const std::string_view option = take_until(value, " ");
        std::string error = set_one(changed, option, std::string(value));
        if (!error.empty()) {
            return error;
        }
    }
    faults = changed;
    return {};
}

} // namespace sim
