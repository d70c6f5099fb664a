// What the overlay has notified, as text for a terminal of 80 columns.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace sim {

// Takes the table's JSON, as the switch gave it.
std::string overlay_text(const nlohmann::ordered_json &table);

} // namespace sim
