// The LTL manager's requests, entry by entry, and its answers.
#include "sim/switch/limits.h"
#include "sim/switch/request.h"
#include "sim/wire/frame.h"

#include <array>
#include <fmt/format.h>
#include <string>

namespace sim {

namespace {

// One request: what its entries do to the tables, and the answer.
class ltl_run {
public:
    explicit ltl_run(request &asked, std::uint32_t cookie)
        : asked_(asked),
          from_(name_sender(asked)),
          answer_{asked.head.opcode, cookie, {}},
          refused_(asked, log_level_error) {}

    const sender_name &from() const { return from_; }
    service &vell() const { return asked_.vell; }
    std::size_t room() const { return interface_limit - held_interfaces(vell()); }

    // The result of an entry. The log names a refused one by the format with the number in it.
    void add(const std::array<std::uint32_t, 3> &words, const ltl_outcome &outcome,
             fmt::format_string<std::uint32_t &> format, std::uint32_t number) {
        answer_.results.push_back({words, outcome.status});
        if (outcome.status != NERB_SIM_DONE) {
            refused_.add(
                [&] { return fmt::format(format, number) + ": " + outcome_text(outcome); });
        }
    }

    void answer() {
        refused_.log_rest("entries of the same request refused");
        add_replies(asked_.replies,
                    message_frame(asked_.head.sap, asked_.head.opcode, encode_ltl_answer(answer_)),
                    vell().faults.ltl_answer);
    }

private:
    request &asked_;
    sender_name from_;
    ltl_answer answer_;
    line_limit refused_;
};

bool is_refused_vlan(const service &vell, std::uint32_t vlan) {
    return VELL_SIM_IS_VLAN(vlan) &&
           vell.faults.ltl_refused_vlans.contains(static_cast<std::uint16_t>(vlan));
}

void allocate(ltl_run &run, const ltl_entry &entry) {
    const auto [vlan, tag] = entry.keys;
    std::uint32_t index = 0;
    const ltl_outcome outcome =
        is_refused_vlan(run.vell(), vlan)
            ? ltl_outcome{NERB_SIM_REFUSED_BY_FAULT_MODE}
            : run.vell().ltls.allocate(entry, run.from(), run.vell().faults.ltl_pool, run.room(),
                                       index);
    run.add({tag, index, static_cast<std::uint32_t>(run.vell().ltls.interfaces_of(index))}, outcome,
            "LTL allocation for VLAN {}", vlan);
}

void modify(ltl_run &run, const ltl_entry &entry) {
    const auto [index, tag] = entry.keys;
    ltl_table &ltls = run.vell().ltls;
    const ltl_outcome outcome = ltls.modify(entry, run.from(), run.room());
    run.add({index, tag, static_cast<std::uint32_t>(ltls.interfaces_of(index))}, outcome,
            "modification of LTL {:#x}", index);
}

void release(ltl_run &run, const ltl_keys &keys) {
    const auto [index, tag] = keys;
    run.add({index, tag, 0}, run.vell().ltls.release(keys), "release of LTL {:#x}", index);
}

void update(ltl_run &run, const flood_update &update) {
    const ltl_outcome outcome = is_refused_vlan(run.vell(), update.vlan)
                                    ? ltl_outcome{NERB_SIM_REFUSED_BY_FAULT_MODE}
                                    : run.vell().floods.apply(update, run.from(), run.room());
    std::uint32_t additions = 0;
    std::uint32_t removals = 0;
    if (outcome.status == NERB_SIM_DONE) {
        for (const interface_update &one : update.updates) {
            ++(one.operation == VELL_SIM_FLOOD_ADD ? additions : removals);
        }
    }
    run.add({update.vlan, additions, removals}, outcome, "flood update of VLAN {}", update.vlan);
}

// Nothing is applied before everything is decoded.
template <typename Entry>
void handle(request &asked, const ltl_request<Entry> &decoded,
            void (*apply)(ltl_run &run, const Entry &entry)) {
    ltl_run run(asked, decoded.cookie);
    asked.records = decoded.entries.size();
    for (const Entry &entry : decoded.entries) {
        apply(run, entry);
    }
    run.answer();
}

} // namespace

void handle_ltl_allocation(request &asked) {
    handle(asked, decode_ltl_request(asked.payload), allocate);
}

void handle_ltl_modification(request &asked) {
    handle(asked, decode_ltl_request(asked.payload), modify);
}

void handle_ltl_release(request &asked) {
    handle(asked, decode_ltl_release(asked.payload), release);
}

void handle_flood_update(request &asked) {
    handle(asked, decode_flood_request(asked.payload), update);
}

} // namespace sim
