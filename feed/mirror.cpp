#include "feed/mirror.h"

#include "sim/wire/vell_sim.h"

#include <nerb_sim.h>

#include <algorithm>
#include <fmt/format.h>

namespace feed {

namespace {

using namespace std::chrono_literals;

// What the service forgot is there again within one pause of its return.
constexpr auto longest_connect_pause = 5s;
constexpr auto longest_retry_pause = 60s;

int ms_until(std::chrono::steady_clock::time_point when) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(when - std::chrono::steady_clock::now());
    return static_cast<int>(std::max<long long>(left.count(), 0));
}

} // namespace

std::chrono::milliseconds mirror::growing_pause::take() {
    const auto pause = next_;
    next_ = std::min(2 * next_, longest_);
    return pause;
}

mirror::mirror(mirror_options options)
    : options_(std::move(options)),
      client_(options_.client),
      connect_pause_(options_.pause, longest_connect_pause),
      retry_pause_(4 * options_.pause, longest_retry_pause) {}

void mirror::assume(state installed) {
    for (const auto &[key, row] : installed.ltls) {
        if (row.index == 0) {
            lost_ltls_.insert(key);
        }
    }
    wanted_ = installed;
    installed_ = std::move(installed);
}

void mirror::want(state wanted, const table_choice &said) {
    take_said(wanted_, std::move(wanted), said);
    const auto note = [&said, this](bool table_choice::*table, bool &is_pending) {
        said_tables_.*table |= said.*table;
        is_pending |= said.*table;
    };
    note(&table_choice::floods, floods_pending_);
    note(&table_choice::groups, groups_pending_);
    note(&table_choice::ltls, ltls_pending_);
    note(&table_choice::routes, routes_pending_);
    if (is_first_ && options_.ask) {
        for (const auto &[key, row] : wanted_.ltls) {
            if (!installed_.ltls.contains(key)) {
                lost_ltls_.insert(key);
            }
        }
    }
    is_first_ = false;
    // What is refused may be refused for another reason now, or not at all.
    refused_floods_.clear();
    refused_ltls_.clear();
}

void mirror::tick() {
    try {
        advance();
    } catch (const session_error &error) {
        lose(error.what());
    }
}

void mirror::advance() {
    if (!is_connected_) {
        connect();
    }
    if (!is_connected_) {
        return;
    }
    take_answers();
    if (!client_.is_registered()) {
        if (clock::now() >= registration_due_) {
            client_.give_up_registration();
        }
        return;
    }
    if (is_lost_) {
        is_lost_ = false;
        options_.say("registered again");
    }
    connect_pause_.reset();
    ask_first();
    expire();
    retry_refused();
    send_floods();
    send_groups();
    send_ltls();
    send_routes();
    confirm();
    if (in_step()) {
        said_.clear();
    }
}

void mirror::connect() {
    if (clock::now() < connect_at_) {
        return;
    }
    if (!client_.start_registration()) {
        throw session_error(no_switch());
    }
    is_connected_ = true;
    registration_due_ = answer_due();
}

// Each table once: one that nothing is said about is another's business.
void mirror::ask_first() {
    const auto is_due = [this](bool table_choice::*table) {
        return options_.asks_first && said_tables_.*table && !(asked_tables_.*table);
    };
    const table_choice due = {is_due(&table_choice::routes), is_due(&table_choice::groups),
                              is_due(&table_choice::floods), is_due(&table_choice::ltls)};
    if (!due.routes && !due.groups && !due.floods && !due.ltls) {
        return;
    }
    asked_tables_ = said_tables_;
    try {
        state found = options_.ask(due);
        if (due.ltls) {
            lost_ltls_.clear();
        }
        installed_.routes.merge(found.routes);
        installed_.groups.merge(found.groups);
        installed_.floods.merge(found.floods);
        installed_.ltls.merge(found.ltls);
    } catch (const input_error &error) {
        say_once(fmt::format("{}; what an earlier client left there is not known", error.what()));
    }
}

