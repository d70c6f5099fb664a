#include "feed/mirror.h"

#include <nerb_sim.h>

#include <algorithm>
#include <fmt/format.h>
#include <utility>

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
            ltls_.unknown.insert(key);
        }
    }
    wanted_ = installed;
    installed_ = std::move(installed);
}

void mirror::want(state wanted, const table_choice &said) {
    take_said(wanted_, std::move(wanted), said);
    for_each_table([&](const auto &one) {
        if (said.*one.choice) {
            said_tables_.*one.choice = pending_.*one.choice = true;
        }
    });
    for (const auto &[key, row] : wanted_.ltls) {
        if (is_first_ && !installed_.ltls.contains(key)) {
            ltls_.unknown.insert(key);
        }
    }
    is_first_ = false;
    // What is refused may be refused for another reason now, or not at all.
    floods_.refused.clear();
    ltls_.refused.clear();
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
    expire();
    retry();
    ask();
    send_floods();
    send_table(group_table, send_group_changes, counts_.groups);
    send_ltls();
    send_table(route_table, send_route_changes, counts_.routes);
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

// The tables that must be asked for, since something was said about them.
table_choice mirror::not_asked() const {
    table_choice due;
    for_each_table([&](const auto &one) {
        due.*one.choice =
            options_.asks_first && said_tables_.*one.choice && !(asked_tables_.*one.choice);
    });
    return due;
}

// Each table once when something is first said about it: before that it is another's business. And rows
// of which nothing else says what the switch has.
void mirror::ask() {
    if (could_not_ask_) {
        return;
    }
    const table_choice first = not_asked();
    table_choice due = first;
    due.floods |= floods_.needs_asking();
    due.ltls |= ltls_.needs_asking();
    if (!due.any()) {
        return;
    }
    state found;
    try {
        found = options_.ask(due);
    } catch (const input_error &error) {
        if (!options_.keeps_trying) {
            throw;
        }
        say_once(fmt::format("{}; what the switch has is not known until it can be asked",
                             error.what()));
        could_not_ask_ = true;
        retry_later();
        return;
    }
    const auto settle = [](auto &mine, const auto &theirs, auto &unknown, auto &doubts) {
        for (const auto &key : unknown) {
            doubts.erase(key);
            mine.erase(key);
            if (const auto row = theirs.find(key); row != theirs.end()) {
                mine.insert(*row);
            }
        }
        unknown.clear();
    };
    if (due.floods) {
        settle(installed_.floods, found.floods, floods_.unknown, flood_doubts_);
    }
    if (due.ltls) {
        settle(installed_.ltls, found.ltls, ltls_.unknown, ltl_doubts_);
    }
    for_each_table([&](const auto &one) {
        if (first.*one.choice) {
            (installed_.*one.rows).merge(found.*one.rows);
        }
        pending_.*one.choice |= due.*one.choice;
    });
    asked_tables_ = said_tables_;
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
    if (std::exchange(forgot_deletions_, false)) {
        asked_tables_ = {};
    }
    confirm_due_.reset();
    in_doubt_ = {.routes = !installed_.routes.empty(), .groups = !installed_.groups.empty()};
    for (const auto &[key, row] : installed_.floods) {
        doubt_flood(key, row.interfaces);
    }
    floods_.requests.clear([this](const flood_change &change) { doubt_flood(change); });
    for (auto &[key, guesses] : flood_doubts_) {
        doubt_flood(key, {});
    }
    for (const auto &[key, row] : installed_.ltls) {
        ltl_doubts_.insert(key);
    }
    ltls_.requests.clear([this](const ltl_change &change) { doubt_ltl(change); });
    floods_.refused.clear();
    ltls_.refused.clear();
    retry_at_.reset();
    could_not_ask_ = false;
    pending_ = all_tables;
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

template <typename Change>
void mirror::refuse(acknowledged<Change> &table, const decltype(Change::key) &key,
                    sent_counts &counts, const std::string &why) {
    say_once(fmt::format("{}: {}", key_text(key), why));
    table.refused.insert(key);
    ++counts.refused;
    retry_later();
}
template void mirror::refuse(acknowledged<flood_change> &, const flood_key &, sent_counts &,
                             const std::string &);
template void mirror::refuse(acknowledged<ltl_change> &, const ltl_key &, sent_counts &,
                             const std::string &);

void mirror::retry_later() {
    if (options_.keeps_trying && !retry_at_) {
        retry_at_ = clock::now() + retry_pause_.take();
    }
}

void mirror::retry() {
    if (!retry_at_ || clock::now() < *retry_at_) {
        return;
    }
    retry_at_.reset();
    could_not_ask_ = false;
    pending_.floods = pending_.ltls = true;
    floods_.refused.clear();
    ltls_.refused.clear();
}

void mirror::take_answers() {
    while (const std::optional<received_message> message = client_.receive(0)) {
        take_confirmation(*message);
        nerb_sim_answer head{};
        if (nerb_sim_answer_head(message->handle(), &head) == NERB_SIM_READ) {
            head.kind == NERB_SIM_KIND_FLOOD_UPDATE ? take_flood_answer(*message, head.cookie)
                                                    : take_ltl_answer(*message, head.cookie);
        }
    }
}

// An answer may still come; until then its rows are in doubt.
void mirror::expired(const std::string &request) {
    const std::string what =
        fmt::format("no answer to the {} within {} ms", request, client_.timeout_ms());
    if (!options_.keeps_trying) {
        throw session_error(what + " (to wait longer: --timeout); it may have been carried out all "
                                   "the same");
    }
    say_once(what);
    retry_later();
}

void mirror::expire() {
    const clock::time_point now = clock::now();
    floods_.requests.expire(now, [this](const auto &open, std::size_t asked) {
        expired(open.size() == asked
                    ? "flood update"
                    : fmt::format("flood update for {} of its {} VLANs", open.size(), asked));
        for (const auto &[key, change] : open) {
            doubt_flood(change);
            floods_.refused.insert(key);
        }
    });
    ltls_.requests.expire(now, [this](const auto &open, std::size_t) {
        const auto &[key, change] = *open.begin();
        expired("request for the " + key_text(key));
        doubt_ltl(change);
    });
    if (confirm_due_ && now >= *confirm_due_) {
        expired("statistics request that confirms what was sent");
        ask_to_confirm(); // with the same cookie: an answer to any of them counts
    }
}

bool mirror::in_step() const {
    return done_sending() && flood_doubts_.empty() && ltl_doubts_.empty() &&
           floods_.unknown.empty() && ltls_.unknown.empty() && spare_ltls_.empty() &&
           !not_asked().any() && installed_.floods == wanted_.floods &&
           installed_.ltls == wanted_.ltls;
}

bool mirror::done() const {
    return in_step() || (!options_.keeps_trying && done_sending() && !pending_.any());
}

int mirror::wait_ms() const {
    if (!is_connected_) {
        return ms_until(connect_at_);
    }
    if (!client_.is_registered()) {
        return ms_until(registration_due_);
    }
    std::optional<clock::time_point> next;
    for (const auto &when :
         {retry_at_, confirm_due_, floods_.requests.next_due(), ltls_.requests.next_due()}) {
        if (when) {
            next = next ? std::min(*next, *when) : *when;
        }
    }
    return next ? ms_until(*next) : -1;
}

} // namespace feed
