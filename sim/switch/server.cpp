#include "sim/switch/server.h"

#include "sim/base/text.h"
#include "sim/wire/run_dir.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <stdexcept>
#include <utility>

namespace sim {

namespace {

using namespace std::chrono_literals;

constexpr auto place_check_interval = 1s;

// How many connections are accepted in a turn.
constexpr int accepts_per_turn = 64;

// More than a socket holds for a peer that sent before somebody else asked, and an end for one that
// never stops.
constexpr std::size_t catch_up_limit = 1u << 20;

// How long a switch that ends handles what it has received.
constexpr auto longest_finish = 2s;

bool has_whole(peer_connection &peer, frame_kind kind) {
    return peer.input().look() == frame_reader::state::whole &&
           peer.input().front().head.kind == kind;
}

} // namespace

server::outcome server::run() {
    std::vector<connection_id> ids;
    while (!end_) {
        std::vector<pollfd> entries = poll_entries(ids);
        if (poll(entries.data(), entries.size(), poll_timeout_ms()) < 0) {
            if (errno != EINTR) {
                throw std::runtime_error(fmt::format("poll: {}", std::strerror(errno)));
            }
            continue;
        }
        now_ = clock::now();
        if (entries[0].revents != 0 || vell_.is_stopped) {
            finish();
            return end_.value_or(outcome::stopped);
        }
        for (std::size_t i = 0; i < ids.size() && !end_; ++i) {
            serve_connection(ids[i], entries[i + 2].revents);
        }
        if (entries[1].revents != 0 && !end_) {
            accept_waiting();
        }
        close_hoarders();
        for (auto &[id, peer] : peers_) {
            peer.queue_due(now_);
        }
        keep_place();
    }
    return *end_;
}

// The entries of stop and of the listening socket come first, then those of the connections in
// `ids`.
std::vector<pollfd> server::poll_entries(std::vector<connection_id> &ids) {
    std::vector<pollfd> entries{{stop_fd_, POLLIN, 0}, {place_.fd(), POLLIN, 0}};
    ids.clear();
    for (auto &[id, peer] : peers_) {
        const bool reads = peer.wants_input(limits_);
        const bool writes = peer.has_output() || peer.answer_pending();
        if (!reads) {
            peer.restart_silence(now_);
        }
        // The hang-up of a connection that is known to be gone would end every poll at once.
        entries.push_back({!reads && !writes && peer.output_ended() ? -1 : peer.fd(),
                           static_cast<short>((reads ? POLLIN : 0) | (writes ? POLLOUT : 0)), 0});
        ids.push_back(id);
    }
    return entries;
}

int server::poll_timeout_ms() {
    if (vell_.is_stopped) {
        return 0;
    }
    clock::time_point next = place_checked_ + place_check_interval;
    const auto consider = [&next](std::optional<clock::time_point> when) {
        next = when ? std::min(*when, next) : next;
    };
    for (auto &[id, peer] : peers_) {
        if (peer.has_work(limits_)) {
            return 0;
        }
        consider(peer.next_due());
        consider(peer.closing_time(limits_));
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - clock::now()).count();
    return static_cast<int>(std::max<long long>(left, 0));
}

void server::accept_waiting() {
    for (int i = 0; i < accepts_per_turn; ++i) {
        if (file_descriptor accepted = place_.accept()) {
            admit(std::move(accepted));
        } else {
            return;
        }
    }
}

void server::admit(file_descriptor socket) {
    const std::uint32_t pid = peer_pid(socket.get());
    if (const std::string reason = check_peer(socket.get()); !reason.empty()) {
        vell_.error("connection of pid {}: {}: closed", pid, reason);
        return;
    }
    peer_connection peer(std::move(socket), pid, now_);
    if (peers_.size() < limits_.connections) {
        full_said_ = false;
        peers_.emplace(++last_id_, std::move(peer));
        return;
    }
    const std::string why =
        fmt::format("the switch has {} connections, which is its limit", limits_.connections);
    if (!std::exchange(full_said_, true)) {
        vell_.error("connection of pid {}: {}: it and others are refused", pid, why);
    }
    peer.send_closing(why);
}

// Directory and socket may have been removed. Clients that are connected do not notice; for others
// the place is made again.
void server::keep_place() {
    if (end_ || now_ - place_checked_ < place_check_interval) {
        return;
    }
    place_checked_ = now_;
    if (place_.is_in_place()) {
        return;
    }
    place_.close();
    const std::string error = place_.open();
    vell_.log(log_level_error, error.empty()
                                   ? fmt::format("{} was removed; made again", place_.path())
                                   : fmt::format("{} was removed, and cannot be made again: {}",
                                                 place_.path(), error));
    if (!error.empty()) {
        end_ = outcome::displaced;
    }
}

void server::serve_connection(connection_id id, short events) {
    const auto found = peers_.find(id);
    if (found == peers_.end()) {
        return; // closed since the poll, while the switch caught up
    }
    peer_connection &peer = found->second;
    if ((events & (POLLHUP | POLLERR)) != 0) {
        peer.end_output();
    }
    if ((events & ~POLLOUT) != 0 && peer.wants_input(limits_)) {
        peer.read_some(now_);
    }
    take_frames(id, peer);
    end_turn(id, peer);
}

void server::end_turn(connection_id id, peer_connection &peer) {
    peer.flush(now_);
    if (const auto how = peer.why_close(limits_, now_); how && !end_) {
        close_connection(id, *how);
    }
}

// A question is answered from the tables, before anything that comes after it changes them.
void server::take_frames(connection_id id, peer_connection &peer) {
    take_requests(peer);
    while (!end_ && has_whole(peer, frame_kind::question) && !peer.answer_pending() &&
           peer.has_room(limits_)) {
        catch_up(id);
        if (end_) {
            return;
        }
        peer.note_whole_frame();
        const auto question = peer.input().front().payload;
        peer.queue_answer(answer_question(
            vell_, {reinterpret_cast<const char *>(question.data()), question.size()}));
        peer.input().drop_frame();
        take_requests(peer);
    }
}

void server::take_requests(peer_connection &peer) {
    while (!end_ && !peer.is_dropped() && !peer.answer_pending() &&
           has_whole(peer, frame_kind::request) && peer.has_room(limits_) &&
           !peer.pauses(std::chrono::milliseconds(vell_.faults.slow_ms))) {
        take_request(peer, peer.input().front());
        peer.input().drop_frame();
        if (!peer.has_room(limits_)) {
            peer.flush(now_);
        }
    }
}

// An answer shows all that was sent before its question, also by others who sent more than one turn
// takes.
void server::catch_up(connection_id asker) {
    for (auto next = peers_.begin(); next != peers_.end() && !end_;) {
        auto &[id, peer] = *next++; // it may be closed here
        if (id == asker) {
            continue;
        }
        std::size_t taken = 0;
        std::size_t count = 1;
        while (count > 0 && taken < catch_up_limit && peer.wants_input(limits_) && !end_) {
            count = peer.read_some(now_);
            taken += count;
            take_requests(peer);
        }
        end_turn(id, peer);
    }
}

void server::take_request(peer_connection &peer, const frame_view &asked) {
    peer.note_whole_frame();
    peer.queue_replies(handle_request(vell_, peer.who(), asked.head, asked.payload), clock::now());
    fault_modes &faults = vell_.faults;
    if (faults.die_after != 0 && --faults.die_after == 0) {
        vell_.error("exits: --die-after");
        peer.flush(now_);
        end_ = outcome::died;
    }
    if (faults.drop_after != 0 && --faults.drop_after == 0) {
        vell_.error("{}: connection dropped: --drop-after", describe(vell_, peer.who()));
        peer.drop();
    }
}

void server::close_connection(connection_id id, const peer_connection::closing &how) {
    peer_connection &peer = peers_.at(id);
    if (how.is_error) {
        vell_.error("{}: {}: connection closed", describe(vell_, peer.who()), how.why);
        if (!peer.end_of_input()) {
            peer.send_closing(how.why);
        }
    }
    handle_loss(vell_, peer.who(), how.why);
    peers_.erase(id);
}

// Nobody else pays for what a peer hoards.
void server::close_hoarders() {
    close_largest([](const peer_connection &one) { return one.unfinished(); }, limits_.input,
                  "unfinished messages");
    close_largest([](const peer_connection &one) { return one.waiting(); }, limits_.all_output,
                  "unread answers");
}

void server::close_largest(std::size_t (*size)(const peer_connection &peer), std::size_t limit,
                           const char *what) {
    std::size_t sum = 0;
    for (const auto &[id, peer] : peers_) {
        sum += size(peer);
    }
    while (sum > limit && !end_) {
        const auto largest = std::ranges::max_element(
            peers_, {}, [size](const auto &entry) { return size(entry.second); });
        sum -= size(largest->second);
        close_connection(largest->first,
                         {true, fmt::format("the {} of all connections take more than {} bytes, "
                                            "and this one has the most",
                                            what, limit)});
    }
}

// No request goes unnoticed: what is not handled now never will be.
void server::finish() {
    accept_waiting();
    const clock::time_point until = clock::now() + longest_finish;
    for (auto &[id, peer] : peers_) {
        std::uint64_t dropped = 0;
        do {
            take_requests(peer);
            while (!end_ && peer.input().look() == frame_reader::state::whole) {
                dropped += has_whole(peer, frame_kind::request) ? 1 : 0;
                peer.input().drop_frame();
            }
        } while (!end_ && clock::now() < until && peer.read_some(now_) > 0);
        if (dropped > 0) {
            vell_.error("{}: {} dropped: the switch ends", describe(vell_, peer.who()),
                        counted(dropped, "message"));
        }
        peer.flush(now_);
    }
}

} // namespace sim
