// Diagnostic messages: every one goes to the event history, the debug console and the log of the
// client process.
//
//     vell_log(log_error, "vell_register", 135, "%s(%d):ERROR: kyt_send failed : %d\n", -1);
//
// The format is the history's, level marker included. It is checked at compile time: its prefix,
// its marker against the level, and each conversion against the value it is given. The client log
// leaves a trace's marker out.
//
// A message is formatted once, for the client log, which takes every message. The history gets a
// copy, with the marker in its place: a copy, since no sink may spoil what another one gets. What
// is known when this is compiled, the function's name and the text between the conversions, is
// copied by its length.
//
// Nothing is allocated, and the records are on the stack, so that a message may be logged from
// within a platform call that a message made.
#pragma once

#include "client/client_state.h"

#include <tessel.h>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string_view>
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

// Undefined, so that reaching a call of one of them while a message is checked stops the compiler
// with its name.
void log_line_is_not_between_0_and_99999();
void log_format_lacks_function_and_line();
void log_format_lacks_the_marker_of_its_level();
void log_format_conversion_does_not_fit_its_value();
void log_format_has_a_value_too_many_or_too_few();
void log_format_does_not_end_at_its_end();
void log_format_is_too_long();

// A name and, below, a stretch of a format count their characters in a byte. So the prefix and the
// marker always fit into a record.
inline constexpr std::size_t log_longest_stretch = 255;

struct log_function {
    const char *name;
    std::uint8_t length;

    template <std::size_t size>
    consteval log_function(const char (&text)[size]) : name(text), length(size - 1) {
        static_assert(size - 1 <= log_longest_stretch, "the function's name is too long");
    }
};

// A line, with what follows the function's name in a message: "(135):".
struct log_line {
    int number;
    char text[8];
    std::uint8_t length;

    // Of an int alone, so that nothing is converted to a line by mistake.
    consteval log_line(std::same_as<int> auto line) : number(line), text(), length() {
        if (line < 0 || line > 99999)
            log_line_is_not_between_0_and_99999();
        text[length++] = '(';
        int power = 1;
        while (line / power >= 10)
            power *= 10;
        for (; power != 0; power /= 10)
            text[length++] = static_cast<char>('0' + line / power % 10);
        text[length++] = ')';
        text[length++] = ':';
    }
};

inline constexpr char log_prefix[] = "%s(%d):";
inline constexpr std::size_t log_prefix_length = sizeof(log_prefix) - 1;

// What follows function and line in a message of one level with values of these types: stretches
// of text, one before each conversion and one after the last.
template <typename Level, typename... Values>
struct log_format {
    const char *text;
    std::uint8_t stretches[sizeof...(Values) + 1];

    template <std::size_t size>
    consteval log_format(const char (&format)[size]) : text(format), stretches() {
        std::size_t at = 0;
        for (std::size_t i = 0; i < log_prefix_length; ++i, ++at)
            if (at >= size || format[at] != log_prefix[i])
                log_format_lacks_function_and_line();
        for (std::size_t i = 0; i < log_marker_length; ++i, ++at)
            if (at >= size || format[at] != Level::marker[i])
                log_format_lacks_the_marker_of_its_level();
        if (format[size - 1] != '\0')
            log_format_does_not_end_at_its_end();
        measure(format, size, at);
    }

    // What the client log leaves out, and where the body starts that it gets.
    static constexpr const char *left_out_marker = Level::marked_in_client_log ? "" : Level::marker;
    static constexpr std::size_t client_body =
        log_prefix_length + (Level::marked_in_client_log ? 0 : log_marker_length);

private:
    // Finds the conversions from `at` on. The first stretch starts where the client's body does.
    consteval void measure(const char *format, std::size_t size, std::size_t at) {
        // The last element keeps the arrays from being empty.
        constexpr bool texts[] = {is_log_text<Values>..., false};
        constexpr bool numbers[] = {is_log_number<Values>..., false};
        std::size_t value = 0;
        std::size_t stretch_start = client_body;
        for (; at + 1 < size; ++at) {
            if (format[at] == '\0')
                log_format_does_not_end_at_its_end();
            if (format[at] != '%')
                continue;
            if (value >= sizeof...(Values))
                log_format_has_a_value_too_many_or_too_few();
            end_stretch(value, at - stretch_start);
            const char conversion = format[++at];
            const bool fits = conversion == 's'                        ? texts[value]
                              : conversion == 'd' || conversion == 'x' ? numbers[value]
                                                                       : false;
            if (!fits)
                log_format_conversion_does_not_fit_its_value();
            ++value;
            stretch_start = at + 1;
        }
        if (value != sizeof...(Values))
            log_format_has_a_value_too_many_or_too_few();
        end_stretch(value, size - 1 - stretch_start);
    }

    consteval void end_stretch(std::size_t stretch, std::size_t length) {
        if (length > log_longest_stretch)
            log_format_is_too_long();
        stretches[stretch] = static_cast<std::uint8_t>(length);
    }
};

// A message as the client log gets it: `body` is the format after the prefix, or after the marker
// where the client log leaves it out. It has one stretch more than it has values.
struct log_message {
    std::uint32_t level;
    std::string_view left_out_marker;
    log_function function;
    log_line line;
    const char *body;
    const std::uint8_t *stretches;
    const log_value *values;
    std::uint32_t value_count;
};

// Formats the message into the record for the client log, and gives the history its copy when it
// takes messages of this level. Returns the length of the record.
std::uint32_t fill_log_record(log_record &record, const log_message &message);

template <typename Level, typename... Values>
[[gnu::noinline]] void vell_log(Level, log_function function, log_line line,
                                std::type_identity_t<log_format<Level, Values...>> format,
                                Values... values) {
    const log_value words[] = {to_log_value(values)..., {.number = 0}};
    log_record record;
    const std::uint32_t length = fill_log_record(
        record, {Level::number, format.left_out_marker, function, line,
                 format.text + format.client_body, format.stretches, words, sizeof...(values)});

    if (tessel_chk_int(Level::number, 0, 0, 1) != 0)
        debug_print(1, tessel_dbg_modname, 0, format.text, function.name, line.number, values...);

    tessel_his_log_event_for_uuid_inst(vell_client_uuid, log_module, 1, 0, length, &record);
}

} // namespace vell
