#include "feed/failure.h"
#include "feed/json_rows.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace feed {

namespace {

using nlohmann::json;

std::string describe(const json &value) {
    switch (value.type()) {
    case json::value_t::string:
        return fmt::format("the string {}", in_quotes(value.get_ref<const std::string &>()));
    case json::value_t::array:
        return fmt::format("an array of {}", value.size());
    case json::value_t::object:
        return "an object";
    case json::value_t::number_integer:
    case json::value_t::number_unsigned:
    case json::value_t::number_float:
        return fmt::format("the number {}", value.dump());
    default:
        return value.dump();
    }
}

std::string member_names(const json &object) {
    std::string names;
    for (const auto &item : object.items()) {
        if (names.size() > 80) {
            return names + ", ...";
        }
        names += (names.empty() ? "only " : ", ") + in_quotes(item.key());
    }
    return names.empty() ? "an empty object" : names;
}

// A member's name or an element's number, as JSON pointers have it.
std::string pointer_token(const std::string &key) {
    std::string token = "/";
    for (const char c : key) {
        token += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
    }
    return token;
}

// Looks for a value by its address, and makes the pointer to it on the way back: a view need not
// carry the way that led to it. False when it is not inside `tree`.
bool find_pointer(const json &tree, const json &wanted, std::string &pointer) {
    if (&tree == &wanted) {
        return true;
    }
    if (!tree.is_structured()) {
        return false;
    }
    for (const auto &item : tree.items()) {
        if (find_pointer(item.value(), wanted, pointer)) {
            pointer = pointer_token(item.key()) + pointer;
            return true;
        }
    }
    return false;
}

} // namespace

bool json_view::is_null() const {
    return value_->is_null();
}

bool json_view::is_number() const {
    return value_->is_number();
}

std::string json_view::place() const {
    std::string inner;
    find_pointer(*part_->value, *value_, inner);
    const std::string pointer = sim::printable(part_->pointer + inner);
    if (part_->entry > 0) {
        return fmt::format("{}: entry {} ({})", part_->name, part_->entry, pointer);
    }
    return pointer.empty() ? part_->name : fmt::format("{}: {}", part_->name, pointer);
}

std::optional<json_view> json_view::find(const char *key) const {
    const auto found = value_->find(key);
    return found == value_->end() ? std::nullopt : std::optional(json_view(*part_, *found));
}

json_view json_view::member(const char *key, std::string_view expected) const {
    expect_object("an object");
    if (const auto found = find(key)) {
        return *found;
    }
    fail(fmt::format("expected a member \"{}\" ({}), found {}", key, expected,
                     member_names(*value_)));
}

void json_view::expect_object(std::string_view expected) const {
    if (!value_->is_object()) {
        reject(expected);
    }
}

void json_view::expect_array(std::string_view expected) const {
    if (!value_->is_array()) {
        reject(expected);
    }
}

std::vector<json_view> json_view::elements(std::string_view expected) const {
    expect_array(expected);
    std::vector<json_view> views;
    views.reserve(value_->size());
    for (const json &element : *value_) {
        views.push_back(json_view(*part_, element));
    }
    return views;
}

std::vector<std::pair<std::string, json_view>> json_view::members(std::string_view expected) const {
    expect_object(expected);
    std::vector<std::pair<std::string, json_view>> views;
    for (const auto &item : value_->items()) {
        views.emplace_back(item.key(), json_view(*part_, item.value()));
    }
    return views;
}

bool json_view::boolean(std::string_view expected) const {
    if (!value_->is_boolean()) {
        reject(expected);
    }
    return value_->get<bool>();
}

const std::string &json_view::string(std::string_view expected) const {
    if (!value_->is_string()) {
        reject(expected);
    }
    return value_->get_ref<const std::string &>();
}

std::uint64_t json_view::number_from(std::uint64_t least, std::uint64_t most,
                                     std::string_view expected) const {
    if (!value_->is_number_unsigned()) {
        reject(expected);
    }
    const std::uint64_t number = value_->get<std::uint64_t>();
    if (number < least || number > most) {
        reject(fmt::format("{} from {} to {}", expected, least, most));
    }
    return number;
}

void json_view::reject(std::string_view expected) const {
    fail(fmt::format("expected {}, found {}", expected, describe(*value_)));
}

void json_view::fail(std::string_view what) const {
    throw input_error(fmt::format("{}: {}", place(), what));
}

} // namespace feed
