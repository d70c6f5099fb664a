// The floors of registration, markers and overlay notifications: the platform's calls and the bytes
// that they take, the test of the client's state, and nothing else.
#include "client.h"
#include "versions.h"

#include <kyt.h>

#include <cstdint>
#include <cstring>

namespace bench {

std::uint8_t client_id = 0;
std::uint32_t client_queue = 0;
std::uint32_t client_uuid = 384;

namespace {

struct register_payload {
    std::uint32_t client_id;
    std::uint32_t uuid;
    char shm_name[VELL_SHM_NAME_MAX + 1];
};

} // namespace

} // namespace bench

using namespace bench;

int floor_send_igmp_snoop_update(void) {
    return 1;
}

std::uint32_t floor_register(std::uint32_t queue, std::uint32_t uuid, const char *shm_name) {
    if (client_id != 0 || client_queue != 0)
        return 0;
    register_payload payload = {};
    payload.uuid = uuid;
    if (uuid != 286 && uuid != 592) {
        const std::size_t length = std::strlen(shm_name);
        if (length > VELL_SHM_NAME_MAX)
            return 0;
        std::memcpy(payload.shm_name, shm_name, length);
    }
    kyt_msg_ref reference;
    if (!send(queue, registration, 75796, 0, &payload, sizeof(payload), &reference))
        return 0;
    client_queue = queue;
    client_uuid = uuid;
    kyt_drop(queue, &reference);
    return 1;
}

std::uint32_t floor_register_ack(void *message) {
    const auto *const answer = static_cast<const std::uint8_t *>(kyt_payload_get(message));
    client_id = answer != nullptr && (answer[1] & 1) != 0 ? answer[0] : 0;
    return client_id != 0;
}

std::uint32_t floor_deregister(void) {
    if (!acknowledged())
        return 0;
    const register_payload payload = {client_id, 0, {}};
    if (!send_and_drop(client_queue, registration, 75797, 0, &payload, sizeof(payload)))
        return 0;
    client_uuid = 384;
    client_id = 0;
    client_queue = 0;
    return 1;
}

void floor_register_kyt_q(std::uint32_t queue) {
    client_queue = queue;
}

int floor_send_igmp_oob_notification(std::uint32_t marker) {
    return client_queue != 0 &&
           send_and_drop(client_queue, notifications, 75804, 0, &marker, sizeof(marker));
}

int floor_send_igmp_download_complete(void) {
    if (!acknowledged())
        return 0;
    const std::uint32_t payload = 0;
    return send_and_drop(client_queue, notifications, 75789, 0, &payload, sizeof(payload));
}

int floor_send_zeb_feature_disable(std::uint32_t queue, std::uint32_t flag) {
    if (queue == 0)
        return 0;
    const std::uint16_t payload[4] = {static_cast<std::uint16_t>(flag != 0 ? 3 : 1), 8};
    return send_and_drop(queue, notifications, 75820, 0, payload, sizeof(payload));
}

int floor_send_zeb_vlans_disable(std::uint32_t queue, void *buffer) {
    if (queue == 0 || buffer == nullptr)
        return 0;
    auto *const message = static_cast<vell_zeb_message *>(buffer);
    message->type = 2;
    return send_and_drop(queue, notifications, 75820, 1, message, message->length);
}

int floor_send_zeb_route_update(std::uint32_t queue, const void *buffer, kyt_msg_ref *reply) {
    if (queue == 0 || buffer == nullptr || reply == nullptr)
        return 0;
    const auto *const message = static_cast<const vell_zeb_message *>(buffer);
    return send(queue, notifications, 75818, 1, message, message->length, reply);
}
