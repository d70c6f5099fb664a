// JSON that knows where it came from, so that whatever is wrong with it can be said with its place.
#pragma once

#include "text_input.h"

#include <cstdint>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace feed {

struct json_document {
    std::string name;
    std::shared_ptr<const nlohmann::json> owned; // never null
    const nlohmann::json &root = *owned;
};

// Reads a text as JSON. Throws input_error with file, line and column for a syntax error, for an
// object that has a member twice, and for values nested deeper than any table's. `producer` is the
// command that prints such a text: what to run instead is part of the error.
json_document parse_json(const text_input &input, std::string_view producer);

// "campus.json: entry 18 of 33 (/17/iif): ": where a value of a document stands. The root's place
// is the document.
std::string json_place(const json_document &document, const std::string &pointer);

// One value of a document and the way to it. It must not outlive the document.
class json_view {
public:
    explicit json_view(const json_document &document)
        : document_(&document), value_(&document.root) {}

    const nlohmann::json &value() const { return *value_; }
    const std::string &pointer() const { return pointer_; }
    std::string place() const;

    // Each takes the words for what was expected and throws input_error when the value is something
    // else.
    json_view member(const char *key, std::string_view expected) const;
    std::optional<json_view> find(const char *key) const;
    void expect_object(std::string_view expected) const;
    std::vector<json_view> elements(std::string_view expected) const;
    std::vector<std::pair<std::string, json_view>> members(std::string_view expected) const;
    bool boolean(std::string_view expected) const;
    const std::string &string(std::string_view expected) const;
    std::uint32_t number(std::uint32_t least, std::uint32_t most, std::string_view expected) const;

    // The elements of an array that is the table itself, though it is not the whole document: the
    // places of these values and of what is in them say which entry it is.
    std::vector<json_view> entries(std::string_view expected) const;
    const std::string &entry() const { return entry_; } // "entry 6 of 55", or empty

    // "PLACE: expected EXPECTED, found ..."
    [[noreturn]] void reject(std::string_view expected) const;

    // "PLACE: WHAT"
    [[noreturn]] void fail(std::string_view what) const;

private:
    json_view inner(const nlohmann::json &value, std::string_view token) const;

    const json_document *document_;
    const nlohmann::json *value_;
    std::string pointer_;
    std::string entry_;
};

} // namespace feed
