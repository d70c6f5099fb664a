#include "ltl_book.h"
#include "tests/tools/error_of.h"
#include "tests/tools/program_fixture.h"

#include <fmt/format.h>

namespace feed {
namespace {

using opcodes = std::vector<std::uint32_t>;
using texts = std::vector<std::string>;

constexpr std::uint32_t port1 = 0x68010100;
constexpr std::uint32_t port2 = 0x68010200;

l2_entry entry_of(std::uint32_t vlan, std::uint32_t group, std::vector<std::uint32_t> ports) {
    l2_entry entry;
    entry.entry = 4;
    entry.key = {vlan, ipv4_address(group), std::nullopt};
    for (const std::uint32_t port : ports)
        entry.ports.push_back({port, 0});
    return entry;
}

// "0x4000 VLAN 10 tag 1: 68010100", of each.
texts rows_of(const std::vector<ltl> &ltls) {
    texts rows;
    for (const ltl &one : ltls) {
        rows.push_back(fmt::format("{:#x} VLAN {} tag {}:", one.key.index, one.vlan, one.tag));
        for (const std::uint32_t port : one.interfaces)
            rows.back() += fmt::format(" {:x}", port);
    }
    return rows;
}

class ABook : public program_fixture {
protected:
    void answer(std::initializer_list<std::uint32_t> words, std::uint32_t opcode) {
        simulator.answers.emplace_back(fake_answer(word_bytes(words), opcode));
    }
    // Of one entry, for the cookie-th request of the session.
    void allocated(std::uint32_t cookie, std::uint32_t tag, std::uint32_t index,
                   std::uint32_t interfaces) {
        answer({of_allocation, 0, cookie, 1, tag, index, interfaces, 0}, ltl_allocation);
    }

    ltl_book book;
};

TEST_F(ABook, FollowsWhatComesChangesAndGoes) {
    allocated(1, 1, 0x4000, 1);
    allocated(2, 2, 0x4001, 2);
    answer({of_release, 0, 3, 1, 0x4000, 1, 0, 0}, ltl_release);
    answer({of_modification, 0, 4, 1, 0x4001, 2, 1, 0}, ltl_modification);
    allocated(5, 3, 0x4000, 0);
    client_session client({});
    book.follow(client,
                {entry_of(10, 0xef010101, {port1}), entry_of(10, 0xef010102, {port1, port2})});
    EXPECT_EQ(rows_of(book.all()),
              (texts{"0x4000 VLAN 10 tag 1: 68010100", "0x4001 VLAN 10 tag 2: 68010100 68010200"}));
    book.follow(client, {entry_of(10, 0xef010102, {port2}), entry_of(20, 0xef010103, {})});
    EXPECT_EQ(rows_of(book.all()),
              (texts{"0x4001 VLAN 10 tag 2: 68010200", "0x4000 VLAN 20 tag 3:"}));
    ASSERT_EQ(sent_opcodes(), (opcodes{registration, ltl_allocation, ltl_allocation, ltl_release,
                                       ltl_modification, ltl_allocation}));
    EXPECT_EQ(simulator.requests[2].payload, word_bytes({2, 1, 10, 2, 2, port1, port2}));
    EXPECT_EQ(simulator.requests[3].payload, word_bytes({3, 1, 0x4000, 1, 0}));
    EXPECT_EQ(simulator.requests[4].payload, word_bytes({4, 1, 0x4001, 2, 1, port2}));
    EXPECT_EQ(simulator.requests[5].payload, word_bytes({5, 1, 20, 3, 0}));
    EXPECT_EQ(book.allocated(), 3u);
    EXPECT_EQ(book.changed(), 1u);
    EXPECT_EQ(book.released(), 1u);
    EXPECT_EQ(book.requests(), 5u);
    EXPECT_TRUE(book.refusals().empty());
}

TEST_F(ABook, SendsNothingForWhatStays) {
    allocated(1, 1, 0x4000, 1);
    client_session client({});
    const std::vector<l2_entry> entries = {entry_of(10, 0xef010101, {port1})};
    book.follow(client, entries);
    book.follow(client, entries);
    EXPECT_EQ(sent_opcodes(), (opcodes{registration, ltl_allocation}));
}

TEST_F(ABook, TakesNoSecondAnswerForAnotherRequest) {
    for (int copy = 0; copy < 2; ++copy)
        allocated(1, 1, 0x4000, 1);
    for (int copy = 0; copy < 2; ++copy)
        allocated(2, 2, 0x4001, 1);
    allocated(3, 3, 0x4002, 1);
    client_session client({});
    book.follow(client, {entry_of(10, 0xef010101, {port1}), entry_of(10, 0xef010102, {port1}),
                         entry_of(10, 0xef010103, {port1})});
    EXPECT_EQ(rows_of(book.all()),
              (texts{"0x4000 VLAN 10 tag 1: 68010100", "0x4001 VLAN 10 tag 2: 68010100",
                     "0x4002 VLAN 10 tag 3: 68010100"}));
}

TEST_F(ABook, GoesOnWhereSomethingIsRefused) {
    allocated(1, 1, 0x4000, 1);
    answer({of_allocation, 3, 2, 1, 2, 0, 0, 3}, ltl_allocation);
    answer({of_release, 4, 3, 1, 0x4000, 1, 0, 4}, ltl_release);
    client_session client({});
    book.follow(client, {entry_of(10, 0xef010101, {port1}), entry_of(20, 0xef010102, {port1})});
    book.follow(client, {});
    EXPECT_EQ(book.refusals(), (texts{"the LTL manager refused the LTL allocation for VLAN 20 with "
                                      "tag 2: the pool is exhausted (status 3)",
                                      "the LTL manager refused the LTL release of LTL 0x4000 with "
                                      "tag 1: the tag does not match (status "
                                      "4)"}));
    EXPECT_EQ(rows_of(book.all()), (texts{"0x4000 VLAN 10 tag 1: 68010100"})) << "it is still held";
    EXPECT_EQ(book.requests(), 3u);
}

TEST_F(ABook, KeepsTheInterfacesWhoseChangeWasRefused) {
    allocated(1, 1, 0x4000, 1);
    answer({of_modification, 2, 2, 1, 0x4000, 1, 0, 2}, ltl_modification);
    client_session client({});
    book.follow(client, {entry_of(10, 0xef010101, {port1})});
    book.follow(client, {entry_of(10, 0xef010101, {port2})});
    EXPECT_EQ(rows_of(book.all()), (texts{"0x4000 VLAN 10 tag 1: 68010100"}));
    EXPECT_EQ(book.changed(), 0u);
    EXPECT_EQ(book.refusals().size(), 1u);
}

TEST_F(ABook, EndsWhenNoAnswerComes) {
    client_session client({});
    EXPECT_THROW(book.follow(client, {entry_of(10, 0xef010101, {port1})}), session_error);
    EXPECT_TRUE(book.all().empty());
}

ltl held_ltl() {
    return {.entry = 3, .key = {0x4000}, .vlan = 10, .tag = 7, .interfaces = {port1, port2}};
}

TEST(HeldLtls, AreReadFromWhatVellsimShows) {
    const auto ltls = parse_held_ltls(
        {"held.json", R"({"ltl":[{"index":16384,"vlan":10,"tag":4294967295,"client":1,
        "pid":7,"interfaces":[{"if_index":1744896512},{"if_index":1744896256}]}],"pool":{}})"});
    EXPECT_EQ(rows_of(ltls), (texts{"0x4000 VLAN 10 tag 4294967295: 68010100 68010200"}));
}

