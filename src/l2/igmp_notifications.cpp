#include "l2/igmp_notifications.h"

#include "client/client_state.h"
#include "client/log.h"
#include "client/transport.h"

#include <vell.h>

#include <cstdint>

namespace vell {

bool send_oob_marker(std::uint32_t marker) {
    static constexpr char function[] = "vell_send_igmp_oob_notification";
    // A queue is enough: a batch may be bracketed before the registration is acknowledged.
    if (vell_client_q == 0) {
        vell_log(log_error, function, 596, "%s(%d):ERROR: Client has not register\n");
        return false;
    }
    if (!send_and_release(request::igmp_oob_marker, vell_client_q, &marker, sizeof(marker))) {
        vell_log(log_error, function, 609,
                 "%s(%d):ERROR: KYT send fail for KYT_OPC_VELL_IGMP_OOB_MSG\n");
        return false;
    }
    return true;
}

} // namespace vell

using namespace vell;

// Flat, so that a client's markers do not pay for the call that those of layer-2 updates make.
[[gnu::flatten]] int vell_send_igmp_oob_notification(std::uint32_t marker) {
    return send_oob_marker(marker);
}

int vell_send_igmp_download_complete(void) {
    if (!client_acknowledged()) {
        vell_log(log_error, "vell_send_igmp_download_complete", 548,
                 "%s(%d):ERROR: Client not registered\n");
        return 0;
    }
    const std::uint32_t payload = 0;
    return send_and_release(request::igmp_download_complete, vell_client_q, &payload,
                            sizeof(payload));
}

int vell_send_igmp_snoop_update(void) {
    return 1;
}