void mirror::lose(const std::string &why) {
    if (!options_.keeps_trying) {
        throw session_error(why);
    }
    if (!is_lost_) {
        options_.say(why + "; trying again");
    }
    is_lost_ = true;
    if (is_connected_) {
        doubt_everything();
    }
    is_connected_ = false;
    connect_at_ = clock::now() + connect_pause_.take();
}

// The service may have all that was wanted, all that was installed, some of it, or nothing.
void mirror::doubt_everything() {
    for (const state *more : {&wanted_, &deleted_}) {
        installed_.routes.insert(more->routes.begin(), more->routes.end());
        installed_.groups.insert(more->groups.begin(), more->groups.end());
    }
    deleted_ = {};
    confirm_due_.reset();
    routes_in_doubt_ = !installed_.routes.empty();
    groups_in_doubt_ = !installed_.groups.empty();
    for (const auto &[key, row] : installed_.floods) {
        doubt_flood(key, row.interfaces);
    }
    for (const auto &[cookie, request] : flood_requests_) {
        for (const flood_change &change : request.changes) {
            doubt_flood(change.key, change.before);
            doubt_flood(change.key, change.after.interfaces);
        }
    }
    for (auto &[key, guesses] : flood_doubts_) {
        doubt_flood(key, {});
    }
    for (const auto &[key, row] : installed_.ltls) {
        ltl_doubts_.insert(key);
    }
    for (const auto &[cookie, request] : ltl_requests_) {
        if (request.operation == ltl_operation::allocate) {
            lost_ltls_.insert(request.key);
        }
    }
    flood_requests_.clear();
    ltl_requests_.clear();
    refused_floods_.clear();
    refused_ltls_.clear();
    retry_at_.reset();
    routes_pending_ = groups_pending_ = floods_pending_ = ltls_pending_ = true;
}

void mirror::say_once(const std::string &what) {
    constexpr std::size_t most_remembered = 4096;
    if (said_.size() == most_remembered) {
        said_.clear();
    }
    if (said_.insert(what).second) {
        options_.say(what);
    }
}

template <typename Key>
void mirror::refuse(std::set<Key> &refused, const Key &key, sent_counts &counts,
                    const std::string &why) {
    say_once(fmt::format("{}: {}", key_text(key), why));
    refused.insert(key);
    ++counts.refused;
    if (options_.keeps_trying) {
        retry_later();
    }
}
template void mirror::refuse(std::set<flood_key> &, const flood_key &, sent_counts &,
                             const std::string &);
template void mirror::refuse(std::set<ltl_key> &, const ltl_key &, sent_counts &,
                             const std::string &);

void mirror::retry_later() {
    if (!retry_at_) {
        retry_at_ = clock::now() + retry_pause_.take();
    }
}

void mirror::retry_refused() {
    if (!retry_at_ || clock::now() < *retry_at_) {
        return;
    }
    retry_at_.reset();
    floods_pending_ |= !refused_floods_.empty();
    ltls_pending_ |= !refused_ltls_.empty();
    refused_floods_.clear();
    refused_ltls_.clear();
}

void mirror::take_answers() {
    while (const std::optional<received_message> message = client_.receive(0)) {
        vell_sim_stats stats{};
        if (vell_sim_stats_answer(static_cast<const kyt_sim_message *>(message->handle()),
                                  &stats) == VELL_SIM_READ &&
            stats.table == confirm_cookie_ && confirm_due_) {
            confirm_due_.reset();
            if (!confirm_pending_) {
                deleted_ = {};
            }
        }
        nerb_sim_answer head{};
        if (nerb_sim_answer_head(message->handle(), &head) != NERB_SIM_READ) {
            continue;
        }
        const auto flood = flood_requests_.find(head.cookie);
        if (flood != flood_requests_.end() && head.kind == NERB_SIM_KIND_FLOOD_UPDATE) {
            const flood_request request = std::move(flood->second);
            flood_requests_.erase(flood);
            overtake_floods(head.cookie, request);
            take_flood_answer(*message, request);
        }
        const auto found = ltl_requests_.find(head.cookie);
        std::uint32_t words[4];
        if (found != ltl_requests_.end() &&
            nerb_sim_answer_entry(message->handle(), 0, words) == NERB_SIM_READ) {
            const ltl_request request = std::move(found->second);
            ltl_requests_.erase(found);
            // The manager handles requests in order: a late answer to an earlier change says what
            // was. One to an allocation still says which index to release.
            std::erase_if(ltl_requests_, [&](const auto &earlier) {
                return earlier.first < head.cookie && earlier.second.key == request.key &&
                       earlier.second.operation != ltl_operation::allocate &&
                       !earlier.second.is_spare;
            });
            const bool is_allocation = request.operation == ltl_operation::allocate;
            take_ltl_result(request, is_allocation ? words[1] : words[0], words[3]);
        }
    }
}

