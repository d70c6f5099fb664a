// What changed in one VLAN's flood set.
#include "l2_message.h"
#include "ltl_test.h"

namespace {

using fake::platform;

// A delta between other bytes, and the two arrays.
class DeltaTest : public LtlTest {
protected:
    // What a delta holds before: a VLAN id, reserved bytes, bit 9 of the bitmask, reserved bytes
    // and a count.
    static bytes fresh(std::size_t room) {
        return hex("61626364 7172737475767778 00020000 81828384 05000000") + pattern(room * 8);
    }

    // Its bytes when it is filled; `bitmask` in digits as it lies in memory.
    static bytes filled(std::size_t room, const char *bitmask, const Updates &updates) {
        auto raw = patched(fresh(room), 12, hex(bitmask));
        raw = patched(raw, 20, word(static_cast<std::uint32_t>(updates.size())));
        return patched(raw, 24, bytes_of(updates));
    }

    struct Case {
        Oifs was;
        Oifs is;
        const char *bitmask; // with bit 9 set
        Updates updates;
        fake::Calls calls;
        Oifs was_sorted = was;
        Oifs is_sorted = is;
        std::int32_t result = 0;
        const char *count = nullptr; // what the count holds, when it is not the updates'
    };

    // From addresses of every alignment, hard against either guard.
    void expect_delta(const Case &expected) {
        const auto room = expected.was.size() + expected.is.size();
        auto after = filled(room, expected.bitmask, expected.updates);
        if (expected.count != nullptr)
            after = patched(after, 20, hex(expected.count));
        for (const auto side : {GuardedBuffer::Side::front, GuardedBuffer::Side::back}) {
            for (const std::size_t distance : {0U, 1U, 2U, 3U}) {
                SCOPED_TRACE(distance);
                GuardedBuffer was(bytes_of(expected.was), side, distance);
                GuardedBuffer is(bytes_of(expected.is), side, (distance + 1) % 4);
                GuardedBuffer delta(fresh(room), side, (distance + 2) % 4);
                EXPECT_EQ(
                    vell_find_oiflist_delta(reinterpret_cast<vell_l2_oif *>(was.data()),
                                            static_cast<std::uint32_t>(expected.was.size()),
                                            reinterpret_cast<vell_l2_oif *>(is.data()),
                                            static_cast<std::uint32_t>(expected.is.size()),
                                            reinterpret_cast<vell_flood_delta *>(delta.data())),
                    expected.result);
                EXPECT_CALLS(expected.calls);
                EXPECT_EQ(delta.content(), after);
                EXPECT_EQ(was.content(), bytes_of(expected.was_sorted));
                EXPECT_EQ(is.content(), bytes_of(expected.is_sorted));
                EXPECT_TRUE(was.surroundings_untouched() && is.surroundings_untouched() &&
                            delta.surroundings_untouched());
            }
        }
        EXPECT_EQ(allocations_.take_sizes(), std::vector<std::size_t>{});
    }

    static fake::Calls skipped(const std::string &if_index) {
        return trace_logged("vell_find_oiflist_delta", 1121, "Skipping SVI interface: %x\n",
                            "Skipping SVI interface: " + if_index + "\n");
    }

