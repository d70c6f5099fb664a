// Requests whose rows are answered one by one, by their cookies, until they are answered.
//
// A request that has waited for too long has expired, and is remembered: its answer still counts when
// it comes. The manager handles requests in order, so an answer makes those to earlier requests for the
// same row void: they would say what was, not what is.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <optional>
#include <utility>
#include <vector>

namespace feed {

// A change has a `key`, and says in says_more() whether it still counts when it is answered late.
template <typename Change>
class open_requests {
public:
    using clock = std::chrono::steady_clock;
    using key_type = decltype(Change::key);
    using changes = std::map<key_type, Change>; // that are not answered

    void add(std::uint32_t cookie, const std::vector<Change> &asked, clock::time_point due) {
        open_request &added = requests_[cookie];
        for (const Change &change : asked) {
            added.open.emplace(change.key, change);
        }
        added.asked = added.open.size();
        added.due = due;
    }

    // The changes of a request, or null when it is not open.
    const changes *find(std::uint32_t cookie) const {
        const auto found = requests_.find(cookie);
        return found == requests_.end() ? nullptr : &found->second.open;
    }

    // Takes the change that is answered. None when it was not asked for, or is void.
    std::optional<Change> take(std::uint32_t cookie, const key_type &key) {
        std::optional<Change> taken;
        const auto found = requests_.find(cookie);
        if (found == requests_.end() || !found->second.open.contains(key)) {
            return taken;
        }
        taken = found->second.open.at(key);
        for (auto one = requests_.begin(); one != requests_.end() && one->first <= cookie;) {
            changes &open = one->second.open;
            const auto change = open.find(key);
            if (change != open.end() && (one->first == cookie || !change->second.says_more())) {
                open.erase(change);
            }
            one = open.empty() ? requests_.erase(one) : std::next(one);
        }
        return taken;
    }

    // How many requests may still be answered in time.
    std::size_t waiting() const {
        return static_cast<std::size_t>(
            std::count_if(requests_.begin(), requests_.end(),
                          [](const auto &one) { return !one.second.expired; }));
    }
    bool waits_for(const key_type &key) const {
        return std::any_of(requests_.begin(), requests_.end(), [&](const auto &one) {
            return !one.second.expired && one.second.open.contains(key);
        });
    }
    bool has(const key_type &key) const {
        return std::any_of(requests_.begin(), requests_.end(),
                           [&](const auto &one) { return one.second.open.contains(key); });
    }

    // When the next request expires; nothing when none waits.
    std::optional<clock::time_point> next_due() const {
        std::optional<clock::time_point> next;
        for (const auto &[cookie, request] : requests_) {
            if (!request.expired) {
                next = next ? std::min(*next, request.due) : request.due;
            }
        }
        return next;
    }

    // Calls `take` with the changes of each request that expires now, and with how many it had.
    template <typename Take>
    void expire(clock::time_point now, Take take) {
        for (auto &[cookie, request] : requests_) {
            if (!request.expired && now >= request.due) {
                request.expired = true;
                take(request.open, request.asked);
            }
        }
        // An answer does not come any more once 1024 later requests were sent.
        constexpr std::size_t most_remembered = 1024;
        while (requests_.size() > most_remembered) {
            requests_.erase(requests_.begin());
        }
    }

    // Forgets all requests. Calls `take` with each change that was not answered.
    template <typename Take>
    void clear(Take take) {
        for (const auto &[cookie, request] : requests_) {
            for (const auto &[key, change] : request.open) {
                take(change);
            }
        }
        requests_.clear();
    }

private:
    struct open_request {
        changes open;
        std::size_t asked = 0;
        clock::time_point due;
        bool expired = false;
    };
    std::map<std::uint32_t, open_request> requests_;
};

} // namespace feed
