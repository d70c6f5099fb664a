// The records of a layer-2 message: what of each is converted to network order, and how long it is
// then.
#include "l2_record_fields.h"

namespace {

TEST_F(L2RecordsTest, OfTypes8And9HaveTwoWordsAndPairs) {
    for (const char *type : {"08", "09"}) {
        SCOPED_TRACE(type);
        expect_converted(header("0001") + record_8(type, count_2, "60000000", two_pairs), 1);
        expect_converted(header("0001") + record_8(type, count_0, "50000000", {}), 1);
        expect_converted(
            header("0001") + record_8(type, count_1, "58000000", {two_pairs[0], two_pairs[1]}), 1);
    }
}

TEST_F(L2RecordsTest, OfTypes10And11HavePairsAlone) {
    for (const char *type : {"0a", "0b"}) {
        SCOPED_TRACE(type);
        expect_converted(header("0001") + record_10(type, count_2, "60000000", two_pairs), 1);
        expect_converted(header("0001") + record_10(type, count_0, "50000000", {}), 1);
        expect_converted(
            header("0001") + record_10(type, count_1, "58000000", {two_pairs[0], two_pairs[1]}), 1);
    }
}

TEST_F(L2RecordsTest, OfType18HaveAWordAndPairsAndAreTraced) {
    expect_converted(header("0001") + record_18(count_2, "60000000", two_pairs), 1, traced(486));
    expect_converted(header("0001") + record_18(count_0, "50000000", {}), 1, traced(486));
    expect_converted(header("0001") + record_18(count_1, "58000000", {two_pairs[0], two_pairs[1]}),
                     1, traced(486));
}

TEST_F(L2RecordsTest, OfTypes12To15HaveFourWordsAHalfTwoAddressesAndOifs) {
    for (const char *type : {"0c", "0d", "0e", "0f"}) {
        SCOPED_TRACE(type);
        const auto blocks = ipv4_block + ipv6_block;
        expect_converted(header("0001") + record_12(type, {blocks, count_2, "90000000",
                                                           if_index_oif + plain_oif}),
                         1);
        expect_converted(
            header("0001") + record_12(type, {blocks, count_1, "70000000", if_index_oif}), 1);
        expect_converted(header("0001") + record_12(type, {blocks, count_0, "50000000", {}}), 1);
    }
}

TEST_F(L2RecordsTest, OfTypes21And22HaveFiveWordsAHalfTwoAddressesAndOifsAndAreTraced) {
    for (const char *type : {"15", "16"}) {
        SCOPED_TRACE(type);
        const auto blocks = ipv4_block + ipv6_block;
        expect_converted(header("0001") + record_21(type, {blocks, count_2, "90000000",
                                                           if_index_oif + plain_oif}),
                         1, traced(478));
        expect_converted(header("0001") +
                             record_21(type, {blocks, count_1, "70000000", if_index_oif}),
                         1, traced(478));
        expect_converted(header("0001") + record_21(type, {blocks, count_0, "50000000", {}}), 1,
                         traced(478));
    }
}

TEST_F(L2RecordsTest, ConvertAddressesByTheirKindInEitherBlock) {
    for (const auto &first : {ipv4_block, ipv6_block, mac_block})
        for (const auto &second : {ipv4_block, ipv6_block, mac_block})
            expect_address_pair({first + second, count_1, "70000000", if_index_oif});
}

TEST_F(L2RecordsTest, ConvertOifsByTheirKind) {
    const auto blocks = mac_block + ipv4_block;
    expect_address_pair({blocks, count_3, "b0000000", plain_oif + ipv6_oif + if_index_oif});
    expect_address_pair({blocks, count_3, "b0000000", if_index_oif + plain_oif + ipv6_oif});
    expect_address_pair({blocks, count_3, "b0000000", ipv6_oif + if_index_oif + plain_oif});
}

TEST_F(L2RecordsTest, LieBackToBackWhateverTheirTypes) {
    const AddressPair pair = {ipv4_block + mac_block, count_2, "90000000", ipv6_oif + if_index_oif};
    expect_converted(header("000b") + record_8("08", count_2, "60000000", two_pairs) +
                         record_8("09", count_0, "50000000", {}) +
                         record_10("0a", count_2, "60000000", two_pairs) +
                         record_10("0b", count_0, "50000000", {}) + record_12("0c", pair) +
                         record_12("0d", pair) + record_12("0e", pair) + record_12("0f", pair) +
                         record_18(count_2, "60000000", two_pairs) + record_21("15", pair) +
                         record_21("16", pair),
                     11, fake::in_order(traced(486), traced(478), traced(478)));
}

// Its bytes and what is written over its length field: nothing else of it is known.
Fields unconvertible(std::string_view type, std::string_view length, std::string_view rest_of_it) {
    return head(type, length) + rest(rest_of_it);
}

constexpr std::string_view unconvertible_types[] = {"00", "01", "02", "03", "04", "05", "06",
                                                    "07", "10", "11", "13", "14", "17", "18",
                                                    "7f", "80", "88", "8a", "95", "fe", "ff"};

TEST_F(L2RecordsTest, OfOtherTypesFirstGetLength0AndHoldTheWalk) {
    for (const auto type : unconvertible_types) {
        SCOPED_TRACE(type);
        const Fields untouched_record = {
            {"0a"}, {"01020304050607"}, {"c1c2c3c4"}, {"02000000"}, {"d1d2d3d4d5d6d7d8"}};
        const auto message = unconvertible(type, "00000000", "1112131415") + untouched_record;
        expect_converted(header("0001") + message, 1);
        expect_converted(header("0003") + message, 3);
    }
}

TEST_F(L2RecordsTest, OfOtherTypesFirstHoldTheWalkHoweverManyFollow) {
    expect_converted(header("ffff") + head("10", "00000000"), 0xffff);
}

TEST_F(L2RecordsTest, OfOtherTypesGetTheLengthOfTheRecordBeforeThem) {
    const auto three_pairs = two_pairs + Fields{{"e1e2e3e4", "e4e3e2e1"}, {"e5e6e7e8", "e8e7e6e5"}};
    for (const auto type : unconvertible_types) {
        SCOPED_TRACE(type);
        // 12 bytes of head and 92 others: 104, and the next record is there.
        const auto unknown =
            unconvertible(type, "68000000", behind_pairs) +
            rest("4243444546474849 4a4b4c4d4e4f5051 5253545556575859 5a5b5c5d5e5f6061 62636465");
        expect_converted(header("0004") + record_10("0a", count_3, "68000000", three_pairs) +
                             unknown + unknown + record_8("08", count_2, "60000000", two_pairs),
                         4);
    }
}

TEST_F(L2RecordsTest, OfOtherTypesAtTheEndNeedNoMoreThanTheirHead) {
    expect_converted(
        header("0002") + record_10("0a", count_0, "50000000", {}) + head("13", "50000000"), 2);
}

} // namespace
