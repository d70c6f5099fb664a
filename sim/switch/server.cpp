#include "sim/switch/server.h"

#include <algorithm>
#include <cerrno>
#include <fmt/format.h>
#include <limits>
#include <new>
#include <utility>

namespace sim {

namespace {

// Below this a connection's unfinished frame is not worth counting all the others' for.
constexpr std::size_t small_input = 64u << 10;

// More than a socket holds for a peer that sent before somebody else asked, and an end for one that
// never stops.
constexpr std::size_t catch_up_limit = 1u << 20;

bool has_whole(peer_connection &peer) {
    return peer.input.look() == frame_input::state::whole;
}

bool has_request(peer_connection &peer) {
    return has_whole(peer) && peer.input.front().head.kind == frame_kind::request;
}

// A question is answered from the tables, before anything that comes after it changes them.
bool has_question(peer_connection &peer) {
    return has_whole(peer) && !has_request(peer);
}

answer answer_to(service &vell, const frame_view &question) {
    return answer_question(
        vell, {reinterpret_cast<const char *>(question.payload.data()), question.payload.size()});
}

bool wants_input(peer_connection &peer) {
    return !peer.end_of_input() && !peer.answer_pending() &&
           peer.input.look() == frame_input::state::incomplete;
}

short wanted_events(peer_connection &peer) {
    return static_cast<short>((wants_input(peer) ? POLLIN : 0) |
                              (peer.has_output() || peer.answer_pending() ? POLLOUT : 0));
}

template <typename Body>
void as_far_as_memory_goes(Body body) {
    try {
        body();
    } catch (const std::bad_alloc &) {
        // What it would have said is missing from the log.
    }
}

} // namespace

server::server(service &vell, int listening_fd, int stop_fd)
    : vell_(vell), acceptor_(listening_fd, vell.log), stop_fd_(stop_fd) {}

server::outcome server::run() {
    std::vector<connection_id> ids;
    while (!dead_) {
        std::vector<pollfd> entries = poll_entries(ids);
        if (poll(entries.data(), entries.size(), poll_timeout_ms()) < 0 && errno != EINTR) {
            // Only a lack of memory is left as the reason; the entries say nothing then.
            std::ranges::for_each(entries, [](pollfd &entry) { entry.revents = 0; });
        }
        if (entries[0].revents != 0) {
            return outcome::stopped;
        }
        for (std::size_t i = 0; i < ids.size() && !dead_; ++i) {
            serve_connection(ids[i], entries[i + 2].revents);
        }
        if (entries[1].revents != 0 && !dead_) {
            acceptor_.take(peers_.size(), [this](file_descriptor socket, std::uint32_t pid) {
                peers_.try_emplace(++last_id_, std::move(socket), pid);
            });
        }
        send_late_replies();
    }
    return outcome::died;
}

// The entries of stop and of the acceptor come first, then those of the connections in `ids`.
std::vector<pollfd> server::poll_entries(std::vector<connection_id> &ids) {
    std::vector<pollfd> entries;
    entries.push_back({stop_fd_, POLLIN, 0});
    entries.push_back(
        {acceptor_.is_open(peers_.size(), clock::now()) ? acceptor_.fd() : -1, POLLIN, 0});
    ids.clear();
    for (auto &[id, peer] : peers_) {
        // A connection that nothing is wanted of is left out whole: its hang-up would end every
        // poll at once.
        const short events = wanted_events(peer);
        entries.push_back({events == 0 ? -1 : peer.fd(), events, 0});
        ids.push_back(id);
    }
    return entries;
}

int server::poll_timeout_ms() const {
    std::optional<clock::time_point> next = acceptor_.again();
    const auto consider = [&next](clock::time_point when) {
        next = next ? std::min(*next, when) : when;
    };
    for (const auto &[id, peer] : peers_) {
        if (peer.pause_until) {
            consider(*peer.pause_until);
        }
        if (const auto due = peer.next_due()) {
            consider(*due);
        }
    }
    if (!next) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*next - clock::now()).count();
    return static_cast<int>(std::clamp<long long>(left, 0, std::numeric_limits<int>::max()));
}

// Does something for one connection, unless it was closed since the poll, while the switch caught
// up.
template <typename Body>
void server::attend(connection_id id, Body body) {
    const auto found = peers_.find(id);
    if (found == peers_.end()) {
        return;
    }
    try {
        body(found->second);
    } catch (const std::bad_alloc &) {
        close_without_memory(id, found->second);
    }
}

// A request may have been carried out in part, and what is known of it is lost: its client has to
// begin anew.
void server::close_without_memory(connection_id id, peer_connection &peer) {
    constexpr const char *why = "there is no memory to handle what it sent";
    peer.forget_messages();
    as_far_as_memory_goes([&] { log_closing(peer, {true, why}); });
    as_far_as_memory_goes([&] { handle_loss(vell_, peer.who, why); });
    peers_.erase(id);
}