    static fake::Calls bitmask_failed(int line) {
        return error_logged("vell_find_oiflist_delta", line, "Set LC bitmask failed\n",
                            "Set LC bitmask failed\n");
    }
};

TEST_F(DeltaTest, BothListsEmptyLeaveTheDeltaAsItWas) {
    expect_delta({.was = {},
                  .is = {},
                  .bitmask = "00020000",
                  .updates = {},
                  .calls = trace_logged("vell_find_oiflist_delta", 1109,
                                        "Old and new OIF lists both NULL, return SUCCESS\n",
                                        "Old and new OIF lists both NULL, return SUCCESS\n"),
                  .count = "05000000"});
}

TEST_F(DeltaTest, BothListsEmptyMayBeNull) {
    EXPECT_EQ(vell_find_oiflist_delta(nullptr, 0, nullptr, 0, nullptr), 0);
    EXPECT_CALLS(trace_logged("vell_find_oiflist_delta", 1109,
                              "Old and new OIF lists both NULL, return SUCCESS\n",
                              "Old and new OIF lists both NULL, return SUCCESS\n"));
}

TEST_F(DeltaTest, OneListEmptyMayBeNull) {
    vell_l2_oif entry = {};
    entry.value.if_index = 4;
    struct {
        vell_flood_delta head;
        vell_flood_update update;
    } delta = {};
    EXPECT_EQ(vell_find_oiflist_delta(nullptr, 0, &entry, 1, &delta.head), 0);
    EXPECT_CALLS(looked_up(4), delta_traced("0x10", {{4, 1}}));
    EXPECT_EQ(vell_find_oiflist_delta(&entry, 1, nullptr, 0, &delta.head), 0);
    EXPECT_CALLS(delta_traced("0x10", {{4, 2}}));
}

TEST_F(DeltaTest, OldEmptyAddsTheNewOnesSorted) {
    expect_delta({.was = {},
                  .is = {{7}, {3}},
                  .bitmask = "88020000",
                  .updates = {{3, 1}, {7, 1}},
                  .calls = fake::in_order(looked_up(3), looked_up(7),
                                          delta_traced("0x288", {{3, 1}, {7, 1}})),
                  .is_sorted = {{3}, {7}}});
}

TEST_F(DeltaTest, AdditionsAndRemovalsAreInterleaved) {
    const Updates updates = {{1, 2}, {3, 1}, {5, 2}};
    expect_delta(
        {.was = {{1}, {2}, {5}},
         .is = {{2}, {3}},
         .bitmask = "0c020000",
         .updates = updates,
         .calls = fake::in_order(looked_up(2), looked_up(3), delta_traced("0x20c", updates))});
}

TEST_F(DeltaTest, NewEmptyRemovesTheOldOnesAndNoBit) {
    const Updates updates = {{4, 2}, {9, 2}};
    expect_delta({.was = {{9}, {4}},
                  .is = {},
                  .bitmask = "00020000",
                  .updates = updates,
                  .calls = delta_traced("0x200", updates),
                  .was_sorted = {{4}, {9}}});
}

TEST_F(DeltaTest, UnchangedListsSetTheBitsAlone) {
    expect_delta({.was = {{1}, {2}},
                  .is = {{2}, {1}},
                  .bitmask = "06020000",
                  .updates = {},
                  .calls = fake::in_order(looked_up(1), looked_up(2), delta_traced("0x206", {})),
                  .is_sorted = {{1}, {2}}});
}

TEST_F(DeltaTest, WithOldEmptyALeadingSviIsSkipped) {
    expect_delta(
        {.was = {},
         .is = {{5, true}, {7}},
         .bitmask = "80020000",
         .updates = {{7, 1}},
         .calls = fake::in_order(skipped("5"), looked_up(7), delta_traced("0x280", {{7, 1}}))});
}

TEST_F(DeltaTest, WithOldUsedUpAnSviIsAdded) {
    expect_delta({.was = {},
                  .is = {{5}, {7, true}},
                  .bitmask = "a0020000",
                  .updates = {{5, 1}, {7, 1}},
                  .calls = fake::in_order(looked_up(5), looked_up(7),
                                          delta_traced("0x2a0", {{5, 1}, {7, 1}}))});
}

TEST_F(DeltaTest, AnAddedSviSetsNoBitByItsType) {
    platform().interfaces.type = [](std::uint32_t if_index) {
        return std::uint8_t(if_index == 7 ? 9 : 26);
    };
    expect_delta({.was = {},
                  .is = {{5}, {7, true}},
                  .bitmask = "20020000",
                  .updates = {{5, 1}, {7, 1}},
                  .calls = fake::in_order(looked_up(5), fake::IfIndexType{7},
                                          delta_traced("0x220", {{5, 1}, {7, 1}}))});
}

TEST_F(DeltaTest, AnSviBehindTheLastMatchIsAdded) {
    expect_delta(
        {.was = {{5}},
         .is = {{5}, {6, true}},
         .bitmask = "60020000",
         .updates = {{6, 1}},
         .calls = fake::in_order(looked_up(5), looked_up(6), delta_traced("0x260", {{6, 1}}))});
}

TEST_F(DeltaTest, AnSviBehindTheLastRemovalIsAdded) {
    const Updates updates = {{4, 2}, {5, 1}, {6, 1}};
    expect_delta(
        {.was = {{4}},
         .is = {{5}, {6, true}},
         .bitmask = "60020000",
         .updates = updates,
         .calls = fake::in_order(looked_up(5), looked_up(6), delta_traced("0x260", updates))});
}

TEST_F(DeltaTest, AnSviInBothIsRemoved) {
    expect_delta({.was = {{6}},
                  .is = {{6, true}},
                  .bitmask = "00020000",
                  .updates = {{6, 2}},
                  .calls = fake::in_order(skipped("6"), delta_traced("0x200", {{6, 2}}))});
}

TEST_F(DeltaTest, TheFlagOfAnOldEntryDoesNotCount) {
    expect_delta({.was = {{6, true}, {8, true}},
                  .is = {{6}},
                  .bitmask = "40020000",
                  .updates = {{8, 2}},
                  .calls = fake::in_order(looked_up(6), delta_traced("0x240", {{8, 2}}))});
}

TEST_F(DeltaTest, AnIndexTwiceInTheNewListMatchesOnce) {
    expect_delta(
        {.was = {{4}},
         .is = {{4}, {4}},
         .bitmask = "10020000",
         .updates = {{4, 1}},
         .calls = fake::in_order(looked_up(4), looked_up(4), delta_traced("0x210", {{4, 1}}))});
}

TEST_F(DeltaTest, AnIndexTwiceInTheOldListMatchesOnce) {
    expect_delta({.was = {{4}, {4}},
                  .is = {{4}},
                  .bitmask = "10020000",
                  .updates = {{4, 2}},
                  .calls = fake::in_order(looked_up(4), delta_traced("0x210", {{4, 2}}))});
}

TEST_F(DeltaTest, IndexesCompareUnsigned) {
    const Updates updates = {{2, 1}, {0x80000001, 2}, {0xfffffffe, 1}};
    expect_delta(
        {.was = {{0x80000001}, {0xffffffff}},
         .is = {{0xffffffff}, {2}, {0xfffffffe}},
         .bitmask = "040200c0",
         .updates = updates,
         .calls = fake::in_order(looked_up(2), looked_up(0xfffffffe), looked_up(0xffffffff),
                                 delta_traced("0xc0000204", updates)),
         .is_sorted = {{2}, {0xfffffffe}, {0xffffffff}}});
}

// The one or the other of the calls that find an interface's line card.
struct FailingCall {
    const char *name;
    fake::Behaviour<std::uint32_t> fake::Platform::*behaviour;
    std::size_t number;
    int line;
    std::string what;
};
std::ostream &operator<<(std::ostream &out, const FailingCall &call) {
    return out << call.name;
}

// It fails for one interface. What was written before stays.
class FailingDeltaTest : public DeltaTest, public testing::WithParamInterface<FailingCall> {
protected:
    static void fail_for(std::uint32_t if_index, std::uint32_t status) {
        platform().interfaces.type = [=](std::uint32_t asked) {
            (platform().*GetParam().behaviour).returns(asked == if_index ? status : 0);
            return std::uint8_t{26};
        };
    }

