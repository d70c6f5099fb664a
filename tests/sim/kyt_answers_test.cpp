// The service's answers, as a client reads them.
#include "sim/wire/protocol.h"
#include "sim/wire/vell_sim.h"
#include "tests/sim/kyt_fixture.h"

#include <cstring>
#include <gtest/gtest.h>

extern "C" int vell_sim_client_id_in_c(const kyt_sim_message *message);

namespace {

using namespace sim_test;

class VellSimAnswer : public kyt_test {
protected:
    void SetUp() override {
        kyt_test::SetUp();
        end = connect();
    }

    message_ptr received(std::uint32_t sap, std::uint32_t opcode, const bytes &payload) {
        sim::frame_head head = head_of(sim::frame_kind::message, opcode, payload.size());
        head.sap = sap;
        write_all(end.get(), bytes_of(head) + payload);
        message_ptr made;
        EXPECT_EQ(receive(made, patience_ms), 1);
        return made;
    }

    sim::file_descriptor end;
};

TEST_F(VellSimAnswer, ToARegistrationHasTheClientIdAndWhetherItWasAccepted) {
    vell_sim_registration answer{};
    EXPECT_EQ(vell_sim_registration_answer(received(212, 75796, {200, 1}).get(), &answer),
              VELL_SIM_READ);
    EXPECT_EQ(answer.client_id, 200);
    EXPECT_EQ(answer.accepted, 1);
    EXPECT_EQ(vell_sim_client_id_in_c(received(212, 75796, {7, 0}).get()), 7);
}

// Every byte is another.
TEST_F(VellSimAnswer, ToAStatisticsRequestIsReadMemberByMember) {
    bytes payload(72);
    for (std::size_t at = 0; at < payload.size(); ++at) {
        payload[at] = static_cast<std::uint8_t>(at + 1);
    }
    for (const std::uint32_t opcode : {75785u, 75786u, 75798u, 75799u}) {
        vell_sim_stats answer{};
        EXPECT_EQ(vell_sim_stats_answer(received(214, opcode, payload).get(), &answer),
                  VELL_SIM_READ);
        EXPECT_EQ(answer.status, 0x04030201u);
        EXPECT_EQ(answer.table, 0x08070605u);
        EXPECT_EQ(answer.source_length, 9);
        EXPECT_EQ(answer.group_length, 10);
        EXPECT_EQ(answer.family, 0x0c0b);
        EXPECT_EQ(answer.source[0], 13);
        EXPECT_EQ(answer.source[15], 28);
        EXPECT_EQ(answer.group[0], 29);
        EXPECT_EQ(answer.group[15], 44);
        EXPECT_EQ(answer.cleared, 0x302f2e2du);
        EXPECT_EQ(answer.packets, 0x3837363534333231u);
        EXPECT_EQ(answer.bytes, 0x403f3e3d3c3b3a39u);
        EXPECT_EQ(answer.wrong_if, 0x4847464544434241u);
    }
}

TEST_F(VellSimAnswer, IsNotWhatHasAnotherSapOpcodeOrLength) {
    vell_sim_registration registration{9, 9};
    for (const auto &[sap, opcode, size] :
         {std::tuple(213u, 75796u, 2u), std::tuple(212u, 75797u, 2u), std::tuple(212u, 75796u, 1u),
          std::tuple(212u, 75796u, 3u), std::tuple(212u, 75796u, 0u)}) {
        const message_ptr other = received(sap, opcode, bytes(size, 1));
        EXPECT_EQ(vell_sim_registration_answer(other.get(), &registration), VELL_SIM_NO_ANSWER);
    }
    EXPECT_EQ(vell_sim_registration_answer(nullptr, &registration), VELL_SIM_NO_ANSWER);
    EXPECT_EQ(registration.client_id, 9);
    EXPECT_EQ(registration.accepted, 9);

    vell_sim_stats stats{};
    for (const auto &[sap, opcode, size] :
         {std::tuple(213u, 75785u, 72u), std::tuple(214u, 75831u, 72u),
          std::tuple(214u, 75785u, 71u), std::tuple(214u, 75785u, 73u)}) {
        const message_ptr other = received(sap, opcode, bytes(size, 1));
        EXPECT_EQ(vell_sim_stats_answer(other.get(), &stats), VELL_SIM_NO_ANSWER);
    }
    EXPECT_EQ(stats.table, 0u);
    EXPECT_EQ(vell_sim_stats_answer(received(214, 75785, bytes(72)).get(), nullptr),
              VELL_SIM_NO_ANSWER);
}

} // namespace