void server::serve_connection(connection_id id, short events) {
    attend(id, [=, this](peer_connection &peer) {
        if ((events & ~POLLOUT) != 0 && wants_input(peer)) {
            peer.read_some();
        }
        take_frames(id, peer);
        finish_turn(id, peer);
    });
}

void server::finish_turn(connection_id id, peer_connection &peer) {
    peer.flush();
    if (const std::optional<closing> how = why_close(peer); how && !dead_) {
        close_connection(id, *how);
    }
}

void server::take_frames(connection_id id, peer_connection &peer) {
    take_requests(peer);
    while (!dead_ && has_question(peer) && !peer.answer_pending() && reads(peer)) {
        catch_up(id);
        if (dead_) {
            return;
        }
        peer.queue_answer(answer_to(vell_, peer.input.front()));
        peer.input.drop_frame();
        take_requests(peer);
    }
}

void server::take_requests(peer_connection &peer) {
    while (!dead_ && !peer.answer_pending() && has_request(peer) && reads(peer) && !pauses(peer)) {
        take_request(peer, peer.input.front());
        peer.input.drop_frame();
    }
}

// Whether the peer takes what it is sent. For one that does not nothing more is done.
bool server::reads(peer_connection &peer) {
    if (peer.over_limit()) {
        peer.flush();
    }
    return !peer.over_limit();
}

// Whoever asks for a table sees all that was sent before it asked, also by others who sent more
// than one turn takes.
void server::catch_up(connection_id asker) {
    std::vector<connection_id> others;
    for (const auto &[id, peer] : peers_) {
        if (id != asker) {
            others.push_back(id);
        }
    }
    for (const connection_id id : others) {
        attend(id, [this, id](peer_connection &peer) {
            std::size_t taken = 0;
            std::size_t count = 1;
            while (count > 0 && taken < catch_up_limit && wants_input(peer) && !dead_) {
                count = peer.read_some();
                taken += count;
                take_requests(peer);
            }
            finish_turn(id, peer);
        });
    }
}

bool server::pauses(peer_connection &peer) const {
    if (vell_.faults.slow.count() == 0) {
        return false;
    }
    if (!peer.pause_until) {
        peer.pause_until = clock::now() + vell_.faults.slow;
    }
    if (clock::now() < *peer.pause_until) {
        return true;
    }
    peer.pause_until.reset();
    return false;
}

void server::take_request(peer_connection &peer, const frame_view &asked) {
    peer.queue_replies(handle_request(vell_, peer.who, asked.head, asked.payload), clock::now());
    ++handled_;
    if (vell_.faults.die_after != 0 && handled_ >= vell_.faults.die_after) {
        vell_.log(log_level_error,
                  fmt::format("dies after {} requests, as it was told to", handled_));
        dead_ = true;
    }
}

std::optional<server::closing> server::why_close(peer_connection &peer) const {
    const frame_input::state state = peer.input.look();
    if (has_whole(peer) && peer.over_limit()) {
        return closing{
            true, peer.waits_late()
                      ? fmt::format("more than {} bytes of late answers wait for it", output_limit)
                      : "it does not read its messages"};
    }
    if (state == frame_input::state::broken) {
        return closing{true, peer.input.broken_reason()};
    }
    if (peer.input.held() > small_input && all_input() > input_limit) {
        return closing{true, fmt::format("unfinished frames take more than {} bytes", input_limit)};
    }
    const bool finished =
        state == frame_input::state::incomplete && !peer.has_output() && !peer.answer_pending();
    if (peer.end_of_input() && finished) {
        return closing{peer.input.held() > 0, peer.end_reason()};
    }
    return std::nullopt;
}

void server::close_connection(connection_id id, const closing &how) {
    peer_connection &peer = peers_.at(id);
    log_closing(peer, how);
    handle_loss(vell_, peer.who, how.why);
    peers_.erase(id);
}

void server::log_closing(peer_connection &peer, const closing &how) const {
    if (how.is_error) {
        vell_.log(log_level_error,
                  fmt::format("{}: {}: connection closed", describe(vell_, peer.who), how.why));
    }
}

void server::send_late_replies() {
    const auto now = clock::now();
    for (auto at = peers_.begin(); at != peers_.end();) {
        const connection_id id = (at++)->first; // which may be closed
        attend(id, [now](peer_connection &peer) { peer.queue_due(now); });
    }
}

std::size_t server::all_input() const {
    std::size_t sum = 0;
    for (const auto &[id, peer] : peers_) {
        sum += peer.input.held();
    }
    return sum;
}

} // namespace sim
