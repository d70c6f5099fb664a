// The simulator's libraries export what their headers declare, and nothing else.
#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

using names = std::set<std::string>;

std::string contents(const std::string &path) {
    std::ifstream file(path);
    EXPECT_TRUE(file) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

// The functions and objects that C headers declare: what precedes a "(" or a "[];" outside of
// comments.
names declared_in(const std::vector<std::string> &headers) {
    const std::regex comment(R"(/\*[^]*?\*/)");
    const std::regex declaration(R"(^[a-z][a-z0-9_ *]*[ *]([a-z0-9_]+)(\(|\[\];))",
                                 std::regex::multiline);
    names result;
    for (const std::string &header : headers) {
        const std::string code = std::regex_replace(contents(header), comment, "");
        for (std::sregex_iterator match(code.begin(), code.end(), declaration), end; match != end;
             ++match)
            result.insert((*match)[1]);
    }
    return result;
}

names exported_by(const std::string &library) {
    const std::string command =
        std::string(NM) + " -D --defined-only --format=posix '" + library + "'";
    const std::unique_ptr<FILE, int (*)(FILE *)> pipe(popen(command.c_str(), "r"), pclose);
    names result;
    char line[512];
    while (pipe && std::fgets(line, sizeof line, pipe.get()) != nullptr) {
        std::string name;
        std::istringstream(line) >> name;
        result.insert(name);
    }
    return result;
}

TEST(Exports, OfLibkytAreItsInterface) {
    const names interface =
        declared_in({PLATFORM_DIR "/kyt.h", KYT_DIR "/kyt_sim.h", WIRE_DIR "/vell_sim.h"});
    EXPECT_TRUE(interface.contains("kyt_send") && interface.contains("kyt_sim_run_dir") &&
                interface.contains("vell_sim_stats_answer"));
    EXPECT_EQ(exported_by(LIBKYT), interface);
}

TEST(Exports, OfLibtlvAreItsInterface) {
    const names interface = declared_in({PLATFORM_DIR "/tlv.h"});
    EXPECT_EQ(interface.size(), 4u);
    EXPECT_EQ(exported_by(LIBTLV), interface);
}

TEST(Exports, OfLibqarnutilsAreItsInterface) {
    const names interface =
        declared_in({PLATFORM_DIR "/qarnutils.h", QARNUTILS_DIR "/qarnutils_sim.h"});
    EXPECT_EQ(interface.size(), 5u);
    EXPECT_EQ(exported_by(LIBQARNUTILS), interface);
}

TEST(Exports, OfLibnerbAreItsInterface) {
    const names interface = declared_in({PLATFORM_DIR "/nerb.h", NERB_DIR "/nerb_sim.h"});
    EXPECT_EQ(interface.size(), 12u);
    EXPECT_EQ(exported_by(LIBNERB), interface);
}

TEST(Exports, OfLibtesselAreItsInterface) {
    const names interface = declared_in({PLATFORM_DIR "/tessel.h"});
    EXPECT_TRUE(interface.contains("tessel_dbg_modname") && interface.contains("debug_print"));
    EXPECT_EQ(exported_by(LIBTESSEL), interface);
}

} // namespace
