// Which VLAN a bridge is: a kernel without VLAN filtering has a bridge for each.
#pragma once

#include "sim/base/cli_fwd.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace feed {

// The VLANs of bridges whose names do not say it.
using bridge_vlans = std::map<std::string, std::uint32_t>;

// What these say, or the N of br<N>; 0 when neither does.
std::uint32_t vlan_of_bridge(const std::string &bridge, const bridge_vlans &vlans);

// What to do about a bridge of which neither does, behind a complaint.
std::string vlan_remedy(const std::string &bridge);

// --vlan BRIDGE=N; `which` is which bridges need it. Throws usage_error when a text says something else.
void add_vlan_option(CLI::App &command, std::vector<std::string> &texts, const std::string &which);
bridge_vlans parse_vlans(const std::vector<std::string> &texts);

// --bridge NAME; `what` is what is taken of these bridges only.
void add_bridge_option(CLI::App &command, std::vector<std::string> &bridges,
                       const std::string &what);

// Throws input_error when --bridge or --vlan names a bridge that `is_known` does not know: it is
// mistyped then. `why` says where it was looked for.
void check_named_bridges(const std::vector<std::string> &bridges,
                         const std::vector<std::string> &vlans,
                         const std::function<bool(const std::string &bridge)> &is_known,
                         const std::string &why);

} // namespace feed