TEST(HeldLtls, ThatAreSomethingElseAreRefused) {
    const auto error = [](const char *text) {
        return error_of([&] { parse_held_ltls({"held.json", text}); });
    };
    EXPECT_EQ(error(R"({"flood":[]})"),
              "held.json: expected a member \"ltl\" (the held LTL indexes), found only \"flood\"");
    EXPECT_EQ(error(R"({"ltl":[{"index":1,"vlan":0}]})"),
              "held.json: /ltl/0/vlan: expected a VLAN id from 1 to 4094, found the number 0");
    EXPECT_EQ(error(R"({"ltl":[],"matched":3})"),
              "held.json: these are 0 of 3 LTL indexes: print them without --limit");
    EXPECT_EQ(error(R"({"ltl":[],"narrowed":true})"),
              "held.json: these are some of the LTL indexes only: print them without the options "
              "that narrow them");
    EXPECT_EQ(
        error(
            R"({"ltl":[{"index":1,"vlan":1,"tag":1,"interfaces":[]},{"index":1,"vlan":2,"tag":1,"interfaces":[]}]})"),
        "held.json: /ltl/1: LTL 0x1 stands twice");
}

TEST(ComparedLtls, AgreeWhenEveryFieldDoes) {
    EXPECT_TRUE(compare_ltls({held_ltl()}, {held_ltl()}).equal());
    EXPECT_TRUE(compare_ltls({}, {}).equal());
}

TEST(ComparedLtls, DifferByEachField) {
    ltl vlan = held_ltl();
    vlan.vlan = 11;
    ltl tag = held_ltl();
    tag.tag = 8;
    ltl interfaces = held_ltl();
    interfaces.interfaces = {port1};
    EXPECT_EQ(compare_ltls({held_ltl()}, {vlan}).lines,
              (texts{"LTL 0x4000: VLAN: fed 10, held 11"}));
    EXPECT_EQ(compare_ltls({held_ltl()}, {tag}).lines, (texts{"LTL 0x4000: tag: fed 7, held 8"}));
    EXPECT_EQ(compare_ltls({held_ltl()}, {interfaces}).lines,
              (texts{"LTL 0x4000: interfaces: fed Eth1/1 Eth1/2, held Eth1/1"}));
}

TEST(ComparedLtls, MayBeMissingOrUnexpected) {
    const comparison missing = compare_ltls({held_ltl()}, {});
    EXPECT_FALSE(missing.equal());
    EXPECT_EQ(missing.lines, (texts{"LTL 0x4000: missing: fed from entry 4, not held"}));
    EXPECT_EQ(compare_ltls({}, {held_ltl()}).lines,
              (texts{"LTL 0x4000: unexpected: held, not fed"}));
}

} // namespace
} // namespace feed
