// What `vellsim show`, `vellsim count` and the other commands ask a running switch, and what each
// question may say.
//
// A question is one frame of kind question. Its payload is lines of text, at most 4096 bytes: its
// name, and a line for each member that it has, with the value as on the command line:
//
//     routes
//     format=json
//     table=253
//     group=239.1.1.2
//
// "format" is text or json, and text without it. The answer comes in one or more frames of kind
// answer, whose payloads together are its text; all frames but the last have flags answer_goes_on.
// In an answer of opcode answer_opcode_refusal the text says what is wrong with the question.
#pragma once

#include "sim/base/address.h"
#include "sim/base/output.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace sim {

inline constexpr std::uint32_t answer_goes_on = 1;
inline constexpr std::uint32_t answer_opcode_refusal = 1;
inline constexpr std::size_t longest_question = 4096;

class answer;
struct service;

enum class member_type { number, truth, ipv4, ip, any_address, text };

enum class member_use {
    filter,   // leaves rows out
    option,   // does something else
    required, // has to be there
};

// A member of a question, and the option of the command that asks it: "source_len" is --source-len.
struct member {
    std::string_view name;
    member_type type = member_type::number;
    member_use use = member_use::filter;
    std::string_view help{};
    std::uint64_t least = 0; // of a number
    std::uint64_t most = UINT32_MAX;
};

// An empty string, or what is wrong with a member's value.
std::string check_member(const member &wanted, const std::string &value);

struct question {
    std::string ask; // its name
    output_form form = output_form::text;
    std::map<std::string, std::string, std::less<>> members{}; // checked

    // Of a member that the question has; nothing otherwise.
    std::optional<std::uint64_t> number(std::string_view name) const;
    std::optional<l2_address> address(std::string_view name) const;
    std::optional<std::string> text(std::string_view name) const;
    bool truth(std::string_view name) const { return members.contains(name); }
};

struct question_kind {
    std::string_view name;
    std::string_view help; // of `vellsim show`; empty for what other commands ask
    std::span<const member> members;
    answer (*reply)(service &vell, const question &asked); // throws wrong_question
};

// All that can be asked.
std::span<const question_kind> question_kinds();
const question_kind *find_question(std::string_view name);

// Thrown for what a question may not say.
struct wrong_question {
    std::string why;
};

// The payload of a question, and what a payload asks. decode_question throws wrong_question.
std::string encode_question(const question &asked);
question decode_question(std::string_view payload);

// "narrowed": the members that leave rows out, or null for none.
void print_narrowing(output &out, const question &asked);

// Answers the payload of a question; one that makes no sense with a refusal.
answer answer_question(service &vell, std::string_view payload);

// What answers each question, in the file of its table. Each throws wrong_question.
answer show_clients(service &vell, const question &asked);
answer show_routes(service &vell, const question &asked);
answer show_stats(service &vell, const question &asked);
answer show_l2(service &vell, const question &asked);
answer show_flood(service &vell, const question &asked);
answer show_ltl(service &vell, const question &asked);
answer show_overlay(service &vell, const question &asked);
answer count_traffic(service &vell, const question &asked);

} // namespace sim
