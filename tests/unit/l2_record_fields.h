// The records of a layer-2 message, field by field, every byte of the caller's different from its
// neighbours.
#pragma once

#include "l2_message.h"

// Type, the caller's 7 bytes, and the length field with what is written there.
inline Fields head(std::string_view type, std::string_view length) {
    return {{type}, {"01020304050607"}, {"c1c2c3c4", length}};
}

// The rest of a record of 80 bytes and its entries' bytes, behind the entries.
inline Fields rest(std::string_view raw) {
    return {{raw}};
}

inline const Fields two_pairs = {{"d1d2d3d4", "d4d3d2d1"},
                                 {"d5d6d7d8", "d8d7d6d5"},
                                 {"d9dadbdc", "dcdbdad9"},
                                 {"dddedfe0", "e0dfdedd"}};

// 56 bytes, which is what 80 leaves behind entries that begin at offset 24; for those that begin
// earlier, more.
inline constexpr std::string_view behind_pairs = "0a0b0c0d0e0f101112131415161718191a1b1c1d1e1f2021"
                                                 "22232425262728292a2b2c2d2e2f30313233343536373839"
                                                 "3a3b3c3d3e3f4041";

inline Fields record_8(std::string_view type, const Field &count, std::string_view length,
                       const Fields &entries) {
    return head(type, length) + Fields{{"11121314", "14131211"}, count, {"15161718", "18171615"}} +
           entries + rest(behind_pairs);
}

inline Fields record_10(std::string_view type, const Field &count, std::string_view length,
                        const Fields &entries) {
    return head(type, length) + Fields{count} + entries + rest(behind_pairs) +
           rest("4243444546474849");
}

inline Fields record_18(const Field &count, std::string_view length, const Fields &entries) {
    return head("12", length) + Fields{{"11121314", "14131211"}, count} + entries +
           rest(behind_pairs) + rest("42434445");
}

inline constexpr Field count_0 = {"00000000", "00000000"};
inline constexpr Field count_1 = {"01000000", "00000001"};
inline constexpr Field count_2 = {"02000000", "00000002"};
inline constexpr Field count_3 = {"03000000", "00000003"};

// Address blocks: of each kind, of one that no kind is, and of one that the conversion does not
// come to.
inline const Fields ipv4_block = {
    {"04000000", "00000004"}, {"31323334", "34333231"}, {"35363738393a3b3c3d3e3f40"}};
inline const Fields ipv6_block = {{"08000000", "00000008"}, {"4142434445464748494a4b4c4d4e4f50"}};
inline const Fields mac_block = {{"02000000", "00000002"}, {"5152535455565758595a5b5c5d5e5f60"}};
inline const Fields pending_ipv4_block = {{"04000000"}, {"31323334"}, {"35363738393a3b3c3d3e3f40"}};

// OIF entries of each kind, of one that no kind is, and of one that the conversion does not come
// to.
inline const Fields plain_oif = {{"00000000"},
                                 {"81828384", "84838281"},
                                 {"85868788", "88878685"},
                                 {"898a8b8c", "8c8b8a89"},
                                 {"8d8e8f90919293949596979899 9a9b9c"}};
inline const Fields ipv6_oif = {{"01000000", "00000001"},
                                {"a1a2a3a4", "a4a3a2a1"},
                                {"a5a6a7a8", "a8a7a6a5"},
                                {"a9aaabac", "acabaaa9"},
                                {"adaeafb0b1b2b3b4b5b6b7b8b9babbbc"}};
inline const Fields if_index_oif = {{"02000000", "00000002"}, {"c1c2c3c4", "c4c3c2c1"},
                                    {"c5c6c7c8", "c8c7c6c5"}, {"c9cacbcc", "cccbcac9"},
                                    {"cdcecfd0", "d0cfcecd"}, {"d1d2d3d4d5d6d7d8d9dadbdc"}};
inline const Fields unknown_oif = {{"03000000", "00000003"},
                                   {"e1e2e3e4", "e4e3e2e1"},
                                   {"e5e6e7e8", "e8e7e6e5"},
                                   {"e9eaebec", "ecebeae9"},
                                   {"edeeeff0f1f2f3f4f5f6f7f8f9fafbfc"}};
inline const Fields pending_oif = {{"02000000"}, {"c1c2c3c4"}, {"c5c6c7c8"},
                                   {"c9cacbcc"}, {"cdcecfd0"}, {"d1d2d3d4d5d6d7d8d9dadbdc"}};

// What a record with address blocks has between its fixed fields and its end.
struct AddressPair {
    Fields blocks;
    Field count;
    std::string_view length;
    Fields entries;
};

inline Fields record_12(std::string_view type, const AddressPair &pair) {
    return head(type, pair.length) +
           Fields{{"11121314", "14131211"},
                  {"15161718", "18171615"},
                  {"191a1b1c", "1c1b1a19"},
                  {"1d1e1f20", "201f1e1d"},
                  {"2122", "2221"}} +
           pair.blocks + Fields{pair.count} + pair.entries + rest("f1f2f3f4f5f6");
}

inline Fields record_21(std::string_view type, const AddressPair &pair) {
    return head(type, pair.length) +
           Fields{{"11121314", "14131211"}, {"15161718", "18171615"}, {"191a1b1c", "1c1b1a19"},
                  {"1d1e1f20", "201f1e1d"}, {"21222324", "24232221"}, {"2526", "2625"}} +
           pair.blocks + Fields{pair.count} + pair.entries + rest("f1f2");
}

// The types of records with address blocks, by their form.
inline constexpr std::string_view types_as_12[] = {"0c", "0d", "0e", "0f"};
inline constexpr std::string_view types_as_21[] = {"15", "16"};

class L2RecordsTest : public L2MessageTest {
protected:
    // The pair in a record of every type that has one: alone, or with one record more behind it.
    void expect_address_pair(const AddressPair &pair, const Fields &behind = {}) {
        const std::uint16_t count = behind.empty() ? 1 : 2;
        const auto start = header(behind.empty() ? "0001" : "0002");
        for (const auto type : types_as_12) {
            SCOPED_TRACE(type);
            expect_converted(start + record_12(type, pair) + behind, count);
        }
        for (const auto type : types_as_21) {
            SCOPED_TRACE(type);
            expect_converted(start + record_21(type, pair) + behind, count, traced(478));
        }
    }
};
