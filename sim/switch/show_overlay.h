// What the overlay has notified, as JSON.
#pragma once

#include "sim/switch/service.h"
#include "sim/switch/show_query.h"

#include <string>

namespace sim {

std::string show_overlay(const service &vell, const show_query &query);

} // namespace sim
