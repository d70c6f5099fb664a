// Layer-2 messages written out by hand: one record of each form, every field different.
#pragma once

#include "tests/switch/message_bytes.h"

#include <cstdint>
#include <vector>

// Numbers in network byte order.
inline bytes network_u32(std::uint32_t value) {
    return literal({static_cast<int>(value >> 24), static_cast<int>(value >> 16 & 0xff),
                    static_cast<int>(value >> 8 & 0xff), static_cast<int>(value & 0xff)});
}

// What is not read is not zero.
inline bytes l2_header(unsigned id, unsigned records) {
    return literal({static_cast<int>(id), 0xd0, static_cast<int>(records >> 8),
                    static_cast<int>(records & 0xff), 0x24, 0x35, 0x12, 0x03});
}

inline bytes joined(std::initializer_list<bytes> parts) {
    message whole;
    for (const bytes &part : parts) {
        whole.add(part);
    }
    return whole;
}

// Types 8 and 9: two words and two pairs.
inline bytes pairs_record(int type) {
    // clang-format off
    return message().add(literal({
        type, 0xd1, 0xd2, 0xd3, 0xd4, 0xd5, 0xd6, 0xd7,                     // 0    type
        0x60, 0x00, 0x00, 0x00,                                             // 8    length 96, in host byte order
        0x11, 0x12, 0x13, 0x14,                                             // 12   word
        0x00, 0x00, 0x00, 0x02,                                             // 16   2 entries
        0x15, 0x16, 0x17, 0x18,                                             // 20   word
        0x21, 0x22, 0x23, 0x24, 0x25, 0x26, 0x27, 0x28,                     // 24   pair
        0x29, 0x2a, 0x2b, 0x2c, 0x2d, 0x2e, 0x2f, 0x30,                     // 32   pair
    })).fill(56, 0xee);                                                     // 40   to the end of the record
    // clang-format on
}

// Types 10 and 11: one pair.
inline bytes bare_pairs_record(int type) {
    // clang-format off
    return message().add(literal({
        type, 0xd1, 0xd2, 0xd3, 0xd4, 0xd5, 0xd6, 0xd7,                     // 0    type
        0x58, 0x00, 0x00, 0x00,                                             // 8    length 88
        0x00, 0x00, 0x00, 0x01,                                             // 12   1 entry
        0x31, 0x32, 0x33, 0x34, 0x35, 0x36, 0x37, 0x38,                     // 16   pair
    })).fill(64, 0xee);                                                     // 24   to the end of the record
    // clang-format on
}

// Types 12 to 15: a flood list of VLAN 300 with one entry of each kind.
inline bytes flood_record(int type) {
    // clang-format off
    return message().add(literal({
        type, 0xd1, 0xd2, 0xd3, 0xd4, 0xd5, 0xd6, 0xd7,                     // 0    type
        0xb0, 0x00, 0x00, 0x00,                                             // 8    length 176
        0x41, 0x42, 0x43, 0x44,                                             // 12   word
        0x45, 0x46, 0x47, 0x48,                                             // 16   word
        0x49, 0x4a, 0x4b, 0x4c,                                             // 20   word
        0x00, 0x00, 0x01, 0x2c,                                             // 24   VLAN 300
        0x4d, 0x4e,                                                         // 28   flags
        0x00, 0x00, 0x00, 0x04,                                             // 30   address block 1: IPv4
        0x0a, 0x51, 0x52, 0x53, 0xd8, 0xd9, 0xda, 0xdb,                     // 34   10.81.82.83
        0xdc, 0xdd, 0xde, 0xdf, 0xe0, 0xe1, 0xe2, 0xe3,                     // 42
        0x00, 0x00, 0x00, 0x02,                                             // 50   address block 2: MAC
        0x54, 0x55, 0x56, 0x57, 0x58, 0x59, 0xe4, 0xe5,                     // 54   54:55:56:57:58:59
        0xe6, 0xe7, 0xe8, 0xe9, 0xea, 0xeb, 0xec, 0xed,                     // 62
        0x00, 0x00, 0x00, 0x03,                                             // 70   3 entries
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x61,                     // 74   kind 0, flags
        0x62, 0x63, 0x64, 0x65, 0x66, 0x67, 0x68, 0x69,                     // 82   words
        0xf0, 0xf1, 0xf2, 0xf3, 0xf4, 0xf5, 0xf6, 0xf7,                     // 90   nothing
        0xf8, 0xf9, 0xfa, 0xfb, 0xfc, 0xfd, 0xfe, 0xff,                     // 98
        0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x04,                     // 106  kind 1, flags
        0x6a, 0x6b, 0x6c, 0x6d, 0x6e, 0x6f, 0x70, 0x71,                     // 114  words
        0xfe, 0x80, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,                     // 122  fe80::7273:7475
        0x00, 0x00, 0x00, 0x00, 0x72, 0x73, 0x74, 0x75,                     // 130
        0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x76, 0x77,                     // 138  kind 2, flags
        0x78, 0x79, 0x7a, 0x7b, 0x7c, 0x7d, 0x7e, 0x7f,                     // 146  words
        0x80, 0x81, 0x82, 0x83, 0xf0, 0xf1, 0xf2, 0xf3,                     // 154  interface index
        0xf4, 0xf5, 0xf6, 0xf7, 0xf8, 0xf9, 0xfa, 0xfb,                     // 162
    })).fill(6, 0xee);                                                      // 170  to the end of the record
    // clang-format on
}

