#include "sim/switch/ipv6_notice.h"

#include "sim/switch/byte_reader.h"
#include "sim/switch/request.h"

namespace sim {

ipv6_notice decode_ipv6_notice(std::span<const std::byte> message) {
    require_length(message, 16);
    byte_reader reader(message);
    ipv6_notice decoded;
    decoded.client_id = reader.u8("client id");
    reader.skip(1, "reserved");
    decoded.third = reader.u16("third value");
    reader.skip(4, "reserved");
    decoded.first = reader.u32("first value");
    decoded.second = reader.u32("second value");
    return decoded;
}

void handle_ipv6_notice(request &asked) {
    require_option_word_1(asked, 1);
    const ipv6_notice notice = decode_ipv6_notice(asked.payload);
    client &sender = require_client(asked, notice.client_id);
    ++sender.ipv6_notices;
    sender.last_ipv6_notice = {notice.first, notice.second, notice.third};
}

} // namespace sim
