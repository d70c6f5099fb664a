// The log sinks of the fake platform.
#include "fake/platform.h"

#include <tessel.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <variant>

namespace fake {
namespace {

bytes take_record(const void *record, std::uint32_t length) {
    const auto *raw = static_cast<const std::uint8_t *>(record);
    bytes copy(raw, raw + length);
    if (platform().scribbles_over_log_records)
        std::memset(const_cast<void *>(record), 0xdb, length);
    return copy;
}

std::string formatted(const char *format, std::va_list values) {
    std::va_list again;
    va_copy(again, values);
    const int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, values);
    text.pop_back();
    return text;
}

} // namespace
} // namespace fake

extern "C" {

char tessel_dbg_modname[] = "fake";

uint32_t tessel_hist_event_subtype_check(uint32_t module, uint32_t level) {
    const fake::InPlatform inside;
    auto &platform = fake::platform();
    platform.calls.push_back(fake::HistoryCheck{.module = module, .level = level});
    return platform.history_check.play();
}

// The record is read after the hook has run: what a message made meanwhile must not reach into it.
uint32_t tessel_hist_event(uint32_t module, uint32_t length, const void *record) {
    const fake::InPlatform inside;
    auto &platform = fake::platform();
    const auto place = platform.calls.size();
    platform.calls.push_back(fake::HistoryEvent{.module = module});
    const auto result = platform.history_event.play();
    std::get<fake::HistoryEvent>(platform.calls.at(place)).record =
        fake::take_record(record, length);
    return result;
}

uint32_t tessel_chk_int(uint32_t level, uint32_t first, uint32_t second, uint32_t third) {
    const fake::InPlatform inside;
    auto &platform = fake::platform();
    platform.calls.push_back(
        fake::ConsoleCheck{.level = level, .first = first, .second = second, .third = third});
    return platform.console_check.play();
}

// As above, the hook runs first.
uint32_t tessel_his_log_event_for_uuid_inst(uint32_t uuid, uint32_t module, uint32_t first,
                                            uint32_t second, uint32_t length, const void *record) {
    const fake::InPlatform inside;
    auto &platform = fake::platform();
    const auto place = platform.calls.size();
    platform.calls.push_back(
        fake::ClientLog{.uuid = uuid, .module = module, .first = first, .second = second});
    const auto result = platform.client_log.play();
    std::get<fake::ClientLog>(platform.calls.at(place)).record = fake::take_record(record, length);
    return result;
}

void debug_print(uint32_t first, void *modname, uint32_t second, const char *format, ...) {
    const fake::InPlatform inside;
    auto &platform = fake::platform();
    std::va_list values;
    va_start(values, format);
    platform.calls.push_back(fake::DebugPrint{.first = first,
                                              .modname = modname,
                                              .second = second,
                                              .format = format,
                                              .text = fake::formatted(format, values)});
    va_end(values);
    platform.debug_print.run();
}
}
