// The address helpers of the fake platform.
#include "fake/platform.h"

#include <qarnutils.h>

#include <cstring>

extern "C" {

void ipv6_addr_copy(const void *from, void *to) {
    const fake::InPlatform inside;
    auto &platform = fake::platform();
    platform.calls.push_back(fake::AddressCopy{.from = from, .to = to});
    std::memcpy(to, from, 16);
    platform.ipv6_addr_copy.run();
}
}
