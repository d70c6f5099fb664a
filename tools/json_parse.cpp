#include "input_error.h"
#include "json_input.h"
#include "printable.h"

#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>

namespace feed {

namespace {

using nlohmann::json;

// A table is four levels deep; the bound keeps hostile input from growing the heap level by level.
constexpr std::size_t deepest_level = 64;

// Where a byte of the text stands, as editors count: both from 1.
std::string text_place(const text_input &input, std::size_t offset) {
    const std::string_view before = std::string_view(input.text).substr(0, offset);
    const auto line = 1 + std::count(before.begin(), before.end(), '\n');
    const std::size_t line_start = before.rfind('\n') + 1; // npos + 1 is 0: the first line
    return fmt::format("{}:{}:{}", input.name, line, before.size() - line_start + 1);
}

// An iterator over the text that lets others see how far it has come: the parser's events carry no
// position.
struct watched_iterator {
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char *;
    using reference = const char &;

    const char *at;
    const char **seen;

    reference operator*() const { return *at; }
    watched_iterator &operator++() {
        *seen = ++at;
        return *this;
    }
    watched_iterator operator++(int) {
        const watched_iterator before = *this;
        ++*this;
        return before;
    }
    bool operator==(const watched_iterator &other) const { return at == other.at; }
    bool operator!=(const watched_iterator &other) const { return at != other.at; }
};

// Builds the value, and refuses what the parser would let pass: members that stand twice, of which
// one would be lost, and excessive nesting.
class document_builder : public nlohmann::json_sax<json> {
public:
    explicit document_builder(const text_input &input) : input_(input), seen_(input.text.data()) {}

    json build() {
        const char *begin = input_.text.data();
        json::sax_parse(watched_iterator{begin, &seen_},
                        watched_iterator{begin + input_.text.size(), &seen_}, this);
        return std::move(root_);
    }

    bool null() override { return store(nullptr); }
    bool boolean(bool value) override { return store(value); }
    bool number_integer(number_integer_t value) override { return store(value); }
    bool number_unsigned(number_unsigned_t value) override { return store(value); }
    bool number_float(number_float_t value, const string_t &) override { return store(value); }
    bool string(string_t &value) override { return store(std::move(value)); }
    bool binary(binary_t &value) override { return store(std::move(value)); }
    bool start_object(std::size_t) override { return open(json::object()); }
    bool start_array(std::size_t) override { return open(json::array()); }
    bool end_object() override { return close(); }
    bool end_array() override { return close(); }

    bool key(string_t &name) override {
        json &object = *open_.back();
        if (object.contains(name))
            fail(fmt::format("the member {} stands twice in one object", in_quotes(name)));
        member_ = &object[name];
        return true;
    }

    bool parse_error(std::size_t, const std::string &,
                     const nlohmann::detail::exception &error) override {
        // Behind the parser's own account of the place, which counts differently.
        const std::string_view what = error.what();
        const std::size_t start = std::min(what.find("syntax error"), what.find("number overflow"));
        fail(printable(start == what.npos ? what : what.substr(start)));
    }

private:
    [[noreturn]] void fail(const std::string &what) const {
        const auto consumed = static_cast<std::size_t>(seen_ - input_.text.data());
        throw input_error(
            fmt::format("{}: {}", text_place(input_, consumed == 0 ? 0 : consumed - 1), what));
    }

    json *place(json &&value) {
        if (open_.empty()) {
            root_ = std::move(value);
            return &root_;
        }
        json &container = *open_.back();
        if (container.is_array()) {
            container.push_back(std::move(value));
            return &container.back();
        }
        *member_ = std::move(value);
        return member_;
    }

    template <typename T>
    bool store(T &&value) {
        place(json(std::forward<T>(value)));
        return true;
    }

    bool open(json &&container) {
        if (open_.size() == deepest_level)
            fail(fmt::format("values are nested more than {} levels deep", deepest_level));
        open_.push_back(place(std::move(container)));
        return true;
    }

    bool close() {
        open_.pop_back();
        return true;
    }

    const text_input &input_;
    const char *seen_;
    json root_;
    std::vector<json *> open_; // the arrays and objects around the next value, the innermost last
    json *member_ = nullptr;   // where the next value of the innermost object goes
};

} // namespace

json_document parse_json(const text_input &input, std::string_view producer) {
    if (input.text.find_first_not_of(" \t\r\n") == std::string::npos) {
        throw input_error(fmt::format("{}: is empty, not even an empty JSON value; did {} fail?",
                                      input.name, producer));
    }
    try {
        return {input.name, std::make_shared<const json>(document_builder(input).build())};
    } catch (const input_error &error) {
        const char first = input.text[input.text.find_first_not_of(" \t\r\n")];
        if (first == '[' || first == '{')
            throw;
        throw input_error(fmt::format("{}; is this the output of {}?", error.what(), producer));
    }
}

} // namespace feed