// An answer may still come; until then its rows are in doubt.
void mirror::expire(const std::string &request, const std::function<void()> &doubt) {
    const std::string what =
        fmt::format("no answer to the {} within {} ms", request, client_.timeout_ms());
    if (!options_.keeps_trying) {
        throw session_error(what + " (to wait longer: --timeout); it may have been carried out all "
                                   "the same");
    }
    say_once(what);
    doubt();
    retry_later();
}

void mirror::expire() {
    const clock::time_point now = clock::now();
    for (auto &[cookie, request] : flood_requests_) {
        if (request.expired || now < request.due) {
            continue;
        }
        request.expired = true;
        expire("flood update", [this, &changes = request.changes] {
            for (const flood_change &change : changes) {
                doubt_flood(change.key, change.before);
                doubt_flood(change.key, change.after.interfaces);
                refused_floods_.insert(change.key);
            }
        });
    }
    for (auto &[cookie, request] : ltl_requests_) {
        if (request.expired || now < request.due) {
            continue;
        }
        request.expired = true;
        expire("request for the " + key_text(request.key), [this, &late = request] {
            refused_ltls_.insert(late.key);
            if (late.operation == ltl_operation::allocate) {
                lost_ltls_.insert(late.key);
            } else if (installed_.ltls.contains(late.key)) {
                ltl_doubts_.insert(late.key);
            }
        });
    }
    if (confirm_due_ && now >= *confirm_due_) {
        expire("statistics request that confirms what was sent", [] {});
        ask_to_confirm(); // with the same cookie: an answer to any of them counts
    }
    // An answer that is later than that many requests does not come any more.
    constexpr std::size_t most_remembered = 1024;
    while (flood_requests_.size() > most_remembered) {
        flood_requests_.erase(flood_requests_.begin());
    }
    while (ltl_requests_.size() > most_remembered) {
        ltl_requests_.erase(ltl_requests_.begin());
    }
}

bool mirror::in_step() const {
    return !routes_pending_ && !groups_pending_ && !confirm_pending_ && !confirm_due_ &&
           flood_doubts_.empty() && ltl_doubts_.empty() && lost_ltls_.empty() &&
           !is_waited_for(flood_requests_) && !is_waited_for(ltl_requests_) &&
           installed_.floods == wanted_.floods && installed_.ltls == wanted_.ltls &&
           client_.is_registered();
}

bool mirror::done() const {
    return in_step() ||
           (!options_.keeps_trying && client_.is_registered() && !routes_pending_ &&
            !groups_pending_ && !floods_pending_ && !ltls_pending_ && !confirm_pending_ &&
            !confirm_due_ && !is_waited_for(flood_requests_) && !is_waited_for(ltl_requests_));
}

int mirror::wait_ms() const {
    std::optional<clock::time_point> next = retry_at_;
    const auto sooner = [&next](clock::time_point when) {
        next = next ? std::min(*next, when) : when;
    };
    if (!is_connected_) {
        return ms_until(connect_at_);
    }
    if (!client_.is_registered()) {
        return ms_until(registration_due_);
    }
    if (confirm_due_) {
        sooner(*confirm_due_);
    }
    for (const auto &[cookie, request] : flood_requests_) {
        if (!request.expired) {
            sooner(request.due);
        }
    }
    for (const auto &[cookie, request] : ltl_requests_) {
        if (!request.expired) {
            sooner(request.due);
        }
    }
    return next ? ms_until(*next) : -1;
}

} // namespace feed
