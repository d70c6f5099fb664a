// Records of a layer-2 message whose conversion stops before their end: how much of them is
// converted, and how long they are all the same.
#include "l2_record_fields.h"

namespace {

class L2StoppedRecordsTest : public L2RecordsTest {};

// A kind is known in host order alone: the last four are the known ones the other way round, or
// with more bits.
constexpr std::string_view unknown_address_kinds[] = {
    "07000000", "00000000", "01000000", "03000000", "05000000", "06000000", "09000000",
    "0a000000", "ffffffff", "00000004", "00000008", "04010000", "02000080"};

TEST_F(L2StoppedRecordsTest, StopAtAnUnknownKindInTheFirstBlockAndKeepTheirLength) {
    for (const auto kind : unknown_address_kinds) {
        SCOPED_TRACE(kind);
        const Fields unknown = {{kind}, {"6162636465666768696a6b6c6d6e6f70"}};
        expect_address_pair(
            {unknown + pending_ipv4_block, count_2, "90000000", pending_oif + pending_oif});
    }
}

TEST_F(L2StoppedRecordsTest, StopAtAnUnknownKindInTheSecondBlockWithTheFirstConverted) {
    for (const auto kind : unknown_address_kinds) {
        SCOPED_TRACE(kind);
        const Fields unknown = {{kind}, {"6162636465666768696a6b6c6d6e6f70"}};
        expect_address_pair({ipv4_block + unknown, count_2, "90000000", pending_oif + pending_oif});
    }
}

TEST_F(L2StoppedRecordsTest, StopAtTheFirstOfTwoUnknownKinds) {
    for (const auto kind : unknown_address_kinds) {
        SCOPED_TRACE(kind);
        const Fields unknown = {{kind}, {"6162636465666768696a6b6c6d6e6f70"}};
        expect_address_pair({unknown + unknown, count_2, "90000000", pending_oif + pending_oif});
    }
}

TEST_F(L2StoppedRecordsTest, GoOnBehindARecordThatStoppedAtAnUnknownKind) {
    const Fields unknown = {{"07000000"}, {"6162636465666768696a6b6c6d6e6f70"}};
    expect_converted(
        header("0003") +
            record_12("0c", {unknown + pending_ipv4_block, count_1, "70000000", pending_oif}) +
            record_12("0d",
                      {ipv4_block + unknown, count_2, "90000000", pending_oif + pending_oif}) +
            record_10("0a", count_2, "60000000", two_pairs),
        3);
}

TEST_F(L2StoppedRecordsTest, StopBehindTheFourWordsOfAnOifOfUnknownKind) {
    const auto blocks = mac_block + ipv4_block;
    expect_address_pair({blocks, count_3, "b0000000", unknown_oif + pending_oif + pending_oif});
    expect_address_pair({blocks, count_3, "b0000000", if_index_oif + unknown_oif + pending_oif});
    expect_address_pair({blocks, count_3, "b0000000", plain_oif + ipv6_oif + unknown_oif});
}

TEST_F(L2StoppedRecordsTest, KnowOifKindsInHostOrderAlone) {
    const Field unknown_kinds[] = {{"04000000", "00000004"}, {"ffffffff", "ffffffff"},
                                   {"00000001", "01000000"}, {"00000002", "02000000"},
                                   {"02010000", "00000102"}, {"01000080", "80000001"}};
    for (const auto &kind : unknown_kinds) {
        SCOPED_TRACE(kind.before);
        auto entry = unknown_oif;
        entry[0] = kind;
        expect_address_pair({mac_block + ipv4_block, count_2, "90000000", entry + pending_oif});
    }
}

TEST_F(L2StoppedRecordsTest, GoOnBehindARecordThatStoppedAtAnUnknownOif) {
    expect_converted(header("0002") +
                         record_21("16", {mac_block + ipv4_block, count_2, "90000000",
                                          unknown_oif + pending_oif}) +
                         record_18(count_2, "60000000", two_pairs),
                     2, fake::in_order(traced(478), traced(486)));
}

// Counts of entries of which 80 + 32 times as many is 2 to the power of 31 or more, with what is
// left of it in 32 bits.
struct LongRecord {
    Field count;
    std::string_view length;
};

// Every way for the conversion to stop before it comes to entries that are not there.
const Fields unknown_block = {{"07000000"}, {"6162636465666768696a6b6c6d6e6f70"}};
const Fields stopping_blocks[] = {unknown_block + pending_ipv4_block, ipv4_block + unknown_block,
                                  unknown_block + unknown_block};

TEST_F(L2StoppedRecordsTest, HaveALengthOf32BitsWhateverTheirCount) {
    const LongRecord rows[] = {
        {{"00000004", "04000000"}, "50000080"}, {{"ffffff07", "07ffffff"}, "30000000"},
        {{"fdffff07", "07fffffd"}, "f0ffffff"}, {{"00000008", "08000000"}, "50000000"},
        {{"01000008", "08000001"}, "70000000"}, {{"ffffffff", "ffffffff"}, "30000000"}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.count.after);
        for (const auto &blocks : stopping_blocks)
            expect_address_pair({blocks, row.count, row.length, pending_oif});
        expect_address_pair({mac_block + ipv4_block, row.count, row.length, unknown_oif});
    }
}

// 2^27 + 1 entries are 32 bytes in 32 bits: as if there were one.
TEST_F(L2StoppedRecordsTest, GoOnByALengthOf32Bits) {
    const Field count = {"01000008", "08000001"};
    const auto next = record_10("0b", count_2, "60000000", two_pairs);
    for (const auto &blocks : stopping_blocks)
        expect_address_pair({blocks, count, "70000000", pending_oif}, next);
    expect_address_pair({mac_block + ipv4_block, count, "70000000", unknown_oif}, next);
}

// The record after it is not convertible and gets the same length, of which there is no more than
// its head.
TEST_F(L2StoppedRecordsTest, PassOnALengthOf32Bits) {
    const auto next = head("10", "50000000");
    for (const auto &blocks : stopping_blocks)
        expect_address_pair({blocks, {"00000008", "08000000"}, "50000000", {}}, next);
}

} // namespace
