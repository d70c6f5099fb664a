// What `vellsim show` asks the running switch, and how the answer comes.
//
// The request is one frame of kind show_request; its payload is the table's name, followed, when
// the answer is to be narrowed, by a blank and a JSON object of the members below. The reply is one
// or more frames of kind show_reply whose payloads together are the text; every frame but the last
// has flags show_more_follows, so that a table may be longer than a frame. A reply of non-zero
// opcode is an error text.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sim {

inline constexpr std::uint32_t show_more_follows = 1;
inline constexpr std::uint32_t show_opcode_error = 1;

struct show_query {
    std::string name; // of the table
    std::optional<std::uint32_t> client{};
    std::optional<std::uint32_t> table{}; // the route table's id
    std::optional<std::uint32_t> group{};
    std::optional<std::uint32_t> source{};
    std::optional<std::uint32_t> vlan{};
    std::optional<std::uint32_t> limit{};
    std::string l2_group{}; // as address_text() writes it; empty for all
    bool summary = false;
};

std::string encode_show_query(const show_query &query);

// Nothing when the text is no query; `error` then says why.
std::optional<show_query> decode_show_query(std::string_view text, std::string &error);

} // namespace sim
