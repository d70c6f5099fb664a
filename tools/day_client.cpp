#include "day_client.h"

#include "counted.h"
#include "flood_update.h"
#include "input_error.h"
#include "l2_message.h"
#include "manager_answer.h"
#include "route_message.h"
#include "send_all.h"
#include "sim/base/print.h"
#include "stats_request.h"

#include <vell.h>

#include <algorithm>
#include <utility>

namespace feed {

namespace {

constexpr std::uint32_t message_bytes = 65536;

class day_client {
public:
    day_client(const day_plan &plan, const session_options &session, std::ostream &out)
        : plan_(plan), out_(out), session_(session) {
        tell("registered");
    }

    day_record live() {
        send_routes();
        send_groups(all_added(plan_.groups.older.entries));
        require_sent(vell_send_igmp_download_complete() == 1, "end of the download");
        update_flood_sets({}, plan_.ports);
        follow_ltls(plan_.ltls.older.entries);

        send_groups(changes(plan_.groups.older.entries, plan_.groups.newer.entries));
        update_flood_sets(plan_.ports, plan_.later_ports);
        follow_ltls(plan_.ltls.newer.entries);

        ask_counters();
        session_.close("`vellsim show`");
        tell("deregistered");
        return std::move(record_);
    }

private:
    void tell(const std::string &what) { fmt::print(out_, "vellfeed: {}\n", what); }

    void send_routes() {
        route_messages messages(message_bytes,
                                [&](std::span<std::uint8_t> message, std::uint16_t count) {
                                    return session_.send_routes(message, count);
                                });
        send_all(plan_.routes.routes, messages, "route");
        record_.routes = messages.records_sent();
        tell(fmt::format("sent {} in {}", counted(record_.routes, "route"),
                         counted(messages.messages_sent(), "message")));
    }

    void send_groups(const std::vector<l2_change> &records) {
        l2_messages messages(message_bytes, true,
                             [&](std::span<std::uint8_t> message, std::uint16_t count) {
                                 return session_.send_l2(message, count, 0);
                             });
        send_all(records, messages, "record");
        record_.layer2_records += messages.records_sent();
        tell(fmt::format("sent {} in {} between markers",
                         counted(messages.records_sent(), "layer-2 record"),
                         counted(messages.messages_sent(), "message")));
    }

    void update_flood_sets(const std::vector<flood_set> &older,
                           const std::vector<flood_set> &newer) {
        const std::vector<flood_change> vlans = flood_changes(older, newer);
        if (vlans.empty())
            return;
        const flood_answer answer = send_flood_update(session_, vlans);
        record_.flood_sets += vlans.size();
        tell(fmt::format("sent the flood sets of {}, {} acknowledged",
                         counted(vlans.size(), "VLAN"),
                         std::ranges::count(answer.acknowledged, true)));
        for (std::size_t i = 0; i < vlans.size(); ++i) {
            if (!answer.acknowledged[i])
                refuse_flood(fmt::format("VLAN {}: refused: {}", vlans[i].vlan,
                                         status_text(answer.statuses[i])));
        }
        if (!answer.all_done && std::ranges::count(answer.acknowledged, false) == 0)
            refuse_flood(
                "the LTL manager acknowledged every flood set, but says that the update failed");
    }

    void refuse_flood(const std::string &why) {
        record_.flood_refusals.push_back(why);
        tell(why);
    }

    void follow_ltls(const std::vector<l2_entry> &entries) {
        ltl_book &book = record_.ltls;
        const std::size_t allocated = book.allocated();
        const std::size_t changed = book.changed();
        const std::size_t released = book.released();
        const std::size_t refused = book.refusals().size();
        book.follow(session_, entries);
        for (std::size_t i = refused; i < book.refusals().size(); ++i)
            tell(book.refusals()[i]);
        tell(fmt::format("allocated {}, changed {}, released {}",
                         counted(book.allocated() - allocated, "LTL index", "LTL indexes"),
                         book.changed() - changed, book.released() - released));
    }

    void ask_counters() {
        std::size_t answered = 0;
        for (const route &one : plan_.routes.routes)
            answered += ask_counters_of(one) ? 1 : 0;
        tell(fmt::format("asked for the counters of {}, {} answered",
                         counted(record_.counters.size(), "route"), answered));
    }

    bool ask_counters_of(const route &one) {
        const route_key &key = one.key;
        const stats_route wanted = {key.table, ipv4_address(key.source), key.source_length,
                                    ipv4_address(key.group), key.group_length};
        record_.counters.push_back({one.entry, wanted, 1});
        try {
            ask_stats(session_, wanted, stats_clearing::none);
            return true;
        } catch (const refused_request &refusal) {
            tell(refusal.what());
            return false;
        }
    }

    const day_plan &plan_;
    std::ostream &out_;
    client_session session_;
    day_record record_;
};

} // namespace

day_record live_day(const day_plan &plan, const session_options &session, std::ostream &out) {
    return day_client(plan, session, out).live();
}

} // namespace feed
