#include <qarnutils.h>
#include <qarnutils_sim.h>

#include <cstring>

void ipv6_addr_copy(const void *from, void *to) {
    constexpr std::size_t address_size = 16;
    std::memcpy(to, from, address_size);
}
