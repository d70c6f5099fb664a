// A service without sockets, and requests as its peers send them.
#pragma once

#include "sim/switch/answer.h"
#include "sim/switch/service.h"
#include "tests/switch/message_bytes.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

struct test_service {
    std::vector<std::string> errors;
    std::vector<std::string> traces;
    sim::service vell;

    explicit test_service(sim::fault_modes faults = {})
        : vell{faults,
               [this](std::uint32_t level, const std::string &text) {
                   (level == 102 ? errors : traces).push_back(text);
               },
               {},
               {}} {}
    test_service(const test_service &) = delete;
    test_service &operator=(const test_service &) = delete;

    std::vector<sim::reply> send(sim::session &from, const sim::frame_head &head,
                                 const bytes &payload) {
        return sim::handle_request(vell, from, head, payload);
    }

    // A session that is registered and has an id.
    sim::session registered_session(std::uint32_t uuid = 500);

    const sim::client &client_of(const sim::session &who) {
        return *vell.clients.find(who.client_of);
    }
};

// The payload of a question such as "routes table=9".
inline std::string question_payload(std::string_view asked, std::string_view format = "json") {
    std::string lines(asked);
    std::ranges::replace(lines, ' ', '\n');
    return lines + "\nformat=" + std::string(format);
}

// All pieces that are left of an answer.
inline std::string rest_of(sim::answer &answer) {
    std::string text;
    for (bool is_last = false; !is_last;) {
        sim::answer::piece next = answer.next();
        text += next.text;
        is_last = next.is_last;
    }
    return text;
}

// The answer. Only a count question changes the service.
inline std::string answer_to_payload(const sim::service &vell, std::string_view payload) {
    sim::answer made = sim::answer_question(const_cast<sim::service &>(vell), payload);
    return (made.is_refusal() ? "refused: " : "") + rest_of(made);
}
// In JSON, without the line feed at its end.
inline std::string answer_of(const sim::service &vell, std::string_view asked) {
    const std::string text = answer_to_payload(vell, question_payload(asked));
    return text.substr(0, text.size() - (text.ends_with('\n') ? 1 : 0));
}
inline std::string text_of(const sim::service &vell, std::string_view asked) {
    return answer_to_payload(vell, question_payload(asked, "text"));
}

// No piece is much longer than others are, in either form.
inline void expect_small_pieces(const sim::service &vell, std::string_view asked) {
    for (const char *format : {"text", "json"}) {
        sim::answer made =
            sim::answer_question(const_cast<sim::service &>(vell), question_payload(asked, format));
        int pieces = 0;
        for (bool is_last = false; !is_last; ++pieces) {
            const sim::answer::piece next = made.next();
            EXPECT_LT(next.text.size(), sim::answer_piece_size + 1000);
            is_last = next.is_last;
        }
        EXPECT_GT(pieces, 1);
    }
}

inline sim::frame_head request_head(std::uint32_t sap, std::uint32_t opcode, std::uint32_t word_1) {
    sim::frame_head head{};
    head.magic = 0x3154594b;
    head.kind = sim::frame_kind::request;
    head.node = 0xfe000000;
    head.sap = sap;
    head.opcode = opcode;
    head.options[0] = 1;
    head.options[1] = word_1;
    return head;
}

inline sim::frame_head register_head() {
    return request_head(212, 75796, 0);
}
inline sim::frame_head deregister_head() {
    return request_head(212, 75797, 0);
}
inline sim::frame_head route_head() {
    return request_head(214, 75831, 1);
}
inline sim::frame_head role_head() {
    return request_head(214, 75831, 0);
}
inline sim::frame_head notice_head() {
    return request_head(214, 75779, 1);
}

inline sim::frame_head l2_head() {
    return request_head(213, 75821, 1);
}
inline sim::frame_head marker_head() {
    return request_head(213, 75804, 0);
}
inline sim::frame_head download_head() {
    return request_head(213, 75789, 0);
}

inline bytes register_payload(std::uint32_t uuid, std::string_view segment = "segment") {
    return message().u8(0).fill(3, 0).u32(uuid).text(segment, 240);
}
inline bytes deregister_payload(unsigned id) {
    return message().u8(id).fill(247, 0);
}
inline bytes notice_payload(unsigned id, std::uint32_t first, std::uint32_t second,
                            unsigned third) {
    return message().u8(id).u8(0).u16(third).u32(0).u32(first).u32(second);
}

// One route record; what it leaves out is 0.
struct test_route {
    unsigned opcode = 1;
    std::uint64_t flags = 0;
    std::uint32_t source = 0x0a000009;
    unsigned source_length = 32;
    std::uint32_t group = 0xef010102;
    unsigned group_length = 32;
    std::uint32_t table = 253;
    std::uint32_t rpf_if = 4;
    std::vector<std::pair<std::uint32_t, std::uint32_t>> oifs{};
};

inline bytes route_record(const test_route &route) {
    message record;
    record.u8(route.opcode)
        .fill(3, 0)
        .u64(route.flags)
        .u8(route.source_length)
        .u8(route.group_length)
        .u16(0);
    record.u32(0).u32(route.source).u32(route.group).u32(route.rpf_if).u32(0).u32(route.table);
    if (route.oifs.empty()) {
        return record.u16(0).u16(0);
    }
    const auto count = static_cast<std::uint32_t>(route.oifs.size());
    record.u16(1).u16(2 + 2 * count).u16(0).u16(4 + 8 * count).u32(count);
    for (const auto &[if_index, kind] : route.oifs) {
        record.u32(if_index).u32(kind);
    }
    return record;
}

inline bytes route_payload(unsigned id, const std::vector<test_route> &routes) {
    message sent;
    sent.u8(id).u8(0).u16(static_cast<std::uint32_t>(routes.size())).u16(7).u16(0);
    for (const test_route &route : routes) {
        sent.add(route_record(route));
    }
    return sent;
}

inline sim::session test_service::registered_session(std::uint32_t uuid) {
    sim::session made{.pid = 4711};
    send(made, register_head(), register_payload(uuid));
    return made;
}
