// The mirror's LTLs: an index is allocated for a group that comes, changed with its ports, and released
// when it goes.
#include "feed/mirror.h"

#include <nerb_sim.h>

#include <algorithm>
#include <fmt/format.h>

namespace feed {

namespace {

// How many requests wait for their answers at a time.
constexpr std::size_t most_waiting = 64;

// Whether the manager has no such LTL of ours.
bool is_gone(std::uint32_t status) {
    return status == NERB_SIM_NO_SUCH_LTL || status == NERB_SIM_TAG_MISMATCH;
}

std::string refusal(const ltl_change &change, std::uint32_t status) {
    return fmt::format("the LTL manager refused the {}: {} (status {})", operation_name(change),
                       nerb_sim_status_name(status), status);
}

} // namespace

void mirror::send_ltls() {
    if (!pending_.ltls) {
        return;
    }
    pending_.ltls = false;
    // An index that another row has by now was released before, though nobody said so.
    for (const auto &[key, row] : installed_.ltls) {
        spare_ltls_.erase(row.index);
    }
    std::vector<ltl_change> changes;
    for (const auto &[index, key] : spare_ltls_) {
        changes.push_back({NERB_SIM_OPCODE_RELEASE, key, {{}, index}});
    }
    const auto add = [&](std::uint32_t opcode, const ltl_key &key, const ltl &row,
                         std::uint32_t index) {
        if (!ltls_.refused.contains(key) && !ltls_.unknown.contains(key)) {
            changes.push_back({opcode, key, {row.interfaces, index}});
        }
    };
    const std::vector<change<ltl>> differing = diff(installed_.ltls, wanted_.ltls);
    // An index that is released first can be allocated again.
    for (const change<ltl> &one : differing) {
        if (one.after == nullptr) {
            add(NERB_SIM_OPCODE_RELEASE, *one.key, *one.before, one.before->index);
        }
    }
    for (const change<ltl> &one : differing) {
        if (one.before == nullptr) {
            add(NERB_SIM_OPCODE_ALLOCATION, *one.key, *one.after, 0);
        } else if (one.after != nullptr) {
            add(NERB_SIM_OPCODE_MODIFICATION, *one.key, *one.after, one.before->index);
        }
    }
    for (const ltl_key &key : ltl_doubts_) {
        const auto known = installed_.ltls.find(key);
        const auto wanted = wanted_.ltls.find(key);
        if (known != installed_.ltls.end() && wanted != wanted_.ltls.end() &&
            known->second == wanted->second) {
            add(NERB_SIM_OPCODE_MODIFICATION, key, known->second, known->second.index);
        }
    }
    std::size_t waiting = ltls_.requests.waiting();
    for (const ltl_change &change : changes) {
        if (ltls_.requests.waits_for(change.key)) {
            continue;
        }
        if (waiting++ >= most_waiting) {
            pending_.ltls = true;
            return;
        }
        // Remembered first: a request that was cut off may have been taken all the same.
        const std::uint32_t cookie = client_.new_cookie();
        ltls_.requests.add(cookie, {change}, answer_due());
        client_.require_sent(send_ltl_change(change, cookie), "request to the LTL manager");
    }
}

// An answer to it may still come, or never.
void mirror::doubt_ltl(const ltl_change &change) {
    if (change.opcode == NERB_SIM_OPCODE_RELEASE && spare_ltls_.contains(change.row.index)) {
        return; // it is released again
    }
    ltls_.refused.insert(change.key);
    if (change.opcode == NERB_SIM_OPCODE_ALLOCATION) {
        ltls_.unknown.insert(change.key);
    } else if (installed_.ltls.contains(change.key)) {
        ltl_doubts_.insert(change.key);
    }
}

void mirror::take_ltl_answer(const received_message &message, std::uint32_t cookie) {
    const auto *const asked = ltls_.requests.find(cookie);
    std::uint32_t words[4];
    if (asked == nullptr || message.opcode() != asked->begin()->second.opcode ||
        nerb_sim_answer_entry(message.handle(), 0, words) != NERB_SIM_READ) {
        return;
    }
    const ltl_key key = asked->begin()->first;
    const ltl_change change = ltls_.requests.take(cookie, key).value();
    if (change.opcode == NERB_SIM_OPCODE_RELEASE && spare_ltls_.contains(change.row.index)) {
        take_spare_result(change, words[3]);
    } else {
        const bool is_allocation = change.opcode == NERB_SIM_OPCODE_ALLOCATION;
        take_ltl_result(change, is_allocation ? words[1] : words[0], words[3]);
    }
}

void mirror::take_ltl_result(const ltl_change &change, std::uint32_t index, std::uint32_t status) {
    const ltl_key &key = change.key;
    pending_.ltls = true;
    const auto known = installed_.ltls.find(key);
    if (status == NERB_SIM_DONE) {
        retry_pause_.reset();
        ltls_.refused.erase(key);
        ltls_.unknown.erase(key);
    } else if (change.opcode == NERB_SIM_OPCODE_ALLOCATION || !is_gone(status)) {
        refuse(ltls_, key, counts_.ltls, refusal(change, status));
        return;
    }
    ltl_doubts_.erase(key);
    if (change.opcode == NERB_SIM_OPCODE_ALLOCATION) {
        if (known == installed_.ltls.end()) {
            installed_.ltls[key] = {change.row.interfaces, index};
            ++counts_.ltls.added;
        } else if (known->second.index != index) {
            // A late answer, to an allocation that was made again meanwhile.
            spare_ltls_.emplace(index, key);
        }
    } else if (change.opcode == NERB_SIM_OPCODE_MODIFICATION && status == NERB_SIM_DONE) {
        if (known != installed_.ltls.end()) {
            counts_.ltls.changed += known->second.interfaces == change.row.interfaces ? 0 : 1;
            known->second.interfaces = change.row.interfaces;
        }
    } else if (known != installed_.ltls.end() && known->second.index == change.row.index) {
        installed_.ltls.erase(known);
        counts_.ltls.removed += change.opcode == NERB_SIM_OPCODE_RELEASE ? 1 : 0;
    }
}

// An index that was allocated besides another one is free again, unless it is refused.
void mirror::take_spare_result(const ltl_change &change, std::uint32_t status) {
    if (status != NERB_SIM_DONE && !is_gone(status)) {
        say_once(fmt::format("LTL {:#x}: {}", change.row.index, refusal(change, status)));
        retry_later();
        return;
    }
    spare_ltls_.erase(change.row.index);
    pending_.ltls = true;
    // When it was released twice, another row may have got it in between.
    for (const auto &[key, row] : installed_.ltls) {
        if (row.index == change.row.index) {
            ltl_doubts_.insert(key);
        }
    }
}

} // namespace feed
