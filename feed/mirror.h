// Makes the service and the LTL manager have what is wanted, and keeps them so.
//
//          want()                               adopt what was sent or acknowledged
//     wanted ───────► diff ───► records ───► service, LTL manager
//                      ▲                          │
//     installed ───────┴──────────────────────────┘
//
// There are two sets of tables: what is wanted, and what is installed as far as the mirror knows. All
// it does is to send the difference, in the order floods, groups, LTLs, routes, and to note what became
// of it. Everything that can go wrong ends in the same walk:
//
//  - The connection is lost. What was installed is in doubt: the service may have restarted and have
//    nothing, or it may live on and have all of it, and also what was on its way. So after the next
//    registration what is in doubt and not wanted is deleted, and everything wanted is sent again; both
//    change nothing where they are needless. Flood sets are changed by differences that the manager
//    refuses when they do not fit, so each thing that it may have is tried in turn; when none fits, the
//    switch is asked. LTLs are changed by the index that is known, and allocated again when that LTL is
//    gone.
//  - Routes and groups are not acknowledged. But the service handles its messages in order, so the
//    answer to a statistics request, of a route that nobody has, says that all before it was handled.
//    Until then what was deleted is remembered, and in doubt after a loss.
//  - An answer is late. Its request is remembered, so that it still counts when it comes. Until then the
//    row is in doubt.
//  - An answer never comes, or something is refused. It is said, and tried again after a pause, where the
//    mirror keeps trying; otherwise it is left.
//  - An answer comes twice, or makes no sense: it matches no request that waits, and is skipped.
//
// The loop of its user: tick(), then wait until fd() is readable, for at most wait_ms().
#pragma once

#include "feed/open_requests.h"
#include "feed/plan.h"
#include "feed/records.h"
#include "feed/session.h"
#include "feed/state.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace feed {

struct mirror_options {
    session_options client;
    // After a loss, a refusal or a missing answer: try again, for ever. Otherwise tick() throws what
    // happened, and a refusal is final.
    bool keeps_trying = false;
    // Before the first try; each further one waits twice as long, up to a bound.
    std::chrono::milliseconds pause{250};
    std::size_t message_bytes = usual_message_bytes;
    // What is wrong, one line for each thing, once.
    std::function<void(const std::string &)> say = [](const std::string &) {};
    // Called between the messages of a table: how many of its changes were sent so far. False stops
    // there: tick() throws.
    std::function<bool(const char *table, std::size_t sent, std::size_t of)> goes_on =
        [](const char *, std::size_t, std::size_t) { return true; };
    // Asks the switch what is installed: LTLs that an earlier client allocated, or whose allocation
    // was not answered, and flood sets that are none of those that they could be.
    std::function<state(const table_choice &)> ask;
    // Asks for each table when something is first said about it, so that what an earlier client left
    // is followed up. Otherwise nothing is installed but what assume() says.
    bool asks_first = false;
    // How many deletions it remembers that are not confirmed. After more of them, a loss is followed by
    // the question what the switch has.
    std::size_t most_unconfirmed = 65536;
};

// How many rows were sent, and acknowledged where there are acknowledgments.
struct sent_counts {
    std::size_t added = 0;
    std::size_t changed = 0;
    std::size_t removed = 0;
    std::size_t refused = 0;

    std::size_t all() const { return added + changed + removed; }
    friend bool operator==(const sent_counts &, const sent_counts &) = default;
};

class mirror {
public:
    explicit mirror(mirror_options options);

    // What is installed already, before the first tick().
    void assume(state installed);

    // From now on. Of tables that are not said something about, what was wanted remains.
    void want(state wanted, const table_choice &said = all_tables);

    // Does what can be done without waiting: connects and registers when that is due, takes answers,
    // sends differences.
    void tick();

    // Whether what is installed is what is wanted, and the service has said that it handled it.
    bool in_step() const;

    // Whether nothing more will happen by itself: in step, or all that is not was refused for good.
    bool done() const;

    // How long until tick() has something to do by itself; -1: never.
    int wait_ms() const;

    // Readable when tick() has something to do; -1 without a connection.
    int fd() const { return client_.fd(); }

    bool is_registered() const { return client_.is_registered(); }
    const state &installed() const { return installed_; }
    const state &wanted() const { return wanted_; }

    struct all_counts {
        sent_counts floods, groups, ltls, routes;
        friend bool operator==(const all_counts &, const all_counts &) = default;
    };
    const all_counts &counts() const { return counts_; }

