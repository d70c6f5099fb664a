// The mirror's flood sets: all VLANs that differ in one update, of which each is acknowledged.
#include "feed/mirror.h"

#include <nerb_sim.h>
#include <vell.h>

#include <algorithm>
#include <arpa/inet.h>
#include <cstdlib>
#include <cstring>
#include <fmt/format.h>
#include <iterator>
#include <memory>

namespace feed {

namespace {

std::size_t distance(const std::vector<std::uint32_t> &one,
                     const std::vector<std::uint32_t> &other) {
    std::vector<std::uint32_t> different;
    std::ranges::set_symmetric_difference(one, other, std::back_inserter(different));
    return different.size();
}

// Whether the manager has something else than it was taken to have.
bool is_mismatch(std::uint32_t status) {
    return status == NERB_SIM_INTERFACE_PRESENT || status == NERB_SIM_INTERFACE_ABSENT;
}

} // namespace

// The manager checks only the interfaces that an update adds or removes. So the guess that is
// farthest from what is wanted comes first: the update from a nearer one would be accepted by a manager
// that has the farther one, and leave the rest of the difference there.
std::vector<std::uint32_t> mirror::flood_guess(const flood_key &key, const flood_set &after) const {
    const auto doubts = flood_doubts_.find(key);
    if (doubts != flood_doubts_.end()) {
        return std::ranges::max(doubts->second, {}, [&](const auto &guess) {
            return distance(guess, after.interfaces);
        });
    }
    const auto installed = installed_.floods.find(key);
    return installed == installed_.floods.end() ? std::vector<std::uint32_t>()
                                                : installed->second.interfaces;
}

void mirror::send_floods() {
    if (!pending_.floods || floods_.requests.waiting() > 0) {
        return;
    }
    pending_.floods = false;
    std::set<flood_key> differing;
    for (const change<flood_set> &one : diff(installed_.floods, wanted_.floods)) {
        differing.insert(*one.key);
    }
    for (const auto &[key, guesses] : flood_doubts_) {
        differing.insert(key);
    }
    std::vector<flood_change> changes;
    for (const flood_key &key : differing) {
        if (floods_.refused.contains(key) || floods_.unknown.contains(key)) {
            continue;
        }
        const auto wanted = wanted_.floods.find(key);
        const flood_set after = wanted == wanted_.floods.end() ? flood_set{} : wanted->second;
        changes.push_back({key, flood_guess(key, after), after});
    }
    if (!changes.empty()) {
        const std::uint32_t cookie = client_.new_cookie();
        floods_.requests.add(cookie, changes, answer_due());
        send_flood_update(client_, changes, cookie);
    }
}

// A set that the manager may have, besides those that it may have already.
void mirror::doubt_flood(const flood_key &key, const std::vector<std::uint32_t> &guess) {
    std::vector<std::vector<std::uint32_t>> &guesses = flood_doubts_[key];
    if (std::ranges::find(guesses, guess) == guesses.end()) {
        guesses.push_back(guess);
    }
}

void mirror::doubt_flood(const flood_change &change) {
    doubt_flood(change.key, change.before);
    doubt_flood(change.key, change.after.interfaces);
}

// The library says which VLANs are acknowledged; why one is not, only the answer itself does. A VLAN
// that the answer leaves out is not answered.
void mirror::take_flood_answer(const received_message &message, std::uint32_t cookie) {
    std::uint8_t *result = nullptr;
    if (floods_.requests.find(cookie) == nullptr ||
        vell_handle_l2_mc_update_flood_ltl_resp(message.handle(), &result) != 1) {
        return;
    }
    const std::unique_ptr<std::uint8_t, void (*)(void *)> owned(result, std::free);
    vell_l2_message head;
    std::memcpy(&head, result, sizeof head);
    for (std::uint32_t i = 0; i < ntohs(head.count); ++i) {
        vell_flood_result record;
        std::memcpy(&record, result + sizeof head + i * sizeof record, sizeof record);
        const std::uint32_t vlan = ntohl(record.vlan);
        const auto change = vlan <= UINT16_MAX
                                ? floods_.requests.take(cookie, {static_cast<std::uint16_t>(vlan)})
                                : std::nullopt;
        std::uint32_t words[4] = {};
        if (change && nerb_sim_answer_entry(message.handle(), i, words) == NERB_SIM_READ) {
            take_flood_result(*change, (record.flags & VELL_FLOOD_ACKNOWLEDGED) != 0
                                           ? std::uint32_t{NERB_SIM_DONE}
                                           : words[3]);
        }
    }
}

void mirror::take_flood_result(const flood_change &change, std::uint32_t status) {
    const flood_key &key = change.key;
    if (status == NERB_SIM_DONE) {
        sent_counts &counts = counts_.floods;
        if (change.before != change.after.interfaces) {
            ++(change.before.empty()             ? counts.added
               : change.after.interfaces.empty() ? counts.removed
                                                 : counts.changed);
        }
        if (change.after.interfaces.empty() && !wanted_.floods.contains(key)) {
            installed_.floods.erase(key);
        } else {
            installed_.floods.insert_or_assign(key, change.after);
        }
        flood_doubts_.erase(key);
        floods_.refused.erase(key);
        retry_pause_.reset();
        pending_.floods = true;
        return;
    }
    const auto doubts = flood_doubts_.find(key);
    if (is_mismatch(status)) {
        pending_.floods = true;
        if (floods_.requests.has(key)) {
            return; // a later update may have changed it to what it was not
        }
        if (doubts != flood_doubts_.end()) {
            std::erase(doubts->second, change.before);
            if (!doubts->second.empty()) {
                return;
            }
            flood_doubts_.erase(doubts);
        } else if (flood_guess(key, change.after) != change.before) {
            return; // an answer that was late says more than the update knew
        }
        if (options_.keeps_trying) {
            floods_.unknown.insert(key);
        }
    }
    refuse(floods_, key, counts_.floods,
           fmt::format("the LTL manager refused the flood set: {} (status {}){}",
                       nerb_sim_status_name(status), status,
                       !is_mismatch(status)    ? ""
                       : options_.keeps_trying ? "; it is asked what it has"
                                               : "; it has other interfaces than vellfeed knows "
                                                 "of: `vellfeed repair`"));
}

} // namespace feed
