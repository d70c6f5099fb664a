// One flood update, from the request to what the LTL manager says of it.
#pragma once

#include "client_session.h"
#include "flood_answer.h"
#include "flood_changes.h"

#include <vector>

namespace feed {

// Throws session_error when the update could not be sent, or was not answered.
flood_answer send_flood_update(client_session &client, const std::vector<flood_change> &changes);

} // namespace feed
