// The logging side of a benchmark: the platform's log sinks, as light as can be, so that formatting
// is what is measured, and the plain way of writing a message, two snprintf calls. For the one
// source file of a benchmark.
#pragma once

#include "client/client_state.h"
#include "client/log.h"

#include <tessel.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

static bool history_takes_messages = true;
static unsigned records_seen;

extern "C" {
char tessel_dbg_modname[] = "bench";
std::uint32_t tessel_hist_event_subtype_check(std::uint32_t, std::uint32_t) {
    return history_takes_messages ? 0 : 1;
}
std::uint32_t tessel_hist_event(std::uint32_t, std::uint32_t length, const void *) {
    return records_seen += length;
}
std::uint32_t tessel_chk_int(std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t) {
    return 0;
}
std::uint32_t tessel_his_log_event_for_uuid_inst(std::uint32_t, std::uint32_t, std::uint32_t,
                                                 std::uint32_t, std::uint32_t length,
                                                 const void *) {
    return records_seen += length;
}
void debug_print(std::uint32_t, void *, std::uint32_t, const char *, ...) {}
}

template <typename... Values>
[[gnu::noinline]] void plain_log(std::uint32_t level, const char *function, int line,
                                 const char *marked, const char *unmarked, Values... values) {
    vell::log_record record;
    const auto length = [&record] {
        return static_cast<std::uint32_t>(std::strlen(record.text) + 5);
    };
    if (tessel_hist_event_subtype_check(vell::log_module, level) == 0) {
        record.level = level;
        std::snprintf(record.text, sizeof(record.text), marked, function, line, values...);
        tessel_hist_event(vell::log_module, length(), &record);
    }
    if (tessel_chk_int(level, 0, 0, 1) != 0)
        debug_print(1, tessel_dbg_modname, 0, marked, function, line, values...);
    record.level = level;
    std::snprintf(record.text, sizeof(record.text), unmarked, function, line, values...);
    tessel_his_log_event_for_uuid_inst(vell_client_uuid, vell::log_module, 1, 0, length(), &record);
}
