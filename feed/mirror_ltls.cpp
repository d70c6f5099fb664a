// The mirror's LTLs: an index is allocated for a group that comes, changed with its ports, and released
// when it goes.
#include "feed/mirror.h"

#include <nerb_sim.h>
#include <vell.h>

#include <algorithm>
#include <fmt/format.h>

namespace feed {

namespace {

// How many requests wait for their answers at a time.
constexpr std::ptrdiff_t most_waiting = 64;

// Whether the manager has no such LTL of ours.
bool is_gone(std::uint32_t status) {
    return status == NERB_SIM_NO_SUCH_LTL || status == NERB_SIM_TAG_MISMATCH;
}

} // namespace

bool mirror::is_ltl_busy(const ltl_key &key) const {
    return std::ranges::any_of(ltl_requests_, [&](const auto &one) {
        return !one.second.expired && !one.second.is_spare && one.second.key == key;
    });
}

void mirror::find_lost_ltls() {
    table<ltl> found;
    try {
        found = options_.ask ? options_.ask({.ltls = true}).ltls : table<ltl>();
    } catch (const input_error &error) {
        if (!options_.keeps_trying) {
            throw;
        }
        // Allocated without asking, those that are there already would stay for nobody.
        say_once(fmt::format("{}; LTLs whose index is not known wait for it", error.what()));
        refused_ltls_.insert(lost_ltls_.begin(), lost_ltls_.end());
        retry_later();
        return;
    }
    for (const ltl_key &key : lost_ltls_) {
        const auto row = found.find(key);
        if (row != found.end()) {
            installed_.ltls.insert_or_assign(key, row->second);
        } else {
            installed_.ltls.erase(key);
        }
        ltl_doubts_.erase(key);
        if (!options_.ask) {
            say_once(fmt::format("{}: an index may stay allocated for nobody, since the answer to "
                                 "its allocation never came",
                                 key_text(key)));
        }
    }
    lost_ltls_.clear();
}

void mirror::send_ltls() {
    if (!ltls_pending_) {
        return;
    }
    if (!std::ranges::includes(refused_ltls_, lost_ltls_)) {
        find_lost_ltls();
    }
    ltls_pending_ = false;
    std::vector<ltl_request> requests;
    for (const change<ltl> &one : diff(installed_.ltls, wanted_.ltls)) {
        const ltl_operation operation = one.after == nullptr    ? ltl_operation::release
                                        : one.before == nullptr ? ltl_operation::allocate
                                                                : ltl_operation::modify;
        requests.push_back({operation, *one.key, one.after == nullptr ? *one.before : *one.after,
                            clock::time_point()});
        requests.back().row.index = one.before == nullptr ? 0 : one.before->index;
    }
    for (const ltl_key &key : ltl_doubts_) {
        const auto known = installed_.ltls.find(key);
        const auto wanted = wanted_.ltls.find(key);
        if (known != installed_.ltls.end() && wanted != wanted_.ltls.end() &&
            known->second == wanted->second) {
            requests.push_back({ltl_operation::modify, key, known->second, clock::time_point()});
        }
    }
    // An index that is released first can be allocated again.
    std::stable_partition(requests.begin(), requests.end(), [](const ltl_request &one) {
        return one.operation == ltl_operation::release;
    });
    const auto waits = [](const auto &one) { return !one.second.expired; };
    std::ptrdiff_t waiting = std::ranges::count_if(ltl_requests_, waits);
    for (ltl_request &request : requests) {
        if (refused_ltls_.contains(request.key) || is_ltl_busy(request.key)) {
            continue;
        }
        if (waiting++ >= most_waiting) {
            ltls_pending_ = true;
            return;
        }
        send_ltl(std::move(request));
    }
}

void mirror::send_ltl(ltl_request request) {
    request.due = answer_due();
    const std::uint32_t cookie = client_.new_cookie();
    const auto &[key, row] = std::tie(request.key, request.row);
    const auto count = static_cast<std::uint32_t>(row.interfaces.size());
    int sent = 0;
    switch (request.operation) {
    case ltl_operation::allocate:
        sent = vell_nerb_l2_ltl_alloc(key.vlan, count, row.interfaces.data(), key.tag, cookie);
        break;
    case ltl_operation::modify:
        sent = vell_nerb_l2_ltl_modify(row.index, count, row.interfaces.data(), key.tag, cookie);
        break;
    case ltl_operation::release:
        sent = vell_nerb_l2_ltl_dealloc(row.index, key.tag, cookie);
        break;
    }
    // A request that was cut off may have been taken all the same.
    ltl_requests_.emplace(cookie, std::move(request));
    client_.require_sent(sent == 1, "request to the LTL manager");
}

void mirror::take_ltl_result(const ltl_request &request, std::uint32_t index,
                             std::uint32_t status) {
    const ltl_key &key = request.key;
    ltls_pending_ = true;
    if (request.is_spare) {
        return;
    }
    const auto known = installed_.ltls.find(key);
    if (status == NERB_SIM_DONE) {
        retry_pause_.reset();
        refused_ltls_.erase(key);
        lost_ltls_.erase(key);
    } else if (request.operation == ltl_operation::allocate || !is_gone(status)) {
        constexpr const char *operations[] = {"allocation", "change", "release"};
        refuse(refused_ltls_, key, counts_.ltls,
               fmt::format("the LTL manager refused the {}: {} (status {})",
                           operations[static_cast<std::size_t>(request.operation)],
                           nerb_sim_status_name(status), status));
        return;
    }
    ltl_doubts_.erase(key);
    if (request.operation == ltl_operation::allocate) {
        if (known == installed_.ltls.end()) {
            installed_.ltls[key] = {request.row.interfaces, index};
            ++counts_.ltls.added;
        } else if (known->second.index != index) {
            // A late answer, to an allocation that was made again meanwhile.
            ltl_request spare{ltl_operation::release, key, {{}, index}, clock::time_point()};
            spare.is_spare = true;
            send_ltl(std::move(spare));
        }
    } else if (request.operation == ltl_operation::modify && status == NERB_SIM_DONE) {
        if (known != installed_.ltls.end()) {
            counts_.ltls.changed += known->second.interfaces == request.row.interfaces ? 0 : 1;
            known->second.interfaces = request.row.interfaces;
        }
    } else if (known != installed_.ltls.end() && known->second.index == request.row.index) {
        installed_.ltls.erase(known);
        counts_.ltls.removed += request.operation == ltl_operation::release ? 1 : 0;
    }
}

} // namespace feed
