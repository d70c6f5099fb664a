// The tables, lists and examples of vell-wire(5) agree with the library and its header.
#include "tests/man/wire_cases.h"
#include "tests/man/wire_page.h"
#include "tests/unit/library_test.h"

#include <kyt.h>
#include <vell.h>

#include <fstream>
#include <gmock/gmock.h>
#include <regex>
#include <set>
#include <sstream>
#include <tuple>

namespace wire {

namespace {

TEST(WirePageTest, ListsTheRequestsToTheService) {
    std::set<std::string> listed;
    for (const Case &one : all_cases()) {
        if (!page().service_requests.contains(one.section)) {
            continue;
        }
        SCOPED_TRACE(one.section);
        listed.insert(one.section);
        const ServiceRequest &request = page().service_requests.at(one.section);
        run(one, 1);
        EXPECT_EQ(request.function, one.function);
        std::vector<std::uint32_t> options(KYT_SEND_OPTION_WORDS);
        options[0] = 1;
        options[1] = request.option_word1;
        for (const fake::Call &call : fake::take_calls()) {
            if (const auto *send = std::get_if<fake::Send>(&call)) {
                EXPECT_EQ(send->node, 0xfe000000U);
                EXPECT_EQ(send->flags, 0U);
                EXPECT_EQ(send->sap, request.sap);
                EXPECT_EQ(send->opcode, request.opcode);
                EXPECT_EQ(send->options, options);
            }
        }
    }
    EXPECT_EQ(listed.size(), page().service_requests.size());
}

// The rows of the library's own table, by the names that stand for its numbers.
TEST(WirePageTest, ListsEveryRequestOfTheLibrarysTable) {
    std::ifstream in(VELL_SOURCE_DIR "/src/client/transport.h");
    std::ostringstream text;
    text << in.rdbuf();
    const std::string source = text.str();
    std::map<std::string, std::uint32_t> numbers;
    const auto each = [&source](const char *pattern, auto use) {
        const std::regex regex(pattern);
        for (std::sregex_iterator at(source.begin(), source.end(), regex), end; at != end; ++at) {
            use(*at);
        }
    };
    const auto number = [&numbers](const std::string &word) {
        return numbers.contains(word) ? numbers.at(word)
                                      : static_cast<std::uint32_t>(std::stoul(word));
    };
    each(R"(constexpr std::uint32_t (\w+) = (\d+);)",
         [&](const std::smatch &match) { numbers[match[1]] = number(match[2]); });
    using Row = std::tuple<std::uint32_t, std::uint32_t, std::uint32_t>;
    std::multiset<Row> library, listed;
    each(R"(service_request \w+ = \{(\w+),\s*(\w+),\s*(\w+)\};)", [&](const std::smatch &match) {
        library.insert({number(match[1]), number(match[2]), number(match[3])});
    });
    for (const auto &[section, request] : page().service_requests) {
        listed.insert({request.sap, request.opcode, request.option_word1});
    }
    EXPECT_GE(library.size(), 15U);
    EXPECT_EQ(listed, library);
}

TEST(WirePageTest, ListsTheRequestsToTheManager) {
    std::set<std::string> listed;
    for (const Case &one : manager_cases) {
        if (one.function == nullptr) {
            continue;
        }
        SCOPED_TRACE(one.section);
        ASSERT_TRUE(page().manager_requests.contains(one.section));
        listed.insert(one.section);
        const ManagerRequest &request = page().manager_requests.at(one.section);
        EXPECT_EQ(request.function, one.function);
        run(one, 1);
        std::set<std::string> called;
        for (const fake::Call &call : fake::take_calls()) {
            const std::string function = fake::describe(call).function;
            if (function.starts_with("nerb_")) {
                called.insert(function);
            }
        }
        EXPECT_EQ(called, std::set<std::string>{request.platform_function});
    }
    EXPECT_EQ(listed.size(), page().manager_requests.size());
}

TEST(WirePageTest, SaysInWhichOrderMarkersAndMessageAreSent) {
    reset_library();
    set_client_state({.id = client_id, .queue = 7, .uuid = 502});
    bytes message = {0, 0, 0, 0, 0, 0, vell_l2_begin_marker | vell_l2_end_marker, 0};
    send_l2_message(message, 0, 0);
    std::vector<std::string> sent;
    for (const fake::Call &call : fake::take_calls()) {
        const auto *send = std::get_if<fake::Send>(&call);
        for (const auto &[section, request] : page().service_requests) {
            if (send != nullptr && send->opcode == request.opcode) {
                const bool is_marker = section == "Out-of-band marker";
                sent.push_back(section + (is_marker
                                              ? ", with marker " + std::to_string(send->payload[0])
                                              : ""));
            }
        }
    }
    EXPECT_EQ(sent, page().messages_of_one_call);
}

TEST(WirePageTest, ListsTheFlagsOfRoutes) {
#define WITH_TESTER(bit, setter, tester) {bit, vell_mrib_flag_##setter, #setter},
#define WITHOUT_TESTER(bit, setter) {bit, vell_mrib_flag_##setter, #setter},
    const std::vector<Flag> flags = {VELL_MRIB_FLAG_TABLE(WITH_TESTER, WITHOUT_TESTER)};
#undef WITH_TESTER
#undef WITHOUT_TESTER
    EXPECT_TRUE(page().flags == flags);
}

TEST(WirePageTest, NamesValuesAsTheHeaderDoes) {
    const auto shown = [](const char *section, const char *name, const auto &...parts) {
        std::ostringstream expected;
        (expected << ... << parts);
        EXPECT_THAT(field(section, name).contents, testing::HasSubstr(expected.str()));
    };
#define KIND(value, name) ", " #value " " #name
    EXPECT_EQ(", " + field("OIF entry", "kind").contents, VELL_OIF_KIND_TABLE(KIND));
#undef KIND
#define ROLE(value, name) "dux_" #name " for " #value,
    for (const char *role : {VELL_DUX_ROLE_TABLE(ROLE)}) {
        shown("Dux role update", "flags", role);
    }
#undef ROLE
    shown("Layer-2 message", "flags", "0x000", vell_l2_begin_marker, " begin marker before, 0x000",
          vell_l2_end_marker, " end marker after");
    shown("Address block", "address family", vell_l2_address_mac, " MAC, ", vell_l2_address_ipv4,
          " IPv4, ", vell_l2_address_ipv6, " IPv6");
    shown("Layer-2 OIF entry", "kind", vell_l2_oif_plain, " nothing, ", vell_l2_oif_ipv6,
          " an IPv6 address, ", vell_l2_oif_if_index, " an interface index");
    shown("Layer-2 OIF entry", "flags", "0x0", VELL_L2_OIF_SVI, ": ");
    shown("Flood update of an interface", "operation", vell_flood_added, " added, ",
          vell_flood_removed, " removed");
}

TEST(WirePageTest, DecodesAMessageOfTheLibrary) {
    reset_library();
    set_client_state({.id = 1, .queue = 7, .uuid = 502});
    bytes message(256);
    auto *route = reinterpret_cast<vell_mrib_route *>(message.data() + sizeof(vell_mrib_message));
    vell_mrib_set_opcode(route, 1);
    vell_mrib_set_flags_download(route);
    vell_mrib_set_source(route, 0x0a000009, 32);
    vell_mrib_set_group(route, 0xef010101, 32);
    vell_mrib_set_epoch(route, 3);
    vell_mrib_set_rpfif(route, 0x68030200);
    vell_mrib_set_table_id(route, 1);
    vell_mrib_add_oifs_begin();
    vell_mrib_add_reg_oif(0x68030700);
    vell_mrib_add_vprime_oif(0x1400000a);
    vell_mrib_add_oifs_end(route);
    kyt_msg_ref reference;
    vell_send_v4_mroute_update(message.data(),
                               sizeof(vell_mrib_message) + vell_mrib_get_route_size(route), 1, 7,
                               &reference);
    EXPECT_EQ(page().dump, sent_payload());
    EXPECT_EQ(page().decoded, page().dump);
}

} // namespace

} // namespace wire
