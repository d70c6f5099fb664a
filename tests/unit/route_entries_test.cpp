// The entries of the lists, byte by byte.
#include "route_list_kinds.h"

#include <string>

namespace {

using OifEntryTest = ScratchTest;

TEST_F(OifEntryTest, CarriesTheKindOfItsAddFunction) {
    struct Row {
        const char *name;
        void (*add)(std::uint32_t);
        std::uint8_t kind;
        int constant;
    };
    const Row rows[] = {
        {"reg", vell_mrib_add_reg_oif, 0, vell_oif_kind_reg},
        {"vprime", vell_mrib_add_vprime_oif, 1, vell_oif_kind_vprime},
        {"duxsvi", vell_mrib_add_duxsvi_oif, 4, vell_oif_kind_duxsvi},
        {"duxbidir_rpf", vell_mrib_add_duxbidir_rpf_oif, 8, vell_oif_kind_duxbidir_rpf},
        {"dux_bidir_rpf_duxsvi", vell_mrib_add_dux_bidir_rpf_duxsvi_oif, 12,
         vell_oif_kind_dux_bidir_rpf_duxsvi},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        vell_mrib_add_oifs_begin();
        row.add(0xf4131211);
        const bytes list = {1, 0, 0, 0, 0x11, 0x12, 0x13, 0xf4, row.kind, 0, 0, 0};
        EXPECT_EQ(part(scratch(), 0, 12), list);
        EXPECT_EQ(row.constant, row.kind);
    }
    EXPECT_EQ(scratch(), patched(before_, 0, part(scratch(), 0, 12)));
}

TEST_F(OifEntryTest, KindsMayBeMixedInOneList) {
    vell_mrib_add_oifs_begin();
    vell_mrib_add_dux_bidir_rpf_duxsvi_oif(0x14131211);
    vell_mrib_add_reg_oif(0);
    vell_mrib_add_duxbidir_rpf_oif(0xffffffff);
    vell_mrib_add_vprime_oif(0x24232221);
    vell_mrib_add_duxsvi_oif(0x34333231);
    vell_mrib_add_oifs_end(route());

    const bytes list = {
        0x05, 0,    0,    0,                   // count
        0x11, 0x12, 0x13, 0x14, 0x0c, 0, 0, 0, // both
        0x00, 0x00, 0x00, 0x00, 0x00, 0, 0, 0, // reg
        0xff, 0xff, 0xff, 0xff, 0x08, 0, 0, 0, // duxbidir_rpf
        0x21, 0x22, 0x23, 0x24, 0x01, 0, 0, 0, // vprime
        0x31, 0x32, 0x33, 0x34, 0x04, 0, 0, 0, // duxsvi
    };
    EXPECT_CALLS(appended(0, list));
    EXPECT_EQ(scratch(), patched(before_, 0, list));
}

using MtiEntryTest = ScratchTest;

TEST_F(MtiEntryTest, CarriesItsFourWordsInOrder) {
    vell_mrib_add_mti_encap_begin();
    vell_mrib_add_mti_encap(0x14131211, 0x24232221, 0x34333231, 0x44434241);
    vell_mrib_add_mti_encap(0xf4f3f2f1, 0, 0xffffffff, 0x80000001);

    const bytes list = {
        0x02, 0,    0,    0, // count
        0x11, 0x12, 0x13, 0x14, 0x21, 0x22, 0x23, 0x24, 0x31, 0x32, 0x33,
        0x34, 0x41, 0x42, 0x43, 0x44, 0xf1, 0xf2, 0xf3, 0xf4, 0x00, 0x00,
        0x00, 0x00, 0xff, 0xff, 0xff, 0xff, 0x01, 0x00, 0x00, 0x80,
    };
    EXPECT_EQ(scratch(), patched(before_, 0, list));
}

class GltEntryTest : public ScratchTest {
protected:
    // Adds an entry with these data.
    static void add(const void *data, std::uint32_t length) {
        vell_mrib_add_glt_encap(0x14131211, 0x24232221, 0x34333231, 0x44434241, data, length,
                                0x64636261);
    }

