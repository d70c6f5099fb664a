// The address helpers of the desk. The interface helpers of the same header are not on the desk: who calls them gets an
// error from the linker rather than made-up interfaces.
#include <cstring>
#pragma GCC visibility push(default)
#include <qarnutils.h>
#pragma GCC visibility pop

void ipv6_addr_copy(const void *from, void *to) {
    constexpr std::size_t address_size = 16;
    std::memcpy(to, from, address_size);
}
