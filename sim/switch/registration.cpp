#include "sim/switch/registration.h"

#include "sim/switch/byte_reader.h"
#include "sim/switch/request.h"
#include "sim/wire/message_frame.h"
#include "sim/wire/protocol.h"

#include <algorithm>
#include <fmt/format.h>
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
    const fault_modes &faults = asked.vell.faults;
    const reply answer{encode_register_ack(id, accepted), faults.ack_delay};
    asked.replies.insert(asked.replies.end(), copies(faults.ack), answer);
}

void end_registration(request &asked, client_state how) {
    asked.vell.log(log_level_trace,
                   fmt::format("{} {}", describe(asked.vell, asked.from), client_state_name(how)));
    asked.vell.clients.end(asked.from.client_of, how);
    asked.vell.batches.abandon(asked.from.batch);
    asked.from.client_of = 0;
    asked.from.batch = 0;
}

void reject(request &asked, client &&rejected, std::string_view why) {
    rejected.state = client_state::rejected;
    asked.vell.log(log_level_error,
                   fmt::format("{}: registration with uuid {} rejected: {}",
                               describe(asked.vell, asked.from), rejected.uuid, why));
    asked.vell.clients.add(rejected);
    acknowledge(asked, 0, false);
}

} // namespace

register_request decode_register_request(std::span<const std::byte> message) {
    require_length(message, registration_size);
    byte_reader reader(message);
    if (const std::uint8_t id = reader.u8("client id"); id != 0) {
        refuse_at(0, "client id is {}, it must be 0 in a register request", id);
    }
    reader.skip(3, "reserved");
    register_request decoded;
    decoded.uuid = reader.u32("uuid");
    if (std::ranges::find(uuids_without_segment, decoded.uuid) == std::end(uuids_without_segment)) {
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
    return message_frame(sap_registration, register_ack_opcode, payload);
}

void handle_register(request &asked) {
    require_option_word_1(asked, 0);
    const register_request wanted = decode_register_request(asked.payload);
    // A client that got no acknowledgment, or gave up waiting for it, registers again on the same
    // connection. It then knows nothing of the earlier registration.
    if (asked.vell.clients.find(asked.from.client_of) != nullptr) {
        end_registration(asked, client_state::replaced);
    }

    client added{
        .uuid = wanted.uuid, .pid = asked.from.pid, .segment = wanted.segment, .messages = 1};
    const fault_modes &faults = asked.vell.faults;
    const std::optional<std::uint8_t> id =
        faults.ack_id ? faults.ack_id : asked.vell.clients.free_id();
    if (faults.reject_registration) {
        return reject(asked, std::move(added), "--reject-registration");
    }
    if (!id) {
        return reject(asked, std::move(added), "all 255 client ids are taken");
    }
    added.id = *id;
    asked.from.client_of = asked.vell.clients.add(added);
    asked.vell.log(log_level_trace,
                   fmt::format("{} registered: uuid {}, segment \"{}\"",
                               describe(asked.vell, asked.from), added.uuid, added.segment));
    acknowledge(asked, *id, true);
}

void handle_deregister(request &asked) {
    require_option_word_1(asked, 0);
    require_client(asked, decode_deregister_request(asked.payload));
    end_registration(asked, client_state::deregistered);
}

} // namespace sim
