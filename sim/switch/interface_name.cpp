#include "sim/switch/interface_name.h"

#include <qarnutils_sim.h>

#include <fmt/format.h>

namespace sim {

std::string interface_name(std::uint32_t if_index) {
    char name[QARNUTILS_SIM_NAME_SIZE];
    return qarnutils_sim_if_name(if_index, name, sizeof name) == 0
               ? name
               : fmt::format("{:#010x}", if_index);
}

} // namespace sim
