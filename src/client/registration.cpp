#include "client/client_state.h"
#include "client/log.h"
#include "client/transport.h"

#include <kyt.h>
#include <vell.h>

#include <cstddef>
#include <cstring>

std::uint8_t vell_client_id = 0;
std::uint32_t vell_client_q = 0;
std::uint32_t vell_client_uuid = vell::unregistered_uuid;

namespace vell {

namespace {

struct register_payload {
    std::uint8_t client_id; // 0: the id comes with the answer
    std::uint8_t reserved[3];
    std::uint32_t uuid;
    char shm_name[VELL_SHM_NAME_MAX + 1];
};
static_assert(sizeof(register_payload) == 248 && offsetof(register_payload, uuid) == 4 &&
              offsetof(register_payload, shm_name) == 8);

// As long as the register request.
struct deregister_payload {
    std::uint8_t client_id;
    std::uint8_t reserved[247];
};
static_assert(sizeof(deregister_payload) == 248);

struct acknowledgment {
    std::uint8_t client_id;
    std::uint8_t flags;
};
static_assert(sizeof(acknowledgment) == 2);
constexpr std::uint8_t registration_accepted = 0x01;

// These two clients register without a segment name.
bool has_shm_segment(std::uint32_t uuid) {
    return uuid != 286 && uuid != 592;
}

} // namespace

} // namespace vell

using namespace vell;

std::uint32_t vell_register(std::uint32_t queue, std::uint32_t uuid, const char *shm_name) {
    if (vell_client_id != 0 || vell_client_q != 0) {
        vell_log(log_trace, "vell_register", 93,
                 "%s(%d):TRACE: client already registered? client-id: %d, vell_client_q: %d\n",
                 vell_client_id, vell_client_q);
        return 0;
    }

    register_payload payload = {};
    payload.uuid = uuid;
    if (has_shm_segment(uuid)) {
        if (std::strlen(shm_name) > VELL_SHM_NAME_MAX) {
            vell_log(log_error, "vell_register", 106,
                     "%s(%d):ERROR: shared memory segment name length error\n");
            return 0;
        }
        std::strncpy(payload.shm_name, shm_name, sizeof(payload.shm_name));
    }

    kyt_msg_ref reference;
    if (!send_request(request::client_register, queue, &payload, sizeof(payload), &reference)) {
        vell_log(log_error, "vell_register", 135, "%s(%d):ERROR: kyt_send failed : %d\n", -1);
        return 0;
    }
    // The queue is held before the reference is released: a transport that calls back finds the
    // client registered.
    vell_client_q = queue;
    vell_client_uuid = uuid;
    kyt_drop(queue, &reference);
    return 1;
}

std::uint32_t vell_register_ack(void *message) {
    acknowledgment answer = {};
    if (const void *payload = kyt_payload_get(message))
        std::memcpy(&answer, payload, sizeof(answer));

    if ((answer.flags & registration_accepted) == 0) {
        vell_log(log_trace, "vell_register_ack", 180, "%s(%d):TRACE: Failed to update client_id\n");
        vell_client_id = 0;
        return 0;
    }
    vell_client_id = answer.client_id;
    return vell_client_id != 0;
}

std::uint32_t vell_deregister(void) {
    if (!client_acknowledged())
        return 0;

    deregister_payload payload = {};
    payload.client_id = vell_client_id;
    if (!send_and_release(request::client_deregister, vell_client_q, &payload, sizeof(payload)))
        return 0;

    vell_client_uuid = unregistered_uuid;
    vell_client_id = 0;
    vell_client_q = 0;
    return 1;
}

void vell_register_kyt_q(std::uint32_t queue) {
    vell_client_q = queue;
}
