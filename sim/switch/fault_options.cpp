#include "sim/switch/fault_options.h"

#include "sim/switch/limits.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <fmt/format.h>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

namespace {

using std::chrono::milliseconds;

constexpr int longest_delay_ms = 3'600'000;
constexpr const char *group = "Fault modes, for testing clients";

std::optional<int> parse_delay(const std::string &text) {
    int delay = 0;
    const bool fits = !text.empty() && text.size() < 9 && std::ranges::all_of(text, [](char digit) {
        return digit >= '0' && digit <= '9';
    });
    delay = fits ? std::stoi(text) : -1;
    return delay >= 0 && delay <= longest_delay_ms ? std::optional(delay) : std::nullopt;
}

// Returns an empty string or what is wrong, as CLI11 wants it of a validator.
std::string parse_ack_mode(const std::string &text, ack_mode &mode,
                           std::chrono::milliseconds &late_by) {
    constexpr std::string_view late = "late:";
    if (text == "twice") {
        mode = ack_mode::twice;
    } else if (text == "never") {
        mode = ack_mode::never;
    } else if (const auto delay =
                   text.starts_with(late) ? parse_delay(text.substr(late.size())) : std::nullopt) {
        mode = ack_mode::late;
        late_by = std::chrono::milliseconds(*delay);
    } else {
        return fmt::format("{} is not late:MS (0 to {} milliseconds), twice or never", text,
                           longest_delay_ms);
    }
    return {};
}

// An option that says how something is answered.
struct answer_option {
    const char *name;
    const char *help;
    ack_mode fault_modes::*mode;
    milliseconds fault_modes::*delay;
};

constexpr answer_option answer_options[] = {
    {"--ack",
     "How to acknowledge registrations: late:MS (so many\nmilliseconds later), twice or never; "
     "what was asked for\nis "
     "done at once all the same",
     &fault_modes::ack, &fault_modes::ack_delay},
    {"--answer", "How to answer statistics and clear requests, likewise", &fault_modes::answer,
     &fault_modes::answer_delay},
    {"--ltl-answer", "How the LTL manager answers, likewise", &fault_modes::ltl_answer,
     &fault_modes::ltl_answer_delay},
};

void add_answer_option(CLI::App *run, fault_modes &faults, const answer_option &option) {
    ack_mode &mode = faults.*option.mode;
    milliseconds &delay = faults.*option.delay;
    run->add_option_function<std::string>(
           option.name, [](const std::string &) {}, option.help)
        ->check(CLI::Validator(
            [&mode, &delay](std::string &text) { return parse_ack_mode(text, mode, delay); }, ""))
        ->type_name("MODE")
        ->group(group);
}

void add_ltl_options(CLI::App *run, fault_modes &faults) {
    run->add_option_function<std::vector<std::uint16_t>>(
           "--ltl-refuse-vlan",
           [&faults](const std::vector<std::uint16_t> &vlans) {
               faults.ltl_refused_vlans = {vlans.begin(), vlans.end()};
           },
           "Refuse flood updates and LTL allocations for this VLAN;\nmay be given several times")
        ->check(CLI::Range(1, int{VELL_SIM_HIGHEST_VLAN}).description(""))
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->allow_extra_args(false)
        ->type_name("VLAN")
        ->group(group);
    run->add_option("--ltl-pool", faults.ltl_pool,
                    fmt::format("How many LTL indexes there are; 0: always exhausted;\ndefault {}",
                                VELL_SIM_LTL_POOL_SIZE))
        ->check(CLI::Range(0u, ltl_index_limit).description(""))
        ->type_name("N")
        ->group(group);
}

} // namespace

void add_fault_options(CLI::App *run, fault_modes &faults) {
    run->add_flag("--reject-registration", faults.reject_registration,
                  "Answer every registration with a rejection")
        ->group(group);
    for (const answer_option &option : answer_options) {
        add_answer_option(run, faults, option);
    }
    add_ltl_options(run, faults);
    run->add_option("--ack-id", faults.ack_id,
                    "The client id to hand out, the same to every client;\n"
                    "0 is allowed")
        ->check(CLI::Range(0, 255).description(""))
        ->type_name("N")
        ->group(group);
    run->add_option_function<int>(
           "--slow", [&faults](int ms) { faults.slow = milliseconds(ms); },
           "Pause before each request of a client, in milliseconds")
        ->check(CLI::Range(0, longest_delay_ms).description(""))
        ->type_name("MS")
        ->group(group);
    run->add_option("--die-after", faults.die_after,
                    "Exit with code 3 after so many requests, refused ones\n"
                    "included, and leave the socket behind as a crash would")
        ->check(CLI::Range(1u, UINT32_MAX).description(""))
        ->type_name("N")
        ->group(group);
}

std::string fault_text(const CLI::App &run) {
    std::string text;
    for (const CLI::Option *option : run.get_options()) {
        if (option->get_group() != group) {
            continue;
        }
        for (const std::string &value : option->results()) {
            const std::string word = option->get_items_expected_max() == 0 ? "" : " " + value;
            text += (text.empty() ? "" : " ") + option->get_name() + word;
        }
    }
    return text;
}

} // namespace sim
