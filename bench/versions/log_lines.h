// The log lines of what is measured, written twice: floor_lines by hand, each to the bytes of this
// one message, and plain_lines with two snprintf calls.
#pragma once

#include "client.h"

#include <tessel.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace bench {

inline constexpr std::uint32_t log_module = 0x730000;
inline constexpr std::uint32_t error_level = 102;
inline constexpr std::uint32_t trace_level = 104;

// As a careful programmer writes it first. `marked` is the history's format, `unmarked` the client
// log's.
template <typename... Values>
[[gnu::noinline]] void plain_log(std::uint32_t level, const char *function, int line,
                                 const char *marked, const char *unmarked, Values... values) {
    struct {
        std::uint32_t level;
        char text[512];
    } record;
    // The level, the text as far as it went into the record, and its NUL.
    const auto record_length = [](int length) {
        return static_cast<std::uint32_t>(std::min(length, 511)) + 5;
    };
    record.level = level;
    if (tessel_hist_event_subtype_check(log_module, level) == 0) {
        const int length =
            std::snprintf(record.text, sizeof(record.text), marked, function, line, values...);
        tessel_hist_event(log_module, record_length(length), &record);
    }
    if (tessel_chk_int(level, 0, 0, 1) != 0)
        debug_print(1, tessel_dbg_modname, 0, marked, function, line, values...);
    const int length =
        std::snprintf(record.text, sizeof(record.text), unmarked, function, line, values...);
    tessel_his_log_event_for_uuid_inst(client_uuid, log_module, 1, 0, record_length(length),
                                       &record);
}

// Each member logs the line with this number.
struct plain_lines {
    static void error_700();                       // an error without values
    static void trace_478();                       // of a layer-2 record
    static void trace_1304(std::uint32_t vlans);   // of a flood update
    static void trace_1244(std::uint32_t vlan);    // of a VLAN
    static void trace_1201(std::uint32_t bitmask); // of a delta
    static void trace_1202();
    static void trace_1206(std::uint32_t if_index, std::uint32_t operation);
};

struct floor_lines {
    static void error_700();
    static void trace_478();
    static void trace_1304(std::uint32_t vlans);
    static void trace_1244(std::uint32_t vlan);
    static void trace_1201(std::uint32_t bitmask);
    static void trace_1202();
    static void trace_1206(std::uint32_t if_index, std::uint32_t operation);
};

} // namespace bench
