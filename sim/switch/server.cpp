#include "server.h"

#include "counting.h"

#include <algorithm>
#include <cerrno>
#include <fmt/format.h>
#include <limits>
#include <utility>

namespace desk {

namespace {

// Below this a connection's unfinished frame is not worth counting all the others' for.
constexpr std::size_t small_input = 64u << 10;

// More than a socket holds for a peer that sent before somebody else asked, and an end for one that never stops.
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

show_answer answer(service &vell, const frame_view &question) {
    const std::string_view text(reinterpret_cast<const char *>(question.payload.data()), question.payload.size());
    return question.head.kind == frame_kind::count_request ? answer_count(vell, text) : answer_show(vell, text);
}

bool wants_input(peer_connection &peer) {
    return !peer.end_of_input() && !peer.show_pending() && peer.input.look() == frame_input::state::incomplete;
}

short wanted_events(peer_connection &peer) {
    return static_cast<short>((wants_input(peer) ? POLLIN : 0) | (peer.has_output() ? POLLOUT : 0));
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
    entries.push_back({acceptor_.is_open(peers_.size(), clock::now()) ? acceptor_.fd() : -1, POLLIN, 0});
    ids.clear();
    for (auto &[id, peer] : peers_) {
        // A connection that nothing is wanted of is left out whole: its hang-up would end every poll at once.
        const short events = wanted_events(peer);
        entries.push_back({events == 0 ? -1 : peer.fd(), events, 0});
        ids.push_back(id);
    }
    return entries;
}

int server::poll_timeout_ms() const {
    std::optional<clock::time_point> next = acceptor_.again();
    const auto consider = [&next](clock::time_point when) { next = next ? std::min(*next, when) : when; };
    for (const auto &[id, peer] : peers_) {
        if (peer.pause_until) {
            consider(*peer.pause_until);
        }
    }
    for (const late_reply &late : late_replies_) {
        consider(late.due);
    }
    if (!next) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*next - clock::now()).count();
    return static_cast<int>(std::clamp<long long>(left, 0, std::numeric_limits<int>::max()));
}

void server::serve_connection(connection_id id, short events) {
    const auto found = peers_.find(id);
    if (found == peers_.end()) {
        return; // closed since the poll, while the switch caught up
    }
    peer_connection &peer = found->second;
    if ((events & ~POLLOUT) != 0 && wants_input(peer)) {
        peer.read_some();
    }
    take_frames(id, peer);
    finish_turn(id, peer);
}

void server::finish_turn(connection_id id, peer_connection &peer) {
    peer.flush();
    if (const std::optional<closing> how = why_close(peer); how && !dead_) {
        close_connection(id, *how);
    }
}

void server::take_frames(connection_id id, peer_connection &peer) {
    take_requests(id, peer);
    while (!dead_ && has_question(peer) && !peer.show_pending()) {
        catch_up(id);
        if (dead_) {
            return;
        }
        peer.queue_show(answer(vell_, peer.input.front()));
        peer.input.drop_frame();
        take_requests(id, peer);
    }
}

void server::take_requests(connection_id id, peer_connection &peer) {
    while (!dead_ && !peer.show_pending() && has_request(peer) && !pauses(peer)) {
        take_request(id, peer, peer.input.front());
        peer.input.drop_frame();
    }
}

// Whoever asks for a table sees all that was sent before it asked, also by others who sent more than one turn takes.
void server::catch_up(connection_id asker) {
    std::vector<connection_id> others;
    for (const auto &[id, peer] : peers_) {
        if (id != asker) {
            others.push_back(id);
        }
    }
    for (const connection_id id : others) {
        peer_connection &peer = peers_.at(id);
        std::size_t taken = 0;
        std::size_t count = 1;
        while (count > 0 && taken < catch_up_limit && wants_input(peer) && !dead_) {
            count = peer.read_some();
            taken += count;
            take_requests(id, peer);
        }
        finish_turn(id, peer);
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

void server::take_request(connection_id id, peer_connection &peer, const frame_view &asked) {
    for (reply &answer : handle_request(vell_, peer.who, asked.head, asked.payload)) {
        if (answer.delay.count() == 0) {
            peer.queue(std::move(answer.frame));
        } else {
            late_replies_.push_back({clock::now() + answer.delay, id, std::move(answer.frame)});
        }
    }
    ++handled_;
    if (vell_.faults.die_after != 0 && handled_ >= vell_.faults.die_after) {
        vell_.log(log_level_error, fmt::format("dies after {} requests, as it was told to", handled_));
        dead_ = true;
    }
}

std::optional<server::closing> server::why_close(peer_connection &peer) const {
    const frame_input::state state = peer.input.look();
    if (peer.over_limit()) {
        return closing{true, "it does not read its messages"};
    }
    if (state == frame_input::state::broken) {
        return closing{true, peer.input.broken_reason()};
    }
    if (peer.input.held() > small_input && all_input() > input_limit) {
        return closing{true, fmt::format("unfinished frames take more than {} bytes", input_limit)};
    }
    const bool finished = state == frame_input::state::incomplete && !peer.has_output() && !peer.show_pending();
    if (peer.end_of_input() && finished) {
        return closing{peer.input.held() > 0, peer.end_reason()};
    }
    return std::nullopt;
}

void server::close_connection(connection_id id, const closing &how) {
    session &who = peers_.at(id).who;
    if (how.is_error) {
        vell_.log(log_level_error, fmt::format("{}: {}: connection closed", describe(vell_, who), how.why));
    }
    handle_loss(vell_, who, how.why);
    peers_.erase(id);
}

void server::send_late_replies() {
    const auto now = clock::now();
    const auto is_due = [now](const late_reply &late) { return late.due <= now; };
    for (late_reply &late : late_replies_) {
        const auto to = peers_.find(late.to);
        if (is_due(late) && to != peers_.end()) {
            to->second.queue(std::move(late.frame));
        }
    }
    std::erase_if(late_replies_, is_due);
}

std::size_t server::all_input() const {
    std::size_t sum = 0;
    for (const auto &[id, peer] : peers_) {
        sum += peer.input.held();
    }
    return sum;
}

} // namespace desk
