// The client table, and the two requests of a client's life.
#include "sim/switch/client.h"

#include "sim/switch/byte_reader.h"
#include "sim/switch/limits.h"
#include "sim/switch/request.h"
#include "sim/wire/frame.h"
#include "sim/wire/protocol.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

namespace sim {

namespace {

constexpr std::size_t registration_size = 248;
constexpr std::size_t segment_size = 240;

std::string read_segment(byte_reader &reader) {
    const std::size_t start = reader.offset();
    const auto field = reader.take(segment_size, "segment name");
    const auto end = std::ranges::find(field, std::byte{0});
    if (end == field.end()) {
        refuse_at(start, "the segment name has no NUL within its {} bytes", segment_size);
    }
    return std::string(reinterpret_cast<const char *>(field.data()),
                       static_cast<std::size_t>(end - field.begin()));
}

void acknowledge(request &asked, std::uint8_t id, bool accepted) {
    add_replies(asked.replies, encode_register_ack(id, accepted), asked.vell.faults.ack);
}

void end_registration(request &asked, client_state how) {
    asked.vell.trace("{} {}", describe(asked.vell, asked.from), client_state_name(how));
    asked.vell.clients.end(asked.from.client_of, how);
    asked.vell.batches.abandon(asked.from.batch);
    asked.from.client_of = 0;
    asked.from.batch = 0;
}

// The peer's row becomes that of the registration.
void reject(request &asked, client &rejected, std::string_view why) {
    asked.vell.error("{}: registration with uuid {} rejected: {}", describe(asked.vell, asked.from),
                     rejected.uuid, why);
    asked.vell.clients.promote(std::exchange(asked.from.peer, 0), client_state::rejected);
    acknowledge(asked, 0, false);
}

} // namespace

std::string_view client_state_name(client_state state) {
    constexpr std::string_view names[] = {"unregistered", "registered", "deregistered",
                                          "replaced",     "lost",       "rejected"};
    return names[static_cast<std::size_t>(state)];
}

std::optional<std::uint8_t> client_table::free_id() const {
    for (unsigned id = 1; id < id_holders_.size(); ++id) {
        if (id_holders_[id] == 0) {
            return static_cast<std::uint8_t>(id);
        }
    }
    return std::nullopt;
}

client_key client_table::add(const client &added) {
    const client_key key = ++last_key_;
    clients_.emplace(key, added);
    settle(key, added);
    return key;
}

void client_table::promote(client_key key, client_state how) {
    client &promoted = clients_.at(key);
    promoted.state = how;
    settle(key, promoted);
}

void client_table::settle(client_key key, const client &added) {
    if (added.state == client_state::registered) {
        ++id_holders_[added.id];
    } else if (added.state != client_state::unregistered) {
        remember_gone(key);
    }
}

void client_table::end(client_key key, client_state how) {
    client *ended = find(key);
    if (ended != nullptr && ended->state == client_state::unregistered) {
        clients_.erase(key);
    } else if (ended != nullptr && ended->state == client_state::registered) {
        ended->state = how;
        --id_holders_[ended->id];
        remember_gone(key);
    }
}

void client_table::remember_gone(client_key key) {
    gone_.push_back(key);
    if (gone_.size() > gone_clients_kept) {
        clients_.erase(gone_.front());
        gone_.pop_front();
    }
}

client *client_table::find(client_key key) {
    const auto found = clients_.find(key);
    return found == clients_.end() ? nullptr : &found->second;
}

register_request decode_register_request(std::span<const std::byte> message) {
    require_length(message, registration_size);
    byte_reader reader(message);
    if (const std::uint8_t id = reader.u8("client id"); id != 0) {
        refuse_at(0, "client id is {}, it must be 0 in a register request", id);
    }
    reader.skip(3, "reserved");
    register_request decoded;
    decoded.uuid = reader.u32("uuid");
    if (VELL_SIM_HAS_SEGMENT(decoded.uuid)) {
        decoded.segment = read_segment(reader);
    }
    return decoded;
}

std::uint8_t decode_deregister_request(std::span<const std::byte> message) {
    require_length(message, registration_size);
    return byte_reader(message).u8("client id");
}

std::vector<std::byte> encode_register_ack(std::uint8_t id, bool accepted) {
    const std::byte payload[] = {std::byte{id}, accepted ? std::byte{1} : std::byte{0}};
    return message_frame(VELL_SIM_SAP_REGISTRATION, VELL_SIM_OPCODE_REGISTER, payload);
}

void handle_register(request &asked) {
    const register_request wanted = decode_register_request(asked.payload);
    client_table &clients = asked.vell.clients;
    // A client that got no acknowledgment, or gave up waiting for it, registers again on the same
    // connection. It then knows nothing of the earlier registration.
    if (clients.find(asked.from.client_of) != nullptr) {
        end_registration(asked, client_state::replaced);
        asked.from.peer = clients.add(
            {.pid = asked.from.pid, .state = client_state::unregistered, .messages = 1});
    }

    client &added = *clients.find(asked.from.peer);
    added.uuid = wanted.uuid;
    added.segment = wanted.segment;
    const fault_modes &faults = asked.vell.faults;
    const std::optional<std::uint8_t> id =
        faults.ack_id == no_ack_id ? clients.free_id()
                                   : std::optional(static_cast<std::uint8_t>(faults.ack_id));
    if (faults.reject_registration) {
        return reject(asked, added, "--reject-registration");
    }
    if (!id) {
        return reject(asked, added, "all 255 client ids are taken");
    }
    added.id = *id;
    asked.from.client_of = std::exchange(asked.from.peer, 0);
    clients.promote(asked.from.client_of, client_state::registered);
    asked.vell.trace("{} registered: uuid {}, segment \"{}\"", describe(asked.vell, asked.from),
                     added.uuid, added.segment);
    acknowledge(asked, *id, true);
}

void handle_deregister(request &asked) {
    require_client(asked, decode_deregister_request(asked.payload));
    end_registration(asked, client_state::deregistered);
}

} // namespace sim
