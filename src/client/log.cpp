// Formatting without snprintf: a message costs little more than the copying of its characters.
#include "client/log.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstring>

namespace vell {

namespace {

constexpr std::uint32_t longest_text = log_text_size - 1;

// `step` bytes at a time, the last ones twice where the length is not a multiple of it.
template <std::uint32_t step>
inline void copy_in_steps(char *to, const char *from, std::uint32_t length) {
    for (std::uint32_t i = 0; i < length - step; i += step)
        std::memcpy(to + i, from + i, step);
    std::memcpy(to + length - step, from + length - step, step);
}

// The pieces of a message are too short to be worth a call of memcpy.
inline void copy(char *to, const char *from, std::uint32_t length) {
    if (length >= 8)
        return copy_in_steps<8>(to, from, length);
    if (length >= 4)
        return copy_in_steps<4>(to, from, length);
    for (std::uint32_t i = 0; i < length; ++i)
        to[i] = from[i];
}

// Every put function writes at `at`, never at `end` or after it, and returns where the next
// character goes. Positions are passed and returned rather than kept in a record: text that is
// stored through a char pointer could be that record, and the compiler would read it again after
// every character.

char *put(char *at, const char *end, const char *text, std::uint32_t length) {
    length = std::min(length, static_cast<std::uint32_t>(end - at));
    copy(at, text, length);
    return at + length;
}

char *put_string(char *at, const char *end, const char *string) {
    if (string == nullptr)
        string = "(null)";
    while (*string != '\0' && at != end)
        *at++ = *string++;
    return at;
}

constexpr std::uint32_t most_digits = 10;

// "00" to "99": two digits for one division.
constexpr auto digit_pairs = [] {
    std::array<char, 200> pairs = {};
    for (std::size_t i = 0; i < 100; ++i) {
        pairs[2 * i] = static_cast<char>('0' + i / 10);
        pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return pairs;
}();

std::uint32_t decimal_digits(std::uint32_t number) {
    static constexpr std::uint32_t powers[] = {0,      10,      100,      1000,      10000,
                                               100000, 1000000, 10000000, 100000000, 1000000000};
    // 1233 / 4096 is a little more than log10(2).
    const auto guess = static_cast<std::uint32_t>(std::bit_width(number | 1)) * 1233 >> 12;
    return guess + (number >= powers[guess]);
}

// Writes all of a number's digits, from the last to the first.
char *put_all_digits(char *at, std::uint32_t number) {
    if (number < 10) {
        *at = static_cast<char>('0' + number);
        return at + 1;
    }
    char *const end = at + decimal_digits(number);
    char *digit = end;
    for (; number >= 100; number /= 100)
        std::memcpy(digit -= 2, &digit_pairs[number % 100 * 2], 2);
    if (number >= 10)
        std::memcpy(digit - 2, &digit_pairs[number * 2], 2);
    else
        *--digit = static_cast<char>('0' + number);
    return end;
}

char *put_decimal(char *at, const char *end, std::uint32_t number) {
    const bool negative = number > 0x7fffffff;
    if (negative)
        number = 0 - number;
    if (end - at > static_cast<std::ptrdiff_t>(most_digits)) {
        *at = '-'; // a number that is not negative writes its first digit over it
        return put_all_digits(at + negative, number);
    }
    char text[1 + most_digits] = {'-'};
    const char *const text_end = put_all_digits(text + negative, number);
    return put(at, end, text, static_cast<std::uint32_t>(text_end - text));
}

char *put_hexadecimal(char *at, const char *end, std::uint32_t number) {
    const auto digits = static_cast<int>((std::bit_width(number | 1) + 3) / 4);
    for (int shift = 4 * (digits - 1); shift >= 0 && at != end; shift -= 4)
        *at++ = "0123456789abcdef"[number >> shift & 0xf];
    return at;
}

char *put_value(char *at, const char *end, char conversion, log_value value) {
    switch (conversion) {
    case 's':
        return put_string(at, end, value.text);
    case 'd':
        return put_decimal(at, end, value.number);
    default:
        return put_hexadecimal(at, end, value.number);
    }
}

// The characters of a formatted message: of "function(line):", and of all of it as far as it fits.
struct log_lengths {
    std::uint32_t prefix;
    std::uint32_t text;
};

log_lengths format_message(log_record &record, const log_message &message) {
    record.level = message.level;
    char *at = record.text;
    const char *const end = at + longest_text;

    copy(at, message.function.name, message.function.length);
    at += message.function.length;
    std::memcpy(at, message.line.text, sizeof(message.line.text));
    at += message.line.length;
    const auto prefix = static_cast<std::uint32_t>(at - record.text);

    const char *format = message.body;
    for (std::uint32_t i = 0;; ++i) {
        at = put(at, end, format, message.stretches[i]);
        if (i == message.value_count)
            break;
        format += message.stretches[i] + 2;
        at = put_value(at, end, format[-1], message.values[i]);
    }
    *at = '\0';
    return {prefix, static_cast<std::uint32_t>(at - record.text)};
}

// Copies a formatted record, with a marker after the prefix. Returns the length of its text.
std::uint32_t copy_with_marker(log_record &marked, const log_record &record,
                               const log_lengths &lengths, std::string_view marker) {
    marked.level = record.level;
    copy(marked.text, record.text, lengths.prefix);
    char *at = marked.text + lengths.prefix;
    copy(at, marker.data(), marker.size());
    at = put(at + marker.size(), marked.text + longest_text, record.text + lengths.prefix,
             lengths.text - lengths.prefix);
    *at = '\0';
    return static_cast<std::uint32_t>(at - marked.text);
}

// What a sink is given as the record's length: the level, the text and its NUL.
std::uint32_t record_length(std::uint32_t text_length) {
    return text_length + sizeof(log_record::level) + 1;
}

} // namespace

std::uint32_t fill_log_record(log_record &record, const log_message &message) {
    const log_lengths lengths = format_message(record, message);
    if (tessel_hist_event_subtype_check(log_module, message.level) == 0) {
        log_record history;
        const auto length = copy_with_marker(history, record, lengths, message.left_out_marker);
        tessel_hist_event(log_module, record_length(length), &history);
    }
    return record_length(lengths.text);
}

} // namespace vell
