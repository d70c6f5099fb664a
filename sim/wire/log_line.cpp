#include "sim/wire/log_line.h"

#include <algorithm>
#include <charconv>
#include <ctime>
#include <fmt/chrono.h>
#include <iterator>

namespace sim {

namespace {

bool is_printable(char byte) {
    return byte >= 0x20 && byte < 0x7f;
}

struct escape {
    char byte;
    std::string_view text;
};
constexpr escape escapes[] = {{'\\', "\\\\"}, {'\n', "\\n"}, {'\t', "\\t"}};

void append_escaped(std::string &to, char byte) {
    const auto found = std::ranges::find(escapes, byte, &escape::byte);
    if (found != std::end(escapes)) {
        to += found->text;
    } else if (is_printable(byte)) {
        to += byte;
    } else {
        to += fmt::format("\\x{:02x}", static_cast<unsigned char>(byte));
    }
}

// Takes the byte at the start of the text, or the escape sequence of one.
std::optional<char> take_byte(std::string_view &text) {
    if (text.front() != '\\') {
        const char byte = text.front();
        text.remove_prefix(1);
        return is_printable(byte) ? std::optional(byte) : std::nullopt;
    }
    const auto found = std::ranges::find(escapes, text.substr(0, 2), &escape::text);
    if (found != std::end(escapes)) {
        text.remove_prefix(2);
        return found->byte;
    }
    unsigned value = 0;
    const std::string_view digits = text.substr(std::min<std::size_t>(text.size(), 2), 2);
    const char *const end = digits.data() + digits.size();
    if (!text.starts_with("\\x") || digits.size() != 2 ||
        std::from_chars(digits.data(), end, value, 16).ptr != end) {
        return std::nullopt;
    }
    text.remove_prefix(4);
    return static_cast<char>(value);
}

std::optional<std::string> unescape(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const std::optional<char> byte = take_byte(text);
        if (!byte) {
            return std::nullopt;
        }
        result += *byte;
    }
    return result;
}

// Takes the text before the first space, and the space; nothing when there is no space.
std::optional<std::string_view> take_field(std::string_view &text) {
    const std::size_t space = text.find(' ');
    if (space == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view field = text.substr(0, space);
    text.remove_prefix(space + 1);
    return field;
}

bool take_number(std::string_view &text, std::string_view prefix, int base, std::uint32_t &number) {
    std::optional<std::string_view> field = take_field(text);
    if (!field || !field->starts_with(prefix)) {
        return false;
    }
    field->remove_prefix(prefix.size());
    const char *end = field->data() + field->size();
    const auto result = std::from_chars(field->data(), end, number, base);
    return result.ec == std::errc() && result.ptr == end;
}

constexpr std::string_view time_form = "0000-00-00T00:00:00.000000Z";

} // namespace

bool is_start_of_log_time(std::string_view text) {
    return text.size() <= time_form.size() &&
           std::equal(text.begin(), text.end(), time_form.begin(), [](char byte, char want) {
               return want == '0' ? byte >= '0' && byte <= '9' : want == byte;
           });
}

bool is_log_sink(std::string_view name) {
    return std::ranges::find(log_sinks, name) != std::end(log_sinks);
}

std::string format_log_line(const log_line &line) {
    std::string result = fmt::format("{} {} {} {} {:#x} {} ", line.time, line.sink, line.pid,
                                     line.uuid, line.module, line.level);
    for (const char byte : line.text) {
        append_escaped(result, byte);
    }
    return result;
}

std::optional<log_line> parse_log_line(std::string_view text) {
    const std::optional<std::string_view> time = take_field(text);
    const std::optional<std::string_view> sink = take_field(text);
    log_line line;
    if (!time || time->size() != time_form.size() || !is_start_of_log_time(*time) || !sink ||
        !is_log_sink(*sink) || !take_number(text, "", 10, line.pid) ||
        !take_number(text, "", 10, line.uuid) || !take_number(text, "0x", 16, line.module) ||
        !take_number(text, "", 10, line.level)) {
        return std::nullopt;
    }
    std::optional<std::string> unescaped = unescape(text);
    if (!unescaped) {
        return std::nullopt;
    }
    line.time = *time;
    line.sink = *sink;
    line.text = std::move(*unescaped);
    return line;
}

std::string log_time_ago(std::uint32_t seconds) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:06}Z", fmt::gmtime(now.tv_sec - seconds),
                       now.tv_nsec / 1000);
}

} // namespace sim
