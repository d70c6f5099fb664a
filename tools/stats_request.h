// Statistics and clear requests, from sending one to what the service answers.
#pragma once

#include "client_session.h"
#include "stats_answer.h"

namespace feed {

enum class stats_clearing { none, as_well, alone };

// Throws refused_request when the switch has no such route, session_error when a request could not
// be sent or was not answered.
stats_answer ask_stats(client_session &client, const stats_route &route, stats_clearing clearing);

} // namespace feed
