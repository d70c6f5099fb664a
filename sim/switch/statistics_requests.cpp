// What the statistics and clear requests do, and their answers.
#include "sim/switch/request.h"
#include "sim/switch/statistics.h"
#include "sim/wire/message_frame.h"

namespace sim {

namespace {

// A route held as a record, which only IPv4 routes are.
bool holds_route(const service &vell, const counter_key &key) {
    return key.group.kind == l2_address_kind::ipv4 && vell.routes.contains(to_route_key(key));
}

route_counters *find_counters(service &vell, const counter_key &key) {
    if (const auto found = vell.counters.find(key); found != vell.counters.end()) {
        return &found->second;
    }
    return holds_route(vell, key) ? &vell.counters[key] : nullptr;
}

statistics_answer look_up(service &vell, const statistics_request &wanted) {
    route_counters *counters = find_counters(vell, wanted.key);
    if (counters == nullptr) {
        return {};
    }
    const statistics_answer answer{.found = true, .cleared = wanted.clear, .seen = counters->seen};
    ++counters->requests;
    if (wanted.clear) {
        ++counters->clears;
        counters->seen = {};
    }
    return answer;
}

void answer(request &asked, const statistics_request &wanted) {
    require_registered(asked);
    const auto payload = encode_statistics_answer(wanted.key, look_up(asked.vell, wanted));
    const fault_modes &faults = asked.vell.faults;
    const reply answered{message_frame(asked.head.sap, asked.head.opcode, payload),
                         faults.answer_delay};
    asked.replies.insert(asked.replies.end(), copies(faults.answer), answered);
}

} // namespace

void handle_ipv4_statistics(request &asked) {
    require_option_word_1(asked, 0);
    answer(asked, decode_ipv4_statistics_request(asked.payload, false));
}

void handle_ipv4_clear(request &asked) {
    require_option_word_1(asked, 0);
    answer(asked, decode_ipv4_statistics_request(asked.payload, true));
}

void handle_ipv6_statistics(request &asked) {
    require_option_word_1(asked, 0);
    answer(asked, decode_ipv6_statistics_request(asked.payload, false));
}

void handle_ipv6_clear(request &asked) {
    require_option_word_1(asked, 0);
    answer(asked, decode_ipv6_statistics_request(asked.payload, true));
}

} // namespace sim
