// The rows of a JSON table one by one, however long the table is; each error names its place.
//
// Memory is needed for one row and for what is around the rows, never for the whole table. `rows`
// says where they are, as a JSON pointer in which * is any element of an array:
//
//     ""             [ROW, ROW]
//     "/*/mdb"       [{"mdb":[ROW, ROW],"router":{}}]
//     "/l2/entries"  {"l2":{"entries":[ROW, ROW],"matched":2}}
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace feed {

// What views point into: a row, or all of a text but its rows.
struct json_part {
    std::string name;      // of the input
    std::string pointer;   // to the row, or empty
    std::size_t entry = 0; // of a row, counted from 1 through all lists of them
    std::unique_ptr<nlohmann::json> value;

    explicit json_part(std::string name_of_input);
    json_part(json_part &&other) noexcept;
    json_part &operator=(json_part &&other) noexcept;
    ~json_part();
};

// One value of a part. It must not outlive the part: that of a row ends with the call that got it.
class json_view {
public:
    explicit json_view(const json_part &part) : part_(&part), value_(part.value.get()) {}

    // The row's number, counted from 1 through all lists of rows; 0 for what is not in a row.
    std::size_t entry() const { return part_->entry; }

    bool is_null() const;
    bool is_number() const;

    // None when it is not there, or when this is not an object.
    std::optional<json_view> find(const char *key) const;

    // Each takes the words for what was expected, and throws input_error for anything else.
    json_view member(const char *key, std::string_view expected) const;
    void expect_object(std::string_view expected) const;
    void expect_array(std::string_view expected) const;
    std::vector<json_view> elements(std::string_view expected) const;
    std::vector<std::pair<std::string, json_view>> members(std::string_view expected) const;
    bool boolean(std::string_view expected) const;
    const std::string &string(std::string_view expected) const;
    template <typename Number = std::uint32_t>
    Number number(std::type_identity_t<Number> least, std::type_identity_t<Number> most,
                  std::string_view expected) const {
        return static_cast<Number>(number_from(least, most, expected));
    }

    // "links.json: entry 3 (/2/ifindex)"
    std::string place() const;
    // "PLACE: expected EXPECTED, found ..."
    [[noreturn]] void reject(std::string_view expected) const;
    // "PLACE: WHAT"
    [[noreturn]] void fail(std::string_view what) const;

private:
    json_view(const json_part &part, const nlohmann::json &value) : part_(&part), value_(&value) {}
    std::uint64_t number_from(std::uint64_t least, std::uint64_t most,
                              std::string_view expected) const;

    const json_part *part_;
    const nlohmann::json *value_;
};

struct json_input {
    std::string name;     // what errors call it
    std::string producer; // the command that prints such a text: "`ip -j link show`"
    int file;             // a descriptor to read from
};

// Calls `take` for every row in turn. Returns what is around the rows, whose list is empty there: the
// caller checks that there was one. Throws input_error when the text cannot be read or is not JSON,
// for an object that has a member twice, and for values nested deeper than any table's.
json_part read_json_rows(const json_input &input, std::string_view rows,
                         const std::function<void(const json_view &row)> &take);

} // namespace feed
