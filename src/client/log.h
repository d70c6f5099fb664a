// Diagnostic messages: every one goes to the event history, the debug console and the log of the
// client process.
//
//     vell_log(log_error, "vell_register", 135, "%s(%d):ERROR: kyt_send failed : %d\n", -1);
//
// The format is the history's, level marker included. It is checked at compile time: its prefix,
// its marker against the level, and each conversion against the value it is given. The client log
// leaves a trace's marker out.
//
// Nothing is allocated, and the record is on the stack, so that a message may be logged from within
// a platform call that a message made.
#pragma once

#include "client/client_state.h"

#include <tessel.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace vell {

inline constexpr std::uint32_t log_module = 0x730000;
inline constexpr std::size_t log_text_size = 512;

// The unit that the history and the client log take; readers outside this process know this layout.
struct log_record {
    std::uint32_t level;
    char text[log_text_size];
};
static_assert(offsetof(log_record, text) == 4 && sizeof(log_record) == 516);

inline constexpr std::size_t log_marker_length = 7;

// A message level: its number, its marker in the text, and whether the client log keeps the marker.
struct error_level {
    static constexpr std::uint32_t number = 102;
    static constexpr char marker[log_marker_length + 1] = "ERROR: ";
    static constexpr bool marked_in_client_log = true;
};
struct trace_level {
    static constexpr std::uint32_t number = 104;
    static constexpr char marker[log_marker_length + 1] = "TRACE: ";
    static constexpr bool marked_in_client_log = false;
};
inline constexpr error_level log_error;
inline constexpr trace_level log_trace;

// A value of a message. Which member holds is said by its conversion in the format.
union log_value {
    std::uint32_t number;
    const char *text;
};

template <typename Value>
inline constexpr bool is_log_text =
    std::is_same_v<Value, const char *> || std::is_same_v<Value, char *>;

template <typename Value>
inline constexpr bool is_log_number = std::is_integral_v<Value> &&
                                      sizeof(Value) <= sizeof(std::uint32_t);

template <typename Value>
constexpr log_value to_log_value(Value value) {
    static_assert(is_log_text<Value> || is_log_number<Value>,
                  "a message carries strings and 32-bit numbers only");
    if constexpr (is_log_text<Value>)
        return {.text = value};
    else
        return {.number = static_cast<std::uint32_t>(value)};
}

// Undefined, so that reaching a call of one of them while a format is checked stops the compiler
// with its name.
void log_format_lacks_function_and_line();
void log_format_lacks_the_marker_of_its_level();
void log_format_conversion_does_not_fit_its_value();
void log_format_has_a_value_too_many_or_too_few();
void log_format_does_not_end_at_its_end();

inline constexpr char log_prefix[] = "%s(%d):";
inline constexpr std::size_t log_prefix_length = sizeof(log_prefix) - 1;

// What follows function and line in a message of one level with values of these types.
template <typename Level, typename... Values>
struct log_format {
    const char *text;

    template <std::size_t size>
    consteval log_format(const char (&format)[size]) : text(format) {
        std::size_t at = 0;
        for (std::size_t i = 0; i < log_prefix_length; ++i, ++at)
            if (at >= size || format[at] != log_prefix[i])
                log_format_lacks_function_and_line();
        for (std::size_t i = 0; i < log_marker_length; ++i, ++at)
            if (at >= size || format[at] != Level::marker[i])
                log_format_lacks_the_marker_of_its_level();
        check_conversions(format, size, at);
    }

private:
    static consteval void check_conversions(const char *format, std::size_t size, std::size_t at) {
        // The last element keeps the arrays from being empty.
        constexpr bool texts[] = {is_log_text<Values>..., false};
        constexpr bool numbers[] = {is_log_number<Values>..., false};
        std::size_t value = 0;
        if (format[size - 1] != '\0')
            log_format_does_not_end_at_its_end();
        for (; at + 1 < size; ++at) {
            if (format[at] == '\0')
                log_format_does_not_end_at_its_end();
            if (format[at] != '%')
                continue;
            const char conversion = format[++at];
            if (value >= sizeof...(Values))
                log_format_has_a_value_too_many_or_too_few();
            const bool fits = conversion == 's'                        ? texts[value]
                              : conversion == 'd' || conversion == 'x' ? numbers[value]
                                                                       : false;
            if (!fits)
                log_format_conversion_does_not_fit_its_value();
            ++value;
        }
        if (value != sizeof...(Values))
            log_format_has_a_value_too_many_or_too_few();
    }
};

// A message on its way into a record. `body` is the format behind "%s(%d):".
struct log_message {
    std::uint32_t level;
    const char *function;
    int line;
    const char *body;
    const log_value *values;
};

// Formats the message into the record, cut to 511 characters, and returns the record's length:
// level, text and NUL.
std::uint32_t fill_log_record(log_record &record, const log_message &message);

template <typename Level, typename... Values>
[[gnu::noinline]] void vell_log(Level, const char *function, int line,
                                std::type_identity_t<log_format<Level, Values...>> format,
                                Values... values) {
    const log_value words[] = {to_log_value(values)..., {.number = 0}};
    const char *const marked = format.text + log_prefix_length;
    const char *const client_body =
        Level::marked_in_client_log ? marked : marked + log_marker_length;
    log_record record;

    if (tessel_hist_event_subtype_check(log_module, Level::number) == 0) {
        const auto length = fill_log_record(record, {Level::number, function, line, marked, words});
        tessel_hist_event(log_module, length, &record);
    }
    if (tessel_chk_int(Level::number, 0, 0, 1) != 0)
        debug_print(1, tessel_dbg_modname, 0, format.text, function, line, values...);

    const auto length =
        fill_log_record(record, {Level::number, function, line, client_body, words});
    tessel_his_log_event_for_uuid_inst(vell_client_uuid, log_module, 1, 0, length, &record);
}

} // namespace vell
