// libvell.so held against the headers: what it exports, what it needs, and that it does nothing
// when it is loaded.
#include "declarations.h"
#include "elf32.h"
#include "signatures.h"

#include <vell.h>

#include <elf.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const elf32::shared_object &library() {
    static const elf32::shared_object object = elf32::read(VELL_LIBRARY_PATH);
    return object;
}

const declarations &header() {
    static const declarations declared = read_declarations(VELL_HEADER_PREPROCESSED, true);
    return declared;
}

std::set<std::string> exported(bool functions) {
    std::set<std::string> names;
    for (const auto &[name, symbol] : library().exported)
        if (symbol.function == functions)
            names.insert(name);
    return names;
}

// The bits of a dynamic tag; 0 when the shared object does not have the tag.
std::uint32_t dynamic_bits(std::int32_t tag) {
    const auto found = library().dynamic_tags.find(tag);
    return found == library().dynamic_tags.end() ? 0 : found->second;
}

// The flags of the segments of this type.
std::vector<std::uint32_t> segment_flags(std::uint32_t type) {
    std::vector<std::uint32_t> flags;
    for (const elf32::segment &segment : library().segments)
        if (segment.type == type)
            flags.push_back(segment.flags);
    return flags;
}

TEST(SharedObject, TheHeaderDeclaresTheFunctionsThatItIsReadFor) {
    // The reader of declarations itself: written by hand, generated, and with a result of each
    // type.
    EXPECT_TRUE(header().functions.contains("vell_register"));
    EXPECT_TRUE(header().functions.contains("vell_mrib_set_flags_dux_forward_none"));
    EXPECT_TRUE(header().functions.contains("vell_mrib_is_flags_dux_rpf_check"));
    EXPECT_TRUE(header().functions.contains("vell_mrib_add_dux_bidir_rpf_duxsvi_oif"));
    EXPECT_TRUE(header().functions.contains("vell_mrib_send_dux_role_forward_odd"));
    EXPECT_FALSE(header().functions.contains("__attribute__"));
}

TEST(SharedObject, ExportsExactlyTheFunctionsOfTheHeader) {
    EXPECT_EQ(exported(true), header().functions);
}

TEST(SharedObject, HasNoFunctionWhoseTypeIsNotHeld) {
#define FUNCTION_NAME(name, result, arguments) #name,
#define SETTER_NAME(name) "vell_mrib_set_flags_" #name,
#define TESTER_NAME(name) "vell_mrib_is_flags_" #name,
    const std::set<std::string> held = {VELL_SIGNATURES(FUNCTION_NAME) VELL_FLAG_SETTERS(
        SETTER_NAME) VELL_FLAG_TESTERS(TESTER_NAME)};
    EXPECT_EQ(exported(true), held);
}

TEST(SharedObject, ExportsExactlyTheVariablesOfTheHeader) {
    EXPECT_EQ(exported(false), header().variables);
}

TEST(SharedObject, ExportedVariablesHaveTheSizesOfTheHeader) {
    const std::map<std::string, std::size_t> sizes = {
        {"vell_mrib_buf", sizeof(vell_mrib_buf)},
        {"vell_oifs", sizeof(vell_oifs)},
        {"mti_oifs", sizeof(mti_oifs)},
        {"glt_oifs", sizeof(glt_oifs)},
        {"p_current_tlv_addr", sizeof(p_current_tlv_addr)},
        {"current_tlv_size", sizeof(current_tlv_size)},
        {"ltl_payload", sizeof(ltl_payload)},
        {"ltl_dealloc", sizeof(ltl_dealloc)},
    };
    std::set<std::string> sized;
    for (const auto &[name, size] : sizes) {
        sized.insert(name);
        ASSERT_TRUE(library().exported.contains(name)) << name;
        EXPECT_EQ(library().exported.at(name).size, size) << name;
    }
    EXPECT_EQ(sized, header().variables) << "a variable of the header is missing in this test";
    EXPECT_EQ(sizes.at("vell_mrib_buf"), 120832u);
}

TEST(SharedObject, TheLtlRequestsHaveTheirOldSizes) {
    EXPECT_EQ(library().exported.at("ltl_payload").size, 2u);
    EXPECT_EQ(library().exported.at("ltl_dealloc").size, 12u);
}