    // Ends the registration, with the checks of session::close().
    void close(std::string_view teller) { client_.close(teller); }

private:
    using clock = std::chrono::steady_clock;

    // A pause that grows with each use, until something succeeds.
    class growing_pause {
    public:
        growing_pause(std::chrono::milliseconds first, std::chrono::milliseconds longest)
            : first_(first), longest_(longest), next_(first) {}
        std::chrono::milliseconds take();
        void reset() { next_ = first_; }

    private:
        std::chrono::milliseconds first_;
        std::chrono::milliseconds longest_;
        std::chrono::milliseconds next_;
    };

    // A table whose changes the LTL manager acknowledges, row by row.
    template <typename Change>
    struct acknowledged {
        using key_type = decltype(Change::key);

        open_requests<Change> requests;
        std::set<key_type> refused; // left alone until the next try
        std::set<key_type> unknown; // left alone until the switch was asked what it has

        bool needs_asking() const {
            return !std::includes(refused.begin(), refused.end(), unknown.begin(), unknown.end());
        }
    };

    template <typename Row>
    using send_function = void (*)(session &, const std::vector<change<Row>> &, const sending &);

    void advance();
    void connect();
    void ask();
    table_choice not_asked() const;
    void confirm();
    void ask_to_confirm();
    void lose(const std::string &why);
    void doubt_everything();
    void take_answers();
    void take_confirmation(const received_message &message);
    void expire();
    void expired(const std::string &request);
    clock::time_point answer_due() const {
        return clock::now() + std::chrono::milliseconds(client_.timeout_ms());
    }
    // Everything was sent once, and nothing may still be answered in time.
    bool done_sending() const {
        return client_.is_registered() && !pending_.routes && !pending_.groups &&
               !confirm_pending_ && !confirm_due_ && floods_.requests.waiting() == 0 &&
               ltls_.requests.waiting() == 0;
    }
    void retry_later();
    void retry();
    void say_once(const std::string &what);
    template <typename Change>
    void refuse(acknowledged<Change> &table, const decltype(Change::key) &key, sent_counts &counts,
                const std::string &why);

    template <typename Row>
    void send_table(const table_place<Row> &place, send_function<Row> send, sent_counts &counts);

    template <typename Row>
    void remember_deletion(const typename Row::key_type &key, const Row &row, table<Row> &deleted);

    void send_floods();
    void doubt_flood(const flood_key &key, const std::vector<std::uint32_t> &guess);
    void doubt_flood(const flood_change &change);
    void take_flood_answer(const received_message &message, std::uint32_t cookie);
    void take_flood_result(const flood_change &change, std::uint32_t status);
    std::vector<std::uint32_t> flood_guess(const flood_key &key, const flood_set &after) const;

    void send_ltls();
    void doubt_ltl(const ltl_change &change);
    void take_ltl_answer(const received_message &message, std::uint32_t cookie);
    void take_ltl_result(const ltl_change &change, std::uint32_t index, std::uint32_t status);
    void take_spare_result(const ltl_change &change, std::uint32_t status);

    mirror_options options_;
    session client_;
    state wanted_;
    state installed_;
    all_counts counts_;
    bool is_first_ = true;     // nothing was wanted yet
    table_choice said_tables_; // that something was wanted of
    table_choice asked_tables_;
    table_choice pending_;       // to be looked at
    std::set<std::string> said_; // since the last time that everything was in step

    // The connection.
    bool is_connected_ = false; // a registration was sent, and nothing was lost since
    bool is_lost_ = false;      // and that was said
    clock::time_point registration_due_;
    clock::time_point connect_at_ = clock::time_point::min();
    growing_pause connect_pause_;

    // Routes and groups.
    table_choice in_doubt_;
    std::uint32_t epoch_ = 0;
    state deleted_; // and not confirmed
    bool forgot_deletions_ = false;
    bool confirm_pending_ = false; // something was sent after the last request to confirm
    std::optional<clock::time_point> confirm_due_;
    std::uint32_t confirm_cookie_ = 0;

    acknowledged<flood_change> floods_;
    std::map<flood_key, std::vector<std::vector<std::uint32_t>>> flood_doubts_; // what each may be

    acknowledged<ltl_change> ltls_;
    std::set<ltl_key> ltl_doubts_;                // to be sent even where they seem to be in step
    std::map<std::uint32_t, ltl_key> spare_ltls_; // by index: allocated twice, to be released

    // What was refused, or could not be asked, is tried again.
    bool could_not_ask_ = false;
    std::optional<clock::time_point> retry_at_;
    growing_pause retry_pause_;
};

} // namespace feed
