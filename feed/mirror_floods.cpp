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
    if (!floods_pending_ || is_waited_for(flood_requests_)) {
        return;
    }
    floods_pending_ = false;
    std::set<flood_key> differing;
    for (const change<flood_set> &one : diff(installed_.floods, wanted_.floods)) {
        differing.insert(*one.key);
    }
    for (const auto &[key, guesses] : flood_doubts_) {
        differing.insert(key);
    }
    flood_request request{{}, answer_due()};
    for (const flood_key &key : differing) {
        if (refused_floods_.contains(key)) {
            continue;
        }
        const auto wanted = wanted_.floods.find(key);
        const flood_set after = wanted == wanted_.floods.end() ? flood_set{} : wanted->second;
        request.changes.push_back({key, flood_guess(key, after), after});
    }
    if (request.changes.empty()) {
        return;
    }
    const std::uint32_t cookie = client_.new_cookie();
    const auto &sent = flood_requests_.emplace(cookie, std::move(request)).first->second;
    send_flood_update(client_, sent.changes, cookie);
}

// A set that the manager may have, besides those that it may have already.
void mirror::doubt_flood(const flood_key &key, const std::vector<std::uint32_t> &guess) {
    std::vector<std::vector<std::uint32_t>> &guesses = flood_doubts_[key];
    if (std::ranges::find(guesses, guess) == guesses.end()) {
        guesses.push_back(guess);
    }
}

// The manager handles requests in order: a late answer to an earlier one says what was, not what is.
void mirror::overtake_floods(std::uint32_t cookie, const flood_request &answered) {
    for (auto &[earlier, request] : flood_requests_) {
        for (const flood_change &change : answered.changes) {
            if (earlier < cookie) {
                request.overtaken.insert(change.key);
            }
        }
    }
}

// The library says which VLANs are acknowledged; why one is not, only the answer itself does.
void mirror::take_flood_answer(const received_message &message, const flood_request &request) {
    std::uint8_t *result = nullptr;
    if (vell_handle_l2_mc_update_flood_ltl_resp(message.handle(), &result) != 1) {
        say_once("the LTL manager's answer to the flood update cannot be read");
        return;
    }
    const std::unique_ptr<std::uint8_t, void (*)(void *)> owned(result, std::free);
    vell_l2_message head;
    std::memcpy(&head, result, sizeof head);
    const std::size_t count = std::min<std::size_t>(ntohs(head.count), request.changes.size());
    for (std::size_t i = 0; i < count; ++i) {
        vell_flood_result record;
        std::memcpy(&record, result + sizeof head + i * sizeof record, sizeof record);
        const flood_change &change = request.changes[i];
        if (ntohl(record.vlan) != change.key.vlan) {
            say_once("the LTL manager's answer to the flood update is of other VLANs");
            return;
        }
        if (request.overtaken.contains(change.key)) {
            continue;
        }
        std::uint32_t words[4] = {};
        nerb_sim_answer_entry(message.handle(), static_cast<std::uint32_t>(i), words);
        take_flood_result(change, (record.flags & VELL_FLOOD_ACKNOWLEDGED) != 0
                                      ? std::uint32_t{NERB_SIM_DONE}
                                      : words[3]);
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
        refused_floods_.erase(key);
        retry_pause_.reset();
        floods_pending_ = true;
        return;
    }
    const auto doubts = flood_doubts_.find(key);
    if (is_mismatch(status) && doubts != flood_doubts_.end()) {
        std::erase(doubts->second, change.before);
        floods_pending_ = true;
        if (!doubts->second.empty()) {
            return;
        }
        flood_doubts_.erase(doubts);
    } else if (is_mismatch(status) && flood_guess(key, change.after) != change.before) {
        // An answer that was late says more than the update knew.
        floods_pending_ = true;
        return;
    }
    refuse(refused_floods_, key, counts_.floods,
           fmt::format("the LTL manager refused the flood set: {} (status {}){}",
                       nerb_sim_status_name(status), status,
                       is_mismatch(status)
                           ? "; it has other interfaces than vellfeed knows of: `vellfeed repair`"
                           : ""));
}

} // namespace feed
