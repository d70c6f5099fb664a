#include "input_error.h"
#include "json_input.h"
#include "printable.h"

#include <algorithm>
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
        if (names.size() > 80)
            return names + ", ...";
        names += (names.empty() ? "only " : ", ") + in_quotes(item.key());
    }
    return names.empty() ? "an empty object" : names;
}

// As JSON pointers write a member's name.
std::string escaped(std::string_view key) {
    std::string result;
    for (const char c : key) {
        if (c == '~')
            result += "~0";
        else if (c == '/')
            result += "~1";
        else
            result += c;
    }
    return result;
}

} // namespace

std::string json_place(const json_document &document, const std::string &pointer) {
    if (pointer.empty())
        return document.name;
    if (!document.root.is_array())
        return fmt::format("{}: {}", document.name, pointer);
    const std::string first = pointer.substr(1, pointer.find('/', 1) - 1);
    return fmt::format("{}: entry {} of {} ({})", document.name, std::stoul(first) + 1,
                       document.root.size(), pointer);
}

std::string json_view::place() const {
    return entry_.empty() ? json_place(*document_, pointer_)
                          : fmt::format("{}: {} ({})", document_->name, entry_, pointer_);
}

json_view json_view::inner(const json &value, std::string_view token) const {
    json_view view = *this;
    view.value_ = &value;
    view.pointer_ += "/" + escaped(token);
    return view;
}

std::optional<json_view> json_view::find(const char *key) const {
    const auto found = value_->find(key);
    if (found == value_->end())
        return std::nullopt;
    return inner(*found, key);
}

json_view json_view::member(const char *key, std::string_view expected) const {
    expect_object("an object");
    if (const auto found = find(key))
        return *found;
    fail(fmt::format("expected a member \"{}\" ({}), found {}", key, expected,
                     member_names(*value_)));
}

void json_view::expect_object(std::string_view expected) const {
    if (!value_->is_object())
        reject(expected);
}

std::vector<json_view> json_view::elements(std::string_view expected) const {
    if (!value_->is_array())
        reject(expected);
    std::vector<json_view> views;
    views.reserve(value_->size());
    for (const json &element : *value_)
        views.push_back(inner(element, std::to_string(views.size())));
    return views;
}

std::vector<json_view> json_view::entries(std::string_view expected) const {
    std::vector<json_view> views = elements(expected);
    for (std::size_t i = 0; i < views.size(); ++i)
        views[i].entry_ = fmt::format("entry {} of {}", i + 1, views.size());
    return views;
}

std::vector<std::pair<std::string, json_view>> json_view::members(std::string_view expected) const {
    expect_object(expected);
    std::vector<std::pair<std::string, json_view>> views;
    for (const auto &item : value_->items())
        views.emplace_back(item.key(), inner(item.value(), item.key()));
    return views;
}

bool json_view::boolean(std::string_view expected) const {
    if (!value_->is_boolean())
        reject(expected);
    return value_->get<bool>();
}

const std::string &json_view::string(std::string_view expected) const {
    if (!value_->is_string())
        reject(expected);
    return value_->get_ref<const std::string &>();
}

std::uint32_t json_view::number(std::uint32_t least, std::uint32_t most,
                                std::string_view expected) const {
    if (!value_->is_number_unsigned())
        reject(expected);
    const std::uint64_t number = value_->get<std::uint64_t>();
    if (number < least || number > most)
        reject(fmt::format("{} from {} to {}", expected, least, most));
    return static_cast<std::uint32_t>(number);
}

void json_view::reject(std::string_view expected) const {
    fail(fmt::format("expected {}, found {}", expected, describe(*value_)));
}

void json_view::fail(std::string_view what) const {
    throw input_error(fmt::format("{}: {}", place(), what));
}

} // namespace feed