// No variable that a client could name lies in the room for the entry behind the count.
TEST(SharedObject, TheRoomBehindLtlPayloadIsNoOtherVariables) {
    const auto &payload = library().exported.at("ltl_payload");
    for (const auto &[name, symbol] : library().exported) {
        if (name == "ltl_payload")
            continue;
        EXPECT_TRUE(symbol.address + symbol.size <= payload.address ||
                    symbol.address >= payload.address + 26)
            << name;
    }
}

TEST(SharedObject, NeedsTheCLibraryAlone) {
    EXPECT_THAT(library().needed, ElementsAre("libc.so.6"));
}

TEST(SharedObject, CarriesItsMajorVersionInItsName) {
    EXPECT_EQ(library().soname, "libvell.so.1");
}

TEST(SharedObject, LeavesThePlatformsSymbolsAndTheCLibrarysUndefinedAndNoOthers) {
    declarations platform;
    for (const char *path : {VELL_PLATFORM_PREPROCESSED})
        platform.merge(read_declarations(path, false));
    const std::set<std::string> c_library = {
        "calloc", "free",  "malloc", "memcpy",  "memmove",
        "memset", "qsort", "strlen", "strncpy", "__stack_chk_fail"};
    std::vector<std::string> others;
    for (const auto &[name, symbol] : library().undefined) {
        const bool is_c_library = c_library.contains(name) && symbol.version.starts_with("GLIBC_");
        const bool is_platform = symbol.version.empty() && (platform.functions.contains(name) ||
                                                            platform.variables.contains(name));
        if (!is_c_library && !is_platform)
            others.push_back(name + (symbol.version.empty() ? "" : "@" + symbol.version));
    }
    EXPECT_THAT(others, IsEmpty());
    EXPECT_TRUE(library().undefined.contains("kyt_send"));
    EXPECT_TRUE(library().undefined.contains("tessel_dbg_modname"));
    EXPECT_TRUE(library().undefined.contains("nerb_send_flood_ltl_update_req"));
    EXPECT_TRUE(library().undefined.contains("if_index_get_type"));
}

// A client that never asks for an LTL index can do without the LTL manager's library.
TEST(SharedObject, LooksForThePlatformsFunctionsWhenTheyAreCalled) {
    EXPECT_THAT(library().needed_at_load, ElementsAre("tessel_dbg_modname"));
    EXPECT_FALSE(library().dynamic_tags.contains(DT_BIND_NOW));
    EXPECT_EQ(dynamic_bits(DT_FLAGS) & DF_BIND_NOW, 0u);
    EXPECT_EQ(dynamic_bits(DT_FLAGS_1) & DF_1_NOW, 0u);
}

TEST(SharedObject, RunsNothingWhenLoadedOrUnloaded) {
    for (const int tag : {DT_INIT, DT_INIT_ARRAY, DT_PREINIT_ARRAY, DT_FINI, DT_FINI_ARRAY})
        EXPECT_FALSE(library().dynamic_tags.contains(tag)) << "dynamic tag " << tag;
}

TEST(SharedObject, IsPositionIndependentWithoutTextRelocations) {
    EXPECT_FALSE(library().dynamic_tags.contains(DT_TEXTREL));
    EXPECT_EQ(dynamic_bits(DT_FLAGS) & DF_TEXTREL, 0u);
}

TEST(SharedObject, HasItsRelocatedDataWriteProtectedAfterLoading) {
    EXPECT_EQ(segment_flags(PT_GNU_RELRO).size(), 1u);
}

// Without the header the kernel gives the process an executable stack.
TEST(SharedObject, AsksForAStackThatIsNotExecutable) {
    EXPECT_THAT(segment_flags(PT_GNU_STACK), ElementsAre(PF_R | PF_W));
}

TEST(SharedObject, HasNoSegmentThatIsWritableAndExecutable) {
    EXPECT_FALSE(segment_flags(PT_LOAD).empty());
    for (const elf32::segment &segment : library().segments)
        EXPECT_NE(segment.flags & (PF_W | PF_X), std::uint32_t{PF_W | PF_X})
            << "segment type " << segment.type;
}

TEST(SharedObject, KeepsTheClientStateAndTheLogRoutineToItself) {
    for (const auto &[name, symbol] : library().exported)
        for (const char *internal : {"vell_client", "vell_log", "_ZN4vell"})
            EXPECT_EQ(name.find(internal), std::string::npos) << name;
}

} // namespace
