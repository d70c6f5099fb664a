// Log lines by hand and with snprintf: both come to the same records.
#include "log_lines.h"

#include "versions.h"

#include <bit>

namespace bench {

namespace {

constexpr char find_delta[] = "vell_find_oiflist_delta";
constexpr char send_flood[] = "vell_send_l2_mc_update_flood_ltl";

// A record whose text is known when this is compiled.
template <std::size_t size>
struct fixed_record {
    std::uint32_t level;
    char text[size];
    static constexpr std::uint32_t length = 4 + size;
};
template <std::size_t size>
fixed_record(std::uint32_t, const char (&)[size]) -> fixed_record<size>;

// The floors are for a closed console only.
[[gnu::always_inline]] inline void require_closed_console(std::uint32_t level) {
    if (tessel_chk_int(level, 0, 0, 1) != 0)
        __builtin_trap();
}

template <typename Marked, typename Unmarked>
[[gnu::always_inline]] inline void log_fixed(const Marked &marked, const Unmarked &unmarked) {
    if (tessel_hist_event_subtype_check(log_module, marked.level) == 0)
        tessel_hist_event(log_module, marked.length, &marked);
    require_closed_console(marked.level);
    tessel_his_log_event_for_uuid_inst(client_uuid, log_module, 1, 0, unmarked.length, &unmarked);
}

constexpr char two_digits[] = "00010203040506070809101112131415161718192021222324"
                              "25262728293031323334353637383940414243444546474849"
                              "50515253545556575859606162636465666768697071727374"
                              "75767778798081828384858687888990919293949596979899";

char *put_decimal(char *at, std::uint32_t number) {
    if (number > 0x7fffffff) {
        *at++ = '-';
        number = 0 - number;
    }
    constexpr int most_digits = 10;
    char digits[2 * most_digits];
    char *const end = digits + most_digits;
    char *first = end;
    for (; number >= 100; number /= 100)
        std::memcpy(first -= 2, two_digits + 2 * (number % 100), 2);
    if (number >= 10)
        std::memcpy(first -= 2, two_digits + 2 * number, 2);
    else
        *--first = static_cast<char>('0' + number);
    // A copy of known length, whatever comes after the digits.
    std::memcpy(at, first, most_digits);
    return at + (end - first);
}

char *put_hexadecimal(char *at, std::uint32_t number) {
    int shift = (std::bit_width(number | 1) + 3) / 4 * 4;
    do
        *at++ = "0123456789abcdef"[number >> (shift -= 4) & 15];
    while (shift != 0);
    return at;
}

template <std::size_t size>
[[gnu::always_inline]] inline char *put(char *at, const char (&text)[size]) {
    std::memcpy(at, text, size - 1);
    return at + size - 1;
}

// A trace whose body, the text after the marker, is at most body_size bytes long: it is written once
// and copied.
template <std::size_t size, typename Body>
[[gnu::always_inline]] inline void log_trace(const char (&prefix)[size], Body put_body) {
    constexpr std::size_t body_size = 48;
    struct {
        std::uint32_t level;
        char text[128];
    } unmarked, marked;
    unmarked.level = trace_level;
    char *const body = put(unmarked.text, prefix);
    char *const end = put_body(body);
    *end = '\0';
    const auto length = static_cast<std::uint32_t>(end - reinterpret_cast<char *>(&unmarked)) + 1;
    if (tessel_hist_event_subtype_check(log_module, trace_level) == 0) {
        marked.level = trace_level;
        std::memcpy(put(put(marked.text, prefix), "TRACE: "), body, body_size);
        tessel_hist_event(log_module, length + 7, &marked);
    }
    require_closed_console(trace_level);
    tessel_his_log_event_for_uuid_inst(client_uuid, log_module, 1, 0, length, &unmarked);
}

} // namespace

void floor_lines::error_700() {
    static constexpr fixed_record record = {
        error_level, "vell_send_v6_mroute_update(700):ERROR: Client not registered\n"};
    log_fixed(record, record);
}

void floor_lines::trace_478() {
    static constexpr fixed_record marked = {
        trace_level, "vell_send_l2_mc_update(478):TRACE: Send VELL_OP_ADD/DEL_L2_MBD update\n"};
    static constexpr fixed_record unmarked = {
        trace_level, "vell_send_l2_mc_update(478):Send VELL_OP_ADD/DEL_L2_MBD update\n"};
    log_fixed(marked, unmarked);
}

void floor_lines::trace_1202() {
    static constexpr fixed_record marked = {trace_level,
                                            "vell_find_oiflist_delta(1202):TRACE: Update list:\n"};
    static constexpr fixed_record unmarked = {trace_level,
                                              "vell_find_oiflist_delta(1202):Update list:\n"};
    log_fixed(marked, unmarked);
}

void floor_lines::trace_1304(std::uint32_t vlans) {
    log_trace("vell_send_l2_mc_update_flood_ltl(1304):",
              [=](char *at) { return put(put_decimal(put(at, "Num of msgs "), vlans), "\n"); });
}

void floor_lines::trace_1244(std::uint32_t vlan) {
    log_trace("vell_build_nerb_flood_ltl_pyld(1244):",
              [=](char *at) { return put(put_decimal(put(at, "Delta for vlan "), vlan), "\n"); });
}

void floor_lines::trace_1201(std::uint32_t bitmask) {
    log_trace("vell_find_oiflist_delta(1201):", [=](char *at) {
        return put(put_hexadecimal(put(at, "FLC_BITMASK: 0x"), bitmask), "\n");
    });
}

void floor_lines::trace_1206(std::uint32_t if_index, std::uint32_t operation) {
    log_trace("vell_find_oiflist_delta(1206):", [=](char *at) {
        at = put(put_decimal(put(at, "IfIdx: "), if_index), " Op: ");
        *at++ = static_cast<char>('0' + operation);
        return put(at, "\n");
    });
}

void plain_lines::error_700() {
    constexpr char format[] = "%s(%d):ERROR: Client not registered\n";
    plain_log(error_level, "vell_send_v6_mroute_update", 700, format, format);
}

void plain_lines::trace_478() {
    plain_log(trace_level, "vell_send_l2_mc_update", 478,
              "%s(%d):TRACE: Send VELL_OP_ADD/DEL_L2_MBD update\n",
              "%s(%d):Send VELL_OP_ADD/DEL_L2_MBD update\n");
}

void plain_lines::trace_1304(std::uint32_t vlans) {
    plain_log(trace_level, send_flood, 1304, "%s(%d):TRACE: Num of msgs %d\n",
              "%s(%d):Num of msgs %d\n", vlans);
}

void plain_lines::trace_1244(std::uint32_t vlan) {
    plain_log(trace_level, "vell_build_nerb_flood_ltl_pyld", 1244,
              "%s(%d):TRACE: Delta for vlan %d\n", "%s(%d):Delta for vlan %d\n", vlan);
}

void plain_lines::trace_1201(std::uint32_t bitmask) {
    plain_log(trace_level, find_delta, 1201, "%s(%d):TRACE: FLC_BITMASK: 0x%x\n",
              "%s(%d):FLC_BITMASK: 0x%x\n", bitmask);
}

void plain_lines::trace_1202() {
    plain_log(trace_level, find_delta, 1202, "%s(%d):TRACE: Update list:\n",
              "%s(%d):Update list:\n");
}

void plain_lines::trace_1206(std::uint32_t if_index, std::uint32_t operation) {
    plain_log(trace_level, find_delta, 1206, "%s(%d):TRACE: IfIdx: %d Op: %d\n",
              "%s(%d):IfIdx: %d Op: %d\n", if_index, operation);
}

} // namespace bench
