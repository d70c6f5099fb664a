// Messages as the LTL manager answers them, received by a queue of this process.
#pragma once

#include "tests/sim/kyt_fixture.h"

#include <cstring>
#include <future>
#include <gtest/gtest.h>
#include <vector>

namespace sim_test {

using words = std::vector<std::uint32_t>;

// What a reader that fails must leave where it was.
constexpr std::uint32_t sentinel = 0xe1e2e3e4;

struct kind_of_answer {
    std::uint32_t opcode;
    std::uint32_t kind;
};

// Two entries; every word is another.
inline words two_entries(std::uint32_t kind) {
    return {kind,       0x31323334, 0x35363738, 2,          0x41424344, 0x45464748,
            0x494a4b4c, 0x4d4e4f50, 0x51525354, 0x55565758, 0x595a5b5c, 0x5d5e5f60};
}

class nerb_answer_test : public kyt_test {
protected:
    void SetUp() override {
        kyt_test::SetUp();
        end = connect();
    }

    message_ptr received(std::uint32_t opcode, const bytes &payload, std::uint32_t sap = 230) {
        sim::frame_head head = head_of(sim::frame_kind::message, opcode, payload.size());
        head.sap = sap;
        // Apart, since a long answer takes more than a socket holds.
        const auto written =
            std::async(std::launch::async, [&] { write_all(end.get(), bytes_of(head) + payload); });
        message_ptr made;
        EXPECT_EQ(receive(made, patience_ms), 1);
        return made;
    }
    message_ptr received(std::uint32_t opcode, const words &payload, std::uint32_t sap = 230) {
        bytes raw(payload.size() * 4);
        if (!payload.empty())
            std::memcpy(raw.data(), payload.data(), raw.size());
        return received(opcode, raw, sap);
    }

    sim::file_descriptor end;
};

} // namespace sim_test
