#include "client/log.h"

#include <bit>

namespace vell {

namespace {

// Every put function writes at `at`, never at or behind `end`, and returns where the next character
// goes. Positions are passed and returned rather than kept in a record: text that is stored through
// a char pointer could be that record, and the compiler would read it again after every character.

char *put_char(char *at, const char *end, char c) {
    if (at != end)
        *at++ = c;
    return at;
}

char *put_string(char *at, const char *end, const char *string) {
    if (string == nullptr)
        string = "(null)";
    while (*string != '\0' && at != end)
        *at++ = *string++;
    return at;
}

// Writes the `count` digits of a number, or as many of the first ones as there is room for. They
// are made from the last to the first and go straight to their places.
template <std::uint32_t base>
char *put_digits(char *at, const char *end, std::uint32_t number, int count) {
    for (const auto room = end - at; count > room; --count)
        number /= base;
    for (char *digit = at + count; digit != at; number /= base)
        *--digit = "0123456789abcdef"[number % base];
    return at + count;
}

char *put_decimal(char *at, const char *end, std::uint32_t number) {
    if (number > 0x7fffffff) {
        at = put_char(at, end, '-');
        number = 0 - number;
    }
    constexpr int most_digits = 10;
    int count = 1;
    for (std::uint32_t bound = 10; count < most_digits && number >= bound; bound *= 10)
        ++count;
    return put_digits<10>(at, end, number, count);
}

char *put_hexadecimal(char *at, const char *end, std::uint32_t number) {
    return put_digits<16>(at, end, number, (std::bit_width(number | 1) + 3) / 4);
}

} // namespace

std::uint32_t fill_log_record(log_record &record, const log_message &message) {
    record.level = message.level;
    char *at = record.text;
    const char *const end = record.text + log_text_size - 1;

    at = put_string(at, end, message.function);
    at = put_char(at, end, '(');
    at = put_decimal(at, end, static_cast<std::uint32_t>(message.line));
    at = put_char(at, end, ')');
    at = put_char(at, end, ':');

    const log_value *value = message.values;
    for (const char *format = message.body; *format != '\0'; ++format) {
        if (*format != '%') {
            at = put_char(at, end, *format);
            continue;
        }
        switch (*++format) {
        case 's':
            at = put_string(at, end, value++->text);
            break;
        case 'd':
            at = put_decimal(at, end, value++->number);
            break;
        default:
            at = put_hexadecimal(at, end, value++->number);
            break;
        }
    }
    *at = '\0';
    return static_cast<std::uint32_t>(sizeof(record.level) +
                                      static_cast<std::size_t>(at - record.text) + 1);
}

} // namespace vell
