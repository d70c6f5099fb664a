// The records of a layer-2 message: what of each is converted to network order, and how long it is then.
#include "l2_message.h"

namespace {

// Type, the caller's 7 bytes, and the length field with what is written there.
Fields head(std::string_view type, std::string_view length) {
    return {{type}, {"01020304050607"}, {"c1c2c3c4", length}};
}

// The rest of a record of 80 bytes and its entries' bytes, behind the entries.
Fields rest(std::string_view bytes) {
    return {{bytes}};
}

const Fields two_pairs = {
    {"d1d2d3d4", "d4d3d2d1"}, {"d5d6d7d8", "d8d7d6d5"}, {"d9dadbdc", "dcdbdad9"}, {"dddedfe0", "e0dfdedd"}};

// 56 bytes, which is what 80 leaves behind entries that begin at offset 24; for those that begin earlier, more.
constexpr std::string_view behind_pairs = "0a0b0c0d0e0f101112131415161718191a1b1c1d1e1f2021"
                                          "22232425262728292a2b2c2d2e2f30313233343536373839"
                                          "3a3b3c3d3e3f4041";

Fields record_8(std::string_view type, const Field &count, std::string_view length, const Fields &entries) {
    return head(type, length) + Fields{{"11121314", "14131211"}, count, {"15161718", "18171615"}} + entries +
           rest(behind_pairs);
}

Fields record_10(std::string_view type, const Field &count, std::string_view length, const Fields &entries) {
    return head(type, length) + Fields{count} + entries + rest(behind_pairs) + rest("4243444546474849");
}

Fields record_18(const Field &count, std::string_view length, const Fields &entries) {
    return head("12", length) + Fields{{"11121314", "14131211"}, count} + entries + rest(behind_pairs) +
           rest("42434445");
}

constexpr Field count_0 = {"00000000", "00000000"};
constexpr Field count_1 = {"01000000", "00000001"};
constexpr Field count_2 = {"02000000", "00000002"};
constexpr Field count_3 = {"03000000", "00000003"};

// Address blocks: of each kind, of one that no kind is, and of one that the conversion does not come to.
const Fields ipv4_block = {{"04000000", "00000004"}, {"31323334", "34333231"}, {"35363738393a3b3c3d3e3f40"}};
const Fields ipv6_block = {{"08000000", "00000008"}, {"4142434445464748494a4b4c4d4e4f50"}};
const Fields mac_block = {{"02000000", "00000002"}, {"5152535455565758595a5b5c5d5e5f60"}};
const Fields pending_ipv4_block = {{"04000000"}, {"31323334"}, {"35363738393a3b3c3d3e3f40"}};

// OIF entries of each kind, of one that no kind is, and of one that the conversion does not come to.
const Fields plain_oif = {{"00000000"},
                          {"81828384", "84838281"},
                          {"85868788", "88878685"},
                          {"898a8b8c", "8c8b8a89"},
                          {"8d8e8f90919293949596979899 9a9b9c"}};
const Fields ipv6_oif = {{"01000000", "00000001"},
                         {"a1a2a3a4", "a4a3a2a1"},
                         {"a5a6a7a8", "a8a7a6a5"},
                         {"a9aaabac", "acabaaa9"},
                         {"adaeafb0b1b2b3b4b5b6b7b8b9babbbc"}};
const Fields if_index_oif = {{"02000000", "00000002"}, {"c1c2c3c4", "c4c3c2c1"}, {"c5c6c7c8", "c8c7c6c5"},
                             {"c9cacbcc", "cccbcac9"}, {"cdcecfd0", "d0cfcecd"}, {"d1d2d3d4d5d6d7d8d9dadbdc"}};
const Fields unknown_oif = {{"03000000", "00000003"},
                            {"e1e2e3e4", "e4e3e2e1"},
                            {"e5e6e7e8", "e8e7e6e5"},
                            {"e9eaebec", "ecebeae9"},
                            {"edeeeff0f1f2f3f4f5f6f7f8f9fafbfc"}};
const Fields pending_oif = {{"02000000"}, {"c1c2c3c4"}, {"c5c6c7c8"},
                            {"c9cacbcc"}, {"cdcecfd0"}, {"d1d2d3d4d5d6d7d8d9dadbdc"}};

// What a record with address blocks has between its fixed fields and its end.
struct AddressPair {
    Fields blocks;
    Field count;
    std::string_view length;
    Fields entries;
};

Fields record_12(std::string_view type, const AddressPair &pair) {
    return head(type, pair.length) +
           Fields{{"11121314", "14131211"},
                  {"15161718", "18171615"},
                  {"191a1b1c", "1c1b1a19"},
                  {"1d1e1f20", "201f1e1d"},
                  {"2122", "2221"}} +
           pair.blocks + Fields{pair.count} + pair.entries + rest("f1f2f3f4f5f6");
}

Fields record_21(std::string_view type, const AddressPair &pair) {
    return head(type, pair.length) +
           Fields{{"11121314", "14131211"}, {"15161718", "18171615"}, {"191a1b1c", "1c1b1a19"},
                  {"1d1e1f20", "201f1e1d"}, {"21222324", "24232221"}, {"2526", "2625"}} +
           pair.blocks + Fields{pair.count} + pair.entries + rest("f1f2");
}

class L2RecordsTest : public L2MessageTest {
protected:
    // Both families of records with address blocks: one of each in a message.
    void expect_address_pair(const AddressPair &pair) {
        {
            SCOPED_TRACE("type 12");
            expect_converted(header("0001") + record_12("0c", pair), 1);
        }
        SCOPED_TRACE("type 21");
        expect_converted(header("0001") + record_21("15", pair), 1, traced(478));
    }
};

TEST_F(L2RecordsTest, OfTypes8And9HaveTwoWordsAndPairs) {
    for (const char *type : {"08", "09"}) {
        SCOPED_TRACE(type);
        expect_converted(header("0001") + record_8(type, count_2, "60000000", two_pairs), 1);
        expect_converted(header("0001") + record_8(type, count_0, "50000000", {}), 1);
        expect_converted(header("0001") + record_8(type, count_1, "58000000", {two_pairs[0], two_pairs[1]}), 1);
    }
}

TEST_F(L2RecordsTest, OfTypes10And11HavePairsAlone) {
    for (const char *type : {"0a", "0b"}) {
        SCOPED_TRACE(type);
        expect_converted(header("0001") + record_10(type, count_2, "60000000", two_pairs), 1);
        expect_converted(header("0001") + record_10(type, count_0, "50000000", {}), 1);
        expect_converted(header("0001") + record_10(type, count_1, "58000000", {two_pairs[0], two_pairs[1]}), 1);
    }
}

TEST_F(L2RecordsTest, OfType18HaveAWordAndPairsAndAreTraced) {
    expect_converted(header("0001") + record_18(count_2, "60000000", two_pairs), 1, traced(486));
    expect_converted(header("0001") + record_18(count_0, "50000000", {}), 1, traced(486));
    expect_converted(header("0001") + record_18(count_1, "58000000", {two_pairs[0], two_pairs[1]}), 1, traced(486));
}

TEST_F(L2RecordsTest, OfTypes12To15HaveFourWordsAHalfTwoAddressesAndOifs) {
    for (const char *type : {"0c", "0d", "0e", "0f"}) {
        SCOPED_TRACE(type);
        const auto blocks = ipv4_block + ipv6_block;
        expect_converted(header("0001") + record_12(type, {blocks, count_2, "90000000", if_index_oif + plain_oif}), 1);
        expect_converted(header("0001") + record_12(type, {blocks, count_1, "70000000", if_index_oif}), 1);
        expect_converted(header("0001") + record_12(type, {blocks, count_0, "50000000", {}}), 1);
    }
}

TEST_F(L2RecordsTest, OfTypes21And22HaveFiveWordsAHalfTwoAddressesAndOifsAndAreTraced) {
    for (const char *type : {"15", "16"}) {
        SCOPED_TRACE(type);
        const auto blocks = ipv4_block + ipv6_block;
        expect_converted(header("0001") + record_21(type, {blocks, count_2, "90000000", if_index_oif + plain_oif}), 1,
                         traced(478));
        expect_converted(header("0001") + record_21(type, {blocks, count_1, "70000000", if_index_oif}), 1, traced(478));
        expect_converted(header("0001") + record_21(type, {blocks, count_0, "50000000", {}}), 1, traced(478));
    }
}

TEST_F(L2RecordsTest, ConvertAddressesByTheirKindInEitherBlock) {
    for (const auto &first : {ipv4_block, ipv6_block, mac_block})
        for (const auto &second : {ipv4_block, ipv6_block, mac_block})
            expect_address_pair({first + second, count_1, "70000000", if_index_oif});
}

// A kind is known in host order alone: the last four are the known ones the other way round, or with more bits.
constexpr std::string_view unknown_address_kinds[] = {"07000000", "00000000", "01000000", "03000000", "05000000",
                                                      "06000000", "09000000", "0a000000", "ffffffff", "00000004",
                                                      "00000008", "04010000", "02000080"};

TEST_F(L2RecordsTest, StopAtAnUnknownKindInTheFirstBlockAndKeepTheirLength) {
    for (const auto kind : unknown_address_kinds) {
        SCOPED_TRACE(kind);
        const Fields unknown = {{kind}, {"6162636465666768696a6b6c6d6e6f70"}};
        expect_address_pair({unknown + pending_ipv4_block, count_2, "90000000", pending_oif + pending_oif});
    }
}

TEST_F(L2RecordsTest, StopAtAnUnknownKindInTheSecondBlockWithTheFirstConverted) {
    for (const auto kind : unknown_address_kinds) {
        SCOPED_TRACE(kind);
        const Fields unknown = {{kind}, {"6162636465666768696a6b6c6d6e6f70"}};
        expect_address_pair({ipv4_block + unknown, count_2, "90000000", pending_oif + pending_oif});
    }
}

TEST_F(L2RecordsTest, GoOnBehindARecordThatStoppedAtAnUnknownKind) {
    const Fields unknown = {{"07000000"}, {"6162636465666768696a6b6c6d6e6f70"}};
    expect_converted(header("0003") +
                         record_12("0c", {unknown + pending_ipv4_block, count_1, "70000000", pending_oif}) +
                         record_12("0d", {ipv4_block + unknown, count_2, "90000000", pending_oif + pending_oif}) +
                         record_10("0a", count_2, "60000000", two_pairs),
                     3);
}

TEST_F(L2RecordsTest, ConvertOifsByTheirKind) {
    const auto blocks = mac_block + ipv4_block;
    expect_address_pair({blocks, count_3, "b0000000", plain_oif + ipv6_oif + if_index_oif});
    expect_address_pair({blocks, count_3, "b0000000", if_index_oif + plain_oif + ipv6_oif});
    expect_address_pair({blocks, count_3, "b0000000", ipv6_oif + if_index_oif + plain_oif});
}

TEST_F(L2RecordsTest, StopBehindTheFourWordsOfAnOifOfUnknownKind) {
    const auto blocks = mac_block + ipv4_block;
    expect_address_pair({blocks, count_3, "b0000000", unknown_oif + pending_oif + pending_oif});
    expect_address_pair({blocks, count_3, "b0000000", if_index_oif + unknown_oif + pending_oif});
    expect_address_pair({blocks, count_3, "b0000000", plain_oif + ipv6_oif + unknown_oif});
}

TEST_F(L2RecordsTest, KnowOifKindsInHostOrderAlone) {
    const Field unknown_kinds[] = {{"04000000", "00000004"}, {"ffffffff", "ffffffff"}, {"00000001", "01000000"},
                                   {"00000002", "02000000"}, {"02010000", "00000102"}, {"01000080", "80000001"}};
    for (const auto &kind : unknown_kinds) {
        SCOPED_TRACE(kind.before);
        auto entry = unknown_oif;
        entry[0] = kind;
        expect_address_pair({mac_block + ipv4_block, count_2, "90000000", entry + pending_oif});
    }
}

TEST_F(L2RecordsTest, GoOnBehindARecordThatStoppedAtAnUnknownOif) {
    expect_converted(header("0002") +
                         record_21("16", {mac_block + ipv4_block, count_2, "90000000", unknown_oif + pending_oif}) +
                         record_18(count_2, "60000000", two_pairs),
                     2, fake::in_order(traced(478), traced(486)));
}

TEST_F(L2RecordsTest, LieBackToBackWhateverTheirTypes) {
    const AddressPair pair = {ipv4_block + mac_block, count_2, "90000000", ipv6_oif + if_index_oif};
    expect_converted(header("000b") + record_8("08", count_2, "60000000", two_pairs) +
                         record_8("09", count_0, "50000000", {}) + record_10("0a", count_2, "60000000", two_pairs) +
                         record_10("0b", count_0, "50000000", {}) + record_12("0c", pair) + record_12("0d", pair) +
                         record_12("0e", pair) + record_12("0f", pair) + record_18(count_2, "60000000", two_pairs) +
                         record_21("15", pair) + record_21("16", pair),
                     11, fake::in_order(traced(486), traced(478), traced(478)));
}

// Its bytes and what is written over its length field: nothing else of it is known.
Fields unconvertible(std::string_view type, std::string_view length, std::string_view rest_of_it) {
    return head(type, length) + rest(rest_of_it);
}

constexpr std::string_view unconvertible_types[] = {"00", "01", "02", "03", "04", "05", "06", "07", "10", "11", "13",
                                                    "14", "17", "18", "7f", "80", "88", "8a", "95", "fe", "ff"};

TEST_F(L2RecordsTest, OfOtherTypesFirstGetLength0AndHoldTheWalk) {
    for (const auto type : unconvertible_types) {
        SCOPED_TRACE(type);
        const Fields untouched_record = {{"0a"}, {"01020304050607"}, {"c1c2c3c4"}, {"02000000"}, {"d1d2d3d4d5d6d7d8"}};
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
        const auto unknown = unconvertible(type, "68000000", behind_pairs) +
                             rest("4243444546474849 4a4b4c4d4e4f5051 5253545556575859 5a5b5c5d5e5f6061 62636465");
        expect_converted(header("0004") + record_10("0a", count_3, "68000000", three_pairs) + unknown + unknown +
                             record_8("08", count_2, "60000000", two_pairs),
                         4);
    }
}

TEST_F(L2RecordsTest, OfOtherTypesAtTheEndNeedNoMoreThanTheirHead) {
    expect_converted(header("0002") + record_10("0a", count_0, "50000000", {}) + head("13", "50000000"), 2);
}

// Entries whose every word differs, as they are before and after.
Bytes numbered_words(std::uint32_t count, bool network_order) {
    Bytes bytes;
    for (std::uint32_t i = 0; i < count; ++i) {
        auto number = word(0x51000000 + 0x101 * i);
        if (network_order)
            number = {number[3], number[2], number[1], number[0]};
        bytes = joined(std::move(bytes), number);
    }
    return bytes;
}

Bytes numbered_oifs(std::uint32_t count, bool network_order) {
    Bytes bytes;
    for (std::uint32_t i = 0; i < count; ++i) {
        bytes = joined(std::move(bytes), network_order ? Bytes{0, 0, 0, 2} : Bytes{2, 0, 0, 0});
        for (std::uint32_t k = 1; k <= 4; ++k) {
            auto number = word((0x50 + k) << 24 | i);
            if (network_order)
                number = {number[3], number[2], number[1], number[0]};
            bytes = joined(std::move(bytes), number);
        }
        bytes = joined(std::move(bytes), hex("d1d2d3d4d5d6d7d8d9dadbdc"));
    }
    return bytes;
}

class ManyEntriesTest : public L2MessageTest {
protected:
    void expect(const Bytes &start, const Bytes &expected) {
        for (const auto side : {GuardedBuffer::Side::front, GuardedBuffer::Side::back}) {
            GuardedBuffer buffer(start, side, 1);
            EXPECT_EQ(update(buffer.data(), start.size(), 1), 1);
            EXPECT_TRUE(buffer.content() == expected);
            EXPECT_TRUE(buffer.surroundings_untouched());
            EXPECT_CALLS(update_sent(expected));
        }
    }
};

TEST_F(ManyEntriesTest, AreAllConvertedAsPairs) {
    const auto first = header("0001") + head("0b", "d0380100") + Fields{{"10270000", "00002710"}};
    const auto last = before(rest(behind_pairs) + rest("4243444546474849"));
    expect(joined(joined(before(first), numbered_words(20000, false)), last),
           joined(joined(after(first), numbered_words(20000, true)), last));
}

TEST_F(ManyEntriesTest, AreAllConvertedAsOifs) {
    const auto whole = record_12("0f", {ipv4_block + mac_block, {"10270000", "00002710"}, "50e20400", {}});
    const auto first = header("0001") + Fields(whole.begin(), whole.end() - 1);
    const auto last = hex("f1f2f3f4f5f6");
    expect(joined(joined(before(first), numbered_oifs(10000, false)), last),
           joined(joined(after(first), numbered_oifs(10000, true)), last));
}

TEST_F(ManyEntriesTest, OrNoneInManyRecords) {
    Fields message = header("03e8");
    for (int i = 0; i < 1000; ++i)
        message = std::move(message) + record_10("0a", count_0, "50000000", {});
    expect_converted(message, 1000);
}

} // namespace
