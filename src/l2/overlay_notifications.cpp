#include "client/log.h"
#include "client/transport.h"

#include <kyt.h>
#include <vell.h>

#include <cstddef>
#include <cstdint>

static_assert(sizeof(vell_zeb_message) == 4 && alignof(vell_zeb_message) == 1 &&
              offsetof(vell_zeb_message, length) == 2);

namespace vell {

namespace {

// What a message of the overlay's disable opcode is about.
enum disable_type : std::uint16_t {
    feature_disable = 1,
    vlans_disable = 2,
    feature_disable_flagged = 3
};

struct feature_disable_payload {
    vell_zeb_message head;
    std::uint32_t zero;
};
static_assert(sizeof(feature_disable_payload) == 8);

void log_send_failure(log_function function, log_line line) {
    vell_log(log_error, function, line, "%s(%d):ERROR: KYT send failed\n");
}

} // namespace

} // namespace vell

using namespace vell;

int vell_send_zeb_feature_disable(std::uint32_t queue, std::uint32_t flag) {
    if (queue == 0)
        return 0;

    feature_disable_payload payload = {};
    payload.head.type = flag != 0 ? feature_disable_flagged : feature_disable;
    payload.head.length = sizeof(payload);
    if (!send_and_release(request::overlay_feature_disable, queue, &payload, sizeof(payload))) {
        log_send_failure("vell_send_zeb_feature_disable", 323);
        return 0;
    }
    return 1;
}

int vell_send_zeb_vlans_disable(std::uint32_t queue, void *buffer) {
    if (queue == 0 || buffer == nullptr)
        return 0;

    auto *const message = static_cast<vell_zeb_message *>(buffer);
    message->type = vlans_disable;
    if (!send_and_release(request::overlay_vlans_disable, queue, message, message->length)) {
        log_send_failure("vell_send_zeb_vlans_disable", 370);
        return 0;
    }
    return 1;
}

int vell_send_zeb_route_update(std::uint32_t queue, const void *buffer, kyt_msg_ref *reply) {
    if (queue == 0 || buffer == nullptr || reply == nullptr)
        return 0;

    const auto *const message = static_cast<const vell_zeb_message *>(buffer);
    if (!send_request(request::overlay_route_update, queue, message, message->length, reply)) {
        log_send_failure("vell_send_zeb_route_update", 281);
        return 0;
    }
    return 1;
}
