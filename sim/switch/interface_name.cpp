#include "interface_name.h"

#include <qarnutils_desk.h>

#include <fmt/format.h>

namespace desk {

std::string interface_name(std::uint32_t if_index) {
    char name[QARNUTILS_DESK_NAME_SIZE];
    return qarnutils_desk_if_name(if_index, name, sizeof name) == 0
               ? name
               : fmt::format("{:#010x}", if_index);
}

} // namespace desk
