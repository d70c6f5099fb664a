// One printer for both forms of an answer: text for a terminal of 80 columns, JSON for programs.
//
// A field is printed by one call, which has its JSON name and its text form, so that neither form
// can miss what the other shows:
//
//     out.open_object();
//     out.field("client", "client {}", client.id);
//     out.field("pid", " (pid {})", client.pid);
//     out.text("\n");
//     out.close_object();
//
// Both forms are ASCII: strings are escaped, formats are not. What is printed collects in the
// printer until take(), which may be called after any item: a long answer is never in memory whole.
#pragma once

#include "sim/base/text.h"

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <fmt/format.h>
#include <iterator>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace sim {

enum class output_form { text, json };

template <typename Value>
concept output_string = std::convertible_to<const Value &, std::string_view>;

// What a text form is given for a value.
template <typename Value>
using text_value = std::conditional_t<output_string<Value>, std::string, Value>;

class output {
public:
    explicit output(output_form form) : form_(form) {}

    bool is_json() const { return form_ == output_form::json; }

    // Objects and lists appear in JSON alone. What is in an object has a name, what is in a list
    // has none.
    void open_object(std::string_view name = {}) { open(name, "{", {.end = '}'}); }
    void close_object() { close(); }
    void open_list(std::string_view name = {}) { open(name, "[", {.end = ']'}); }
    void close_list();

    // The list of a table's rows, in JSON one per line.
    void open_rows(std::string_view name) { open(name, "[", {.end = ']', .is_rows = true}); }

    // A list that text shows too: the lead, and the items with commas between them, broken into
    // lines after commas; further lines are indented below the first item. Each field without a
    // name, and each object, is an item. Closed by close_list().
    void open_wrapped_list(std::string_view name, std::string_view lead);

    // In both forms. The format takes the value; of an optional without one, JSON says null and
    // text nothing.
    template <typename Value>
    void field(std::string_view name, fmt::format_string<text_value<Value>> format,
               const Value &value) {
        json(name, value);
        text<Value>(format, value);
    }
    template <typename Value>
    void field(std::string_view name, fmt::format_string<text_value<Value>> format,
               const std::optional<Value> &value) {
        json(name, value);
        if (value) {
            text<Value>(format, *value);
        }
    }

    // In JSON alone: an integer, a truth value, a string, or any of them that may be missing.
    template <std::integral Value>
    void json(std::string_view name, Value value) {
        start_value(name);
        if (is_json()) {
            write_number(value);
        }
    }
    void json(std::string_view name, std::string_view value);
    void json(std::string_view name, const char *value) { json(name, std::string_view(value)); }
    void json(std::string_view name, const std::string &value) {
        json(name, std::string_view(value));
    }
    void json(std::string_view name, std::nullopt_t);
    template <typename Value>
    void json(std::string_view name, const std::optional<Value> &value) {
        value ? json(name, *value) : json(name, std::nullopt);
    }

    void json_list(std::string_view name, std::span<const std::uint32_t> numbers);

    // In text alone.
    template <typename... Values>
    void text(fmt::format_string<text_value<Values>...> format, const Values &...values) {
        if (!is_json()) {
            write(format, as_text(values)...);
        }
    }

    // How much is printed and not taken.
    std::size_t size() const { return printed_.size(); }
    std::string take();

private:
    struct level {
        char end;              // what closes it in JSON
        bool is_empty = true;  // so far
        bool is_rows = false;  // one per line in JSON
        bool is_shown = false; // a wrapped list
    };
    // A wrapped list in text.
    struct wrapped_line {
        std::size_t indent = 0;
        std::size_t width = 0;                // of the line so far, the item being printed left out
        std::optional<std::size_t> item = {}; // where it starts
    };

    template <output_string Value>
    static std::string as_text(const Value &value) {
        return printable(value);
    }
    template <typename Value>
    static const Value &as_text(const Value &value) {
        return value;
    }

    template <typename... Values>
    void write(fmt::string_view format, const Values &...values) {
        fmt::vformat_to(std::back_inserter(printed_), format, fmt::make_format_args(values...));
    }
    template <typename Value>
    void write_number(Value value) {
        if constexpr (std::same_as<Value, bool>) {
            printed_ += value ? "true" : "false";
        } else {
            const fmt::format_int digits(value);
            printed_.append(digits.data(), digits.size());
        }
    }

    void open(std::string_view name, const char *start, level opened);
    void close();
    void start_value(std::string_view name);
    void write_string(std::string_view value);
    void start_item();
    void end_item(bool is_last);

    output_form form_;
    std::string printed_;
    std::vector<level> levels_;
    wrapped_line line_;
};

} // namespace sim
