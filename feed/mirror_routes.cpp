// The mirror's routes and groups: sent without an acknowledgment, and confirmed by a request that is
// answered.
#include "feed/mirror.h"
#include "sim/wire/vell_sim.h"

#include <vell.h>

#include <algorithm>
#include <cassert>
#include <fmt/format.h>
#include <iterator>

namespace feed {

namespace {

std::string sent_before(const std::exception &error, std::size_t sent, std::size_t of,
                        const char *table) {
    return fmt::format("{}; {} of {} changes of {} were sent before", error.what(), sent, of,
                       table);
}

} // namespace

// A switch that never confirms would have them grow for ever.
template <typename Row>
void mirror::remember_deletion(const typename Row::key_type &key, const Row &row,
                               table<Row> &deleted) {
    deleted.insert_or_assign(key, row);
    if (deleted.size() > options_.most_unconfirmed) {
        deleted.clear();
        forgot_deletions_ = true;
    }
}

// In the order of the keys; what is removed first makes room for what is added.
template <typename Row>
void mirror::send_table(const table_place<Row> &place, send_function<Row> send,
                        sent_counts &counts) {
    if (!(pending_.*place.choice)) {
        return;
    }
    bool &in_doubt = in_doubt_.*place.choice;
    table<Row> &installed = installed_.*place.rows;
    const table<Row> &wanted = wanted_.*place.rows;
    static const table<Row> nothing;
    sending how{.message_bytes = options_.message_bytes};
    how.download = in_doubt || installed.empty();
    std::vector<change<Row>> changes = diff(installed, in_doubt ? nothing : wanted);
    if (in_doubt) {
        // An add replaces a route, but only adds to the ports of a group.
        if constexpr (std::same_as<Row, route>) {
            std::erase_if(changes, [&](const auto &one) { return wanted.contains(*one.key); });
        }
        std::ranges::copy(diff(nothing, wanted), std::back_inserter(changes));
    }
    std::stable_partition(changes.begin(), changes.end(),
                          [](const auto &one) { return one.after == nullptr; });
    pending_.*place.choice = false;
    if (changes.empty()) {
        in_doubt = false;
        return;
    }
    how.epoch = std::same_as<Row, route> ? (epoch_ += how.download ? 1 : 0) : 0;
    std::size_t adopted = 0;
    const bool was_in_doubt = in_doubt;
    how.sent = [&](std::size_t sent) {
        for (; adopted < sent; ++adopted) {
            const change<Row> &done = changes[adopted];
            confirm_pending_ = true;
            if (done.after == nullptr) {
                remember_deletion(*done.key, *done.before, deleted_.*place.rows);
                counts.removed += was_in_doubt && wanted.contains(*done.key) ? 0 : 1;
            } else {
                ++(done.before == nullptr ? counts.added : counts.changed);
            }
            adopt(installed, done);
        }
        if (!options_.goes_on(place.name, sent, changes.size())) {
            throw interrupted("interrupted");
        }
    };
    try {
        send(client_, changes, how);
    } catch (const interrupted &error) {
        throw interrupted(sent_before(error, adopted, changes.size(), place.name));
    } catch (const session_error &error) {
        throw session_error(sent_before(error, adopted, changes.size(), place.name));
    }
    in_doubt = false;
    assert(installed == wanted);
}

template void mirror::send_table(const table_place<group> &, send_function<group>, sent_counts &);
template void mirror::send_table(const table_place<route> &, send_function<route>, sent_counts &);

void mirror::confirm() {
    if (!confirm_pending_ || confirm_due_) {
        return;
    }
    confirm_pending_ = false;
    confirm_cookie_ = client_.new_cookie();
    ask_to_confirm();
}

// Of a route that nobody has: the cookie is its table.
void mirror::ask_to_confirm() {
    confirm_due_ = answer_due();
    client_.require_sent(vell_send_v4_mroute_stats_req(confirm_cookie_, 0, 0, 0, 0, 0) == 1,
                         "statistics request");
}

void mirror::take_confirmation(const received_message &message) {
    vell_sim_stats stats{};
    if (confirm_due_ &&
        vell_sim_stats_answer(static_cast<const kyt_sim_message *>(message.handle()), &stats) ==
            VELL_SIM_READ &&
        stats.table == confirm_cookie_) {
        confirm_due_.reset();
        if (!confirm_pending_) {
            deleted_ = {};
            forgot_deletions_ = false;
        }
    }
}

} // namespace feed