// Type 18: two lookup modes.
inline bytes lookup_mode_record() {
    // clang-format off
    return message().add(literal({
        18, 0xd1, 0xd2, 0xd3, 0xd4, 0xd5, 0xd6, 0xd7,                       // 0    type
        0x60, 0x00, 0x00, 0x00,                                             // 8    length 96
        0x91, 0x92, 0x93, 0x94,                                             // 12   word
        0x00, 0x00, 0x00, 0x02,                                             // 16   2 entries
        0x00, 0x00, 0x00, 0x0b, 0x95, 0x96, 0x97, 0x98,                     // 20   VLAN 11, mode
        0x00, 0x00, 0x00, 0x0a, 0x99, 0x9a, 0x9b, 0x9c,                     // 28   VLAN 10, mode
    })).fill(60, 0xee);                                                     // 36   to the end of the record
    // clang-format on
}

// Types 21 and 22: (10.1.2.3, 239.4.5.6) in VLAN 10 with two ports.
inline bytes mbd_record(int type) {
    // clang-format off
    return message().add(literal({
        type, 0xd1, 0xd2, 0xd3, 0xd4, 0xd5, 0xd6, 0xd7,                     // 0    type
        0x90, 0x00, 0x00, 0x00,                                             // 8    length 144
        0xa1, 0xa2, 0xa3, 0xa4,                                             // 12   bridge
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,                     // 16
        0x00, 0x00, 0x00, 0x0a,                                             // 24   VLAN 10
        0x00, 0x00, 0x00, 0x00,                                             // 28
        0x00, 0x01,                                                         // 32   flags: permanent
        0x00, 0x00, 0x00, 0x04,                                             // 34   address block 1: IPv4
        0xef, 0x04, 0x05, 0x06, 0xd8, 0xd9, 0xda, 0xdb,                     // 38   239.4.5.6
        0xdc, 0xdd, 0xde, 0xdf, 0xe0, 0xe1, 0xe2, 0xe3,                     // 46
        0x00, 0x00, 0x00, 0x04,                                             // 54   address block 2: IPv4
        0x0a, 0x01, 0x02, 0x03, 0xe4, 0xe5, 0xe6, 0xe7,                     // 58   10.1.2.3
        0xe8, 0xe9, 0xea, 0xeb, 0xec, 0xed, 0xee, 0xef,                     // 66
        0x00, 0x00, 0x00, 0x02,                                             // 74   2 entries
        0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x04,                     // 78   kind 2, flags: SVI
        0xb1, 0xb2, 0xb3, 0xb4, 0xb5, 0xb6, 0xb7, 0xb8,                     // 86   words
        0x00, 0x00, 0x00, 0x09, 0xf4, 0xf5, 0xf6, 0xf7,                     // 94   port 9
        0xf8, 0xf9, 0xfa, 0xfb, 0xfc, 0xfd, 0xfe, 0xff,                     // 102
        0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x00,                     // 110  kind 2, flags
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,                     // 118  words
        0x00, 0x00, 0x00, 0x07, 0xf4, 0xf5, 0xf6, 0xf7,                     // 126  port 7
        0xf8, 0xf9, 0xfa, 0xfb, 0xfc, 0xfd, 0xfe, 0xff,                     // 134
    })).fill(2, 0xee);                                                      // 142  to the end of the record
    // clang-format on
}

struct test_port {
    std::uint32_t if_index;
    std::uint32_t flags = 0;
};

// An MBD record of other contents. The addresses are 16 bytes, or fewer and zeros after them.
struct test_mbd {
    int type = 21;
    std::uint32_t vlan = 10;
    std::uint32_t bridge = 5;
    unsigned flags = 0;
    std::uint32_t kind = 4;
    std::vector<int> group{239, 1, 1, 1};
    std::vector<int> source{};
    std::vector<test_port> ports{};
};

inline bytes mbd_record(const test_mbd &mbd) {
    const auto count = static_cast<std::uint32_t>(mbd.ports.size());
    message record;
    record.u8(static_cast<std::uint32_t>(mbd.type))
        .fill(7, 0)
        .u32(80 + 32 * count)
        .add(network_u32(mbd.bridge));
    record.fill(8, 0).add(network_u32(mbd.vlan)).fill(4, 0).u8(mbd.flags >> 8).u8(mbd.flags & 0xff);
    for (const std::vector<int> &address : {mbd.group, mbd.source}) {
        record.add(network_u32(mbd.kind)).add(cut(literal(address), 16));
    }
    record.add(network_u32(count));
    for (const test_port &port : mbd.ports) {
        record.add(network_u32(2))
            .add(network_u32(port.flags))
            .fill(8, 0)
            .add(network_u32(port.if_index))
            .fill(12, 0);
    }
    return record.fill(2, 0);
}

inline bytes mbd_message(unsigned id, const std::vector<test_mbd> &records) {
    message sent;
    sent.add(l2_header(id, static_cast<unsigned>(records.size())));
    for (const test_mbd &record : records) {
        sent.add(mbd_record(record));
    }
    return sent;
}
