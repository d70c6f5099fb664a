// A service whose LTL manager is asked, and what it answers and shows.
#pragma once

#include "tests/switch/ltl_bytes.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>

struct ltl_service : test_service {
    sim::session from = registered_session();

    explicit ltl_service(const sim::fault_modes &faults = {}) : test_service(faults) {}

    std::vector<sim::reply> ask(std::uint32_t opcode, const bytes &payload) {
        return send(from, ltl_head(opcode), payload);
    }
    // The words of the only answer.
    test_words answer(std::uint32_t opcode, const bytes &payload) {
        const auto replies = ask(opcode, payload);
        EXPECT_EQ(replies.size(), 1u);
        return replies.empty()
                   ? test_words()
                   : words_of(bytes(replies[0].frame.begin() + 104, replies[0].frame.end()));
    }
    // The four words of the only entry of the only answer.
    test_words result(std::uint32_t opcode, const bytes &payload) {
        const test_words whole = answer(opcode, payload);
        EXPECT_EQ(whole.size(), 8u);
        return whole.size() == 8 ? test_words(whole.begin() + 4, whole.end()) : test_words();
    }
    // Allocates for VLAN 10: the LTL index, or 0.
    std::uint32_t allocate(std::uint32_t tag = 7, const test_words &interfaces = {}) {
        return result(allocation, ltl_payload(10, tag, interfaces)).at(1);
    }

    nlohmann::json shown(const char *table, std::string_view request) const {
        return nlohmann::json::parse(answer_of(vell, request)).at(table);
    }
    nlohmann::json ltls() const { return shown("ltl", "ltl"); }
    nlohmann::json floods() const { return shown("flood", "flood"); }

    // The interfaces of a VLAN's flood set; nothing when it is not listed.
    std::optional<test_words> flooded(std::uint32_t vlan) const {
        return interfaces_of(floods(), "vlan", vlan);
    }
    std::optional<test_words> held(std::uint32_t index) const {
        return interfaces_of(ltls(), "index", index);
    }

    static std::optional<test_words> interfaces_of(const nlohmann::json &rows, const char *key,
                                                   std::uint32_t value) {
        for (const auto &row : rows) {
            if (row.at(key) == value) {
                test_words found;
                for (const auto &one : row.at("interfaces")) {
                    found.push_back(one.at("if_index"));
                }
                return found;
            }
        }
        return std::nullopt;
    }
};
