// Records of a layer-2 message with thousands of entries, and thousands of records.
#include "l2_record_fields.h"

#include <cstddef>

namespace {

// Entries whose every word differs, as they are before and after.
bytes numbered_words(std::uint32_t count, bool network_order) {
    bytes raw;
    for (std::uint32_t i = 0; i < count; ++i) {
        auto number = word(0x51000000 + 0x101 * i);
        if (network_order)
            number = {number[3], number[2], number[1], number[0]};
        raw = std::move(raw) + number;
    }
    return raw;
}

bytes numbered_oifs(std::uint32_t count, bool network_order) {
    bytes raw;
    for (std::uint32_t i = 0; i < count; ++i) {
        raw = std::move(raw) + (network_order ? bytes{0, 0, 0, 2} : bytes{2, 0, 0, 0});
        for (std::uint32_t k = 1; k <= 4; ++k) {
            auto number = word((0x50 + k) << 24 | i);
            if (network_order)
                number = {number[3], number[2], number[1], number[0]};
            raw = std::move(raw) + number;
        }
        raw = std::move(raw) + hex("d1d2d3d4d5d6d7d8d9dadbdc");
    }
    return raw;
}

// Entries that are all the same.
bytes repeated(std::uint32_t count, std::string_view entry) {
    const auto one = hex(entry);
    bytes raw;
    for (std::uint32_t i = 0; i < count; ++i)
        raw.insert(raw.end(), one.begin(), one.end());
    return raw;
}

class L2ManyEntriesTest : public L2MessageTest {
protected:
    // `record` has the entries before its last `fields_behind` fields.
    void expect(const Fields &record, std::size_t fields_behind, const bytes &entries,
                const bytes &converted, const fake::Calls &traces) {
        const auto split = record.end() - static_cast<std::ptrdiff_t>(fields_behind);
        const auto first = header("0001") + Fields(record.begin(), split);
        const auto last = before(Fields(split, record.end()));
        const auto start = before(first) + entries + last;
        const auto expected = after(first) + converted + last;
        for (const auto side : {GuardedBuffer::Side::front, GuardedBuffer::Side::back}) {
            GuardedBuffer buffer(start, side, 1);
            EXPECT_EQ(update(buffer.data(), start.size(), 1), 1);
            EXPECT_TRUE(buffer.content() == expected);
            EXPECT_TRUE(buffer.surroundings_untouched());
            EXPECT_CALLS(traces, update_sent(expected));
        }
    }
};

constexpr Field count_10000 = {"10270000", "00002710"};

TEST_F(L2ManyEntriesTest, AreAllConvertedAsPairs) {
    constexpr std::string_view length = "d0380100";
    const struct {
        Fields record;
        std::size_t fields_behind;
        fake::Calls traces = {};
    } rows[] = {{record_8("08", count_10000, length, {}), 1},
                {record_8("09", count_10000, length, {}), 1},
                {record_10("0a", count_10000, length, {}), 2},
                {record_10("0b", count_10000, length, {}), 2},
                {record_18(count_10000, length, {}), 2, traced(486)}};
    const auto entries = numbered_words(20000, false);
    const auto converted = numbered_words(20000, true);
    for (const auto &row : rows) {
        SCOPED_TRACE(row.record.front().before);
        expect(row.record, row.fields_behind, entries, converted, row.traces);
    }
}

TEST_F(L2ManyEntriesTest, AreAllConvertedAsOifs) {
    const AddressPair pair = {ipv4_block + mac_block, count_10000, "50e20400", {}};
    const auto entries = numbered_oifs(10000, false);
    const auto converted = numbered_oifs(10000, true);
    for (const auto type : types_as_12) {
        SCOPED_TRACE(type);
        expect(record_12(type, pair), 1, entries, converted, {});
    }
    for (const auto type : types_as_21) {
        SCOPED_TRACE(type);
        expect(record_21(type, pair), 1, entries, converted, traced(478));
    }
}

TEST_F(L2ManyEntriesTest, AreAllConvertedWhenTheirNumberTakesMoreThan16Bits) {
    constexpr Field count_65537 = {"01000100", "00010001"};
    expect(record_10("0a", count_65537, "58000800", {}), 2, repeated(65537, "11121314 15161718"),
           repeated(65537, "14131211 18171615"), {});
    expect(record_12("0c", {ipv4_block + mac_block, count_65537, "70002000", {}}), 1,
           repeated(65537, "00000000 81828384 85868788 898a8b8c 8d8e8f90919293949596979899a9b9c9"),
           repeated(65537, "00000000 84838281 88878685 8c8b8a89 8d8e8f90919293949596979899a9b9c9"),
           {});
}

TEST_F(L2ManyEntriesTest, OrNoneInManyRecords) {
    Fields message = header("03e8");
    for (int i = 0; i < 1000; ++i)
        message = std::move(message) + record_10("0a", count_0, "50000000", {});
    expect_converted(message, 1000);
}

} // namespace