    static fake::Calls failed(std::uint32_t if_index, std::uint32_t status) {
        auto calls = looked_up(if_index);
        calls.resize(GetParam().number);
        const auto values = " for " + hex_text(if_index) + ", status " + hex_text(status) + "\n";
        return fake::in_order(calls, error_logged("vell_set_flc_bitmask", GetParam().line,
                                                  GetParam().what + " for 0x%x, status 0x%x\n",
                                                  GetParam().what + values));
    }

    // With every status. The case's calls are those before the interface's.
    void expect_error(int line, std::uint32_t if_index, const Case &before) {
        SCOPED_TRACE(testing::Message() << "interface " << if_index << ", error " << line);
        for (const auto status : failures) {
            SCOPED_TRACE(status);
            fail_for(if_index, status);
            auto expected = before;
            expected.calls =
                fake::in_order(before.calls, failed(if_index, status), bitmask_failed(line));
            expected.result = static_cast<std::int32_t>(status);
            expected.count = "05000000";
            expect_delta(expected);
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Calls, FailingDeltaTest,
                         testing::Values(FailingCall{"Type", &fake::Platform::if_index_type, 1,
                                                     1055, "Failed to get if_index type"},
                                         FailingCall{"Fields", &fake::Platform::if_index_fields, 2,
                                                     1063, "Failed to get if_index fields"}),
                         [](const auto &call) { return call.param.name; });

TEST_P(FailingDeltaTest, AKeptInterfaceIsError1134) {
    expect_error(1134, 3,
                 {.was = {{3}, {2}},
                  .is = {{3}},
                  .bitmask = "00020000",
                  .updates = {{2, 2}},
                  .calls = {},
                  .was_sorted = {{2}, {3}}});
    expect_error(1134, 10,
                 {.was = {{10}, {3}, {1}},
                  .is = {{3}, {10}, {2}},
                  .bitmask = "0c020000",
                  .updates = {{1, 2}, {2, 1}},
                  .calls = fake::in_order(looked_up(2), looked_up(3)),
                  .was_sorted = {{1}, {3}, {10}},
                  .is_sorted = {{2}, {3}, {10}}});
}

TEST_P(FailingDeltaTest, AnAddedInterfaceIsError1158) {
    expect_error(1158, 4,
                 {.was = {{9}, {1}},
                  .is = {{4}, {9}, {3}},
                  .bitmask = "08020000",
                  .updates = {{1, 2}, {3, 1}},
                  .calls = looked_up(3),
                  .was_sorted = {{1}, {9}},
                  .is_sorted = {{3}, {4}, {9}}});
}

TEST_P(FailingDeltaTest, AnAddedInterfaceBehindTheOldOnesIsError1175) {
    expect_error(1175, 8,
                 {.was = {{1}},
                  .is = {{1}, {5}, {8, true}, {9}},
                  .bitmask = "22020000",
                  .updates = {{5, 1}},
                  .calls = fake::in_order(looked_up(1), looked_up(5))});
}

TEST_P(FailingDeltaTest, AnSviThatIsSkippedIsNotLookedUp) {
    fail_for(5, 0x62);
    expect_delta({.was = {{5}},
                  .is = {{5, true}},
                  .bitmask = "00020000",
                  .updates = {{5, 2}},
                  .calls = fake::in_order(skipped("5"), delta_traced("0x200", {{5, 2}}))});
}

TEST_F(DeltaTest, NeedsNoClient) {
    set_client_state({});
    platform().history_check.returns(1);
    platform().console_check.returns(0);
    expect_delta(
        {.was = {{1}},
         .is = {},
         .bitmask = "00020000",
         .updates = {{1, 2}},
         .calls = {
             history_asked(trace), console_asked(trace),
             to_client_log({.level = trace,
                            .client_text = "vell_find_oiflist_delta(1201):FLC_BITMASK: 0x200\n"}),
             history_asked(trace), console_asked(trace),
             to_client_log(
                 {.level = trace, .client_text = "vell_find_oiflist_delta(1202):Update list:\n"}),
             history_asked(trace), console_asked(trace),
             to_client_log({.level = trace,
                            .client_text = "vell_find_oiflist_delta(1206):IfIdx: 1 Op: 2\n"})}});
    EXPECT_EQ(client_state(), ClientState{});
}

} // namespace