    // The scratch buffer with one entry whose two last words and then whose data are written.
    bytes scratch_with(const bytes &length_word, const bytes &data) const {
        auto raw =
            patched(before_, 0, {0x01, 0,    0,    0,                            // count
                                 0x11, 0x12, 0x13, 0x14, 0x21, 0x22, 0x23, 0x24, // the four words
                                 0x31, 0x32, 0x33, 0x34, 0x41, 0x42, 0x43, 0x44});
        raw = patched(raw, 4 + 52, length_word);
        raw = patched(raw, 4 + 56, {0x61, 0x62, 0x63, 0x64});
        return patched(raw, 4 + 16, data);
    }
};

TEST_F(GltEntryTest, CarriesWordsDataLengthAndLastWord) {
    vell_mrib_add_glt_encap_begin();
    add(glt_data, 36);
    const bytes entry = {
        0x01, 0x00, 0x00, 0x00, // count
        0x11, 0x12, 0x13, 0x14, 0x21, 0x22, 0x23, 0x24, 0x31, 0x32, 0x33, 0x34,
        0x41, 0x42, 0x43, 0x44,                                                 // words
        0x91, 0x92, 0x93, 0x94, 0x95, 0x96, 0x97, 0x98, 0x99, 0x9a, 0x9b, 0x9c, // data
        0x9d, 0x9e, 0x9f, 0xa0, 0xa1, 0xa2, 0xa3, 0xa4, 0xa5, 0xa6, 0xa7, 0xa8, //
        0xa9, 0xaa, 0xab, 0xac, 0xad, 0xae, 0xaf, 0xb0, 0xb1, 0xb2, 0xb3, 0xb4, //
        0x24, 0x00, 0x00, 0x00,                                                 // length
        0x61, 0x62, 0x63, 0x64,                                                 // last word
    };
    ASSERT_EQ(entry.size(), 64U);
    EXPECT_EQ(scratch(), patched(before_, 0, entry));
}

TEST_F(GltEntryTest, KeepsWhatTheBufferHeldWhereNoDataIsGiven) {
    for (const std::uint32_t length : {1U, 5U, 35U}) {
        SCOPED_TRACE(length);
        std::copy(before_.begin(), before_.end(), std::begin(vell_mrib_buf));
        vell_mrib_add_glt_encap_begin();
        add(glt_data, length);
        EXPECT_EQ(scratch(), scratch_with({static_cast<std::uint8_t>(length), 0, 0, 0},
                                          bytes(glt_data, glt_data + length)));
    }
}

TEST_F(GltEntryTest, MayHaveNoDataAndThenTheirAddressMayBeNull) {
    vell_mrib_add_glt_encap_begin();
    add(nullptr, 0);
    EXPECT_EQ(scratch(), scratch_with({0, 0, 0, 0}, {}));
    vell_mrib_add_glt_encap_begin();
    add(glt_data, 0);
    EXPECT_EQ(scratch(), scratch_with({0, 0, 0, 0}, {}));
}

TEST_F(GltEntryTest, TakesDataAtOddAddresses) {
    std::uint8_t odd[39];
    std::copy(std::begin(glt_data), std::end(glt_data), odd + 3);
    vell_mrib_add_glt_encap_begin();
    add(odd + 3, 36);
    EXPECT_EQ(scratch(),
              scratch_with({36, 0, 0, 0}, bytes(std::begin(glt_data), std::end(glt_data))));
}

TEST_F(GltEntryTest, TakesAsManyDataBytesAsItIsToldOverTheWordsBehindTheField) {
    for (const std::uint32_t length : {37U, 40U, 41U, 44U, 45U, 60U, 104U, 255U, 1000U, 65537U}) {
        SCOPED_TRACE(length);
        std::copy(before_.begin(), before_.end(), std::begin(vell_mrib_buf));
        bytes data(length);
        for (std::uint32_t i = 0; i < length; ++i)
            data[i] = static_cast<std::uint8_t>(0xc7 + 13 * i);
        vell_mrib_add_glt_encap_begin();
        add(data.data(), length);
        EXPECT_EQ(scratch(), scratch_with(word(length), data));
        EXPECT_EQ(glt_oifs->count, 1U);
    }
}

TEST_F(GltEntryTest, TakesItsDataWhateverTheLastWordIs) {
    for (const std::uint32_t last_word : {0U, 1U, 35U, 0x80000000U, 0xffffffffU}) {
        SCOPED_TRACE(last_word);
        std::copy(before_.begin(), before_.end(), std::begin(vell_mrib_buf));
        vell_mrib_add_glt_encap_begin();
        vell_mrib_add_glt_encap(0x14131211, 0x24232221, 0x34333231, 0x44434241, glt_data, 36,
                                last_word);
        const auto entry =
            scratch_with({36, 0, 0, 0}, bytes(std::begin(glt_data), std::end(glt_data)));
        EXPECT_EQ(scratch(), patched(entry, 4 + 56, word(last_word)));
    }
}

TEST_F(GltEntryTest, FollowsAnOverlongEntryAfter60BytesAllTheSame) {
    const bytes data(100, 0xcc);
    vell_mrib_add_glt_encap_begin();
    add(data.data(), 100);
    add(glt_data, 36);
    const auto now = scratch();
    EXPECT_EQ(part(now, 0, 4), word(2));
    EXPECT_EQ(part(now, 4 + 16, 44), bytes(44, 0xcc));
    EXPECT_EQ(part(now, 4 + 60, 4), (bytes{0x11, 0x12, 0x13, 0x14}));
    EXPECT_EQ(part(now, 4 + 60 + 16, 36), bytes(std::begin(glt_data), std::end(glt_data)));
    EXPECT_EQ(part(now, 4 + 60 + 52, 4), (bytes{36, 0, 0, 0}));
}

} // namespace
