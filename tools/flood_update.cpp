#include "flood_update.h"

#include "flood_message.h"
#include "manager_answer.h"

#include <vell.h>

namespace feed {

flood_answer send_flood_update(client_session &client, const std::vector<flood_change> &changes) {
    flood_messages messages = make_flood_messages(changes);
    // The answer carries the context as it is: a number tells apart what one address could not.
    const std::uint32_t cookie = client.new_cookie();
    void *const context = reinterpret_cast<void *>(std::uintptr_t{cookie});
    const bool sent =
        vell_send_l2_mc_update_flood_ltl(
            messages.older.data(), static_cast<std::uint32_t>(messages.older.size()),
            messages.vlans, messages.newer.data(),
            static_cast<std::uint32_t>(messages.newer.size()), messages.vlans, context) == 1;
    require_sent(sent, flood_update_request.name);
    return read_flood_answer(await_answer(client, flood_update_request, cookie), changes);
}

} // namespace feed
