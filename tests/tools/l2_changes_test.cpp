#include "l2_changes.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace feed {
namespace {

l2_entry entry_of(const char *group, std::vector<l2_port> ports, bool permanent = false,
                  std::uint32_t bridge = 2) {
    l2_entry entry;
    entry.key = {10, *parse_net_address(group), {}};
    entry.bridge = bridge;
    entry.permanent = permanent;
    entry.ports = std::move(ports);
    return entry;
}

// "add 239.1.1.1: 11 12", and what else there is to say of the record.
std::string text_of(const l2_change &change) {
    std::string text =
        fmt::format("{} {}:", change.operation == l2_operation::add ? "add" : "remove",
                    address_text(change.entry.key.group));
    for (const l2_port &port : change.entry.ports)
        text += fmt::format(" {}{}", port.if_index, port.flags == 0 ? "" : "+");
    text += change.entry.permanent ? " permanent" : "";
    return change.entry.bridge == 2 ? text : fmt::format("{} on {}", text, change.entry.bridge);
}

using entries = std::vector<l2_entry>;
using texts = std::vector<std::string>;

texts texts_of(const std::vector<l2_change> &changes) {
    texts result;
    for (const l2_change &change : changes)
        result.push_back(text_of(change));
    return result;
}

texts between(const entries &older, const entries &newer) {
    return texts_of(changes(older, newer));
}

TEST(L2Changes, ADownloadAddsEverythingInOrder) {
    EXPECT_EQ(texts_of(all_added(
                  {entry_of("239.1.1.1", {{11, 0}, {12, 0}}), entry_of("239.1.1.2", {}, true)})),
              (texts{"add 239.1.1.1: 11 12", "add 239.1.1.2: permanent"}));
    EXPECT_TRUE(all_added({}).empty());
}

TEST(L2Changes, WhatIsTheSameIsNotSent) {
    const entries some = {entry_of("239.1.1.1", {{11, 0}}), entry_of("239.1.1.2", {}),
                          entry_of("239.1.1.3", {}, true)};
    EXPECT_EQ(between(some, some), texts{});
}

TEST(L2Changes, PortsThatComeAreAddedAndPortsThatGoRemoved) {
    EXPECT_EQ(
        between({entry_of("239.1.1.1", {{11, 0}})}, {entry_of("239.1.1.1", {{11, 0}, {12, 0}})}),
        texts{"add 239.1.1.1: 12"});
    EXPECT_EQ(
        between({entry_of("239.1.1.1", {{11, 0}, {12, 0}})}, {entry_of("239.1.1.1", {{11, 0}})}),
        texts{"remove 239.1.1.1: 12"});
    EXPECT_EQ(between({entry_of("239.1.1.1", {{11, 0}, {12, 0}})},
                      {entry_of("239.1.1.1", {{12, 0}, {13, 0}})}),
              (texts{"remove 239.1.1.1: 11", "add 239.1.1.1: 13"}));
    // Another kind of port at the same index.
    EXPECT_EQ(between({entry_of("239.1.1.1", {{11, 0}})}, {entry_of("239.1.1.1", {{11, 4}})}),
              (texts{"remove 239.1.1.1: 11", "add 239.1.1.1: 11+"}));
}

TEST(L2Changes, EntriesComeAndGoWithTheirPorts) {
    EXPECT_EQ(between({entry_of("239.1.1.1", {{11, 0}, {12, 4}}, true)},
                      {entry_of("239.1.1.2", {{13, 0}})}),
              (texts{"remove 239.1.1.1: 11 12+ permanent", "add 239.1.1.2: 13"}));
    // One without ports is removed by a record without ports.
    EXPECT_EQ(between({entry_of("239.1.1.1", {})}, {}), texts{"remove 239.1.1.1:"});
    EXPECT_EQ(between({}, {entry_of("239.1.1.1", {})}), texts{"add 239.1.1.1:"});
}

TEST(L2Changes, AnEntryThatLosesItsLastPortAndStaysIsMadeAgain) {
    EXPECT_EQ(between({entry_of("239.1.1.1", {{11, 0}})}, {entry_of("239.1.1.1", {})}),
              (texts{"remove 239.1.1.1: 11", "add 239.1.1.1:"}));
    EXPECT_EQ(between({entry_of("239.1.1.1", {})}, {entry_of("239.1.1.1", {{11, 0}})}),
              texts{"add 239.1.1.1: 11"});
    // With another port it is made again by the record that adds it.
    EXPECT_EQ(between({entry_of("239.1.1.1", {{11, 0}})}, {entry_of("239.1.1.1", {{12, 0}})}),
              (texts{"remove 239.1.1.1: 11", "add 239.1.1.1: 12"}));
}

TEST(L2Changes, AnEntryOfAnotherBridgeOrPermanenceIsMadeAnew) {
    EXPECT_EQ(between({entry_of("239.1.1.1", {{11, 0}, {12, 0}})},
                      {entry_of("239.1.1.1", {{11, 0}}, true)}),
              (texts{"remove 239.1.1.1: 11 12", "add 239.1.1.1: 11 permanent"}));
    EXPECT_EQ(
        between({entry_of("239.1.1.1", {{11, 0}})}, {entry_of("239.1.1.1", {{11, 0}}, false, 3)}),
        (texts{"remove 239.1.1.1: 11", "add 239.1.1.1: 11 on 3"}));
    EXPECT_EQ(between({entry_of("239.1.1.1", {}, true)}, {entry_of("239.1.1.1", {})}),
              (texts{"remove 239.1.1.1: permanent", "add 239.1.1.1:"}));
}

TEST(L2Changes, RemovalsGoFirstEachInTheOrderOfTheKeys) {
    const entries older = {entry_of("239.1.1.1", {{11, 0}}),
                           entry_of("239.1.1.2", {{11, 0}, {12, 0}}),
                           entry_of("239.1.1.3", {{11, 0}})};
    const entries newer = {entry_of("239.1.1.0", {{11, 0}}), entry_of("239.1.1.2", {{12, 0}}),
                           entry_of("239.1.1.3", {{11, 0}, {12, 0}}),
                           entry_of("239.1.1.4", {{11, 0}})};
    EXPECT_EQ(between(older, newer),
              (texts{"remove 239.1.1.1: 11", "remove 239.1.1.2: 11", "add 239.1.1.0: 11",
                     "add 239.1.1.3: 12", "add 239.1.1.4: 11"}));
}

TEST(L2Changes, TheSourceAndTheVlanAreOfTheKey) {
    l2_entry plain = entry_of("239.1.1.1", {{11, 0}});
    l2_entry sourced = plain;
    sourced.key.source = parse_ip("10.0.0.9");
    l2_entry elsewhere = plain;
    elsewhere.key.vlan = 11;
    EXPECT_EQ(changes({plain}, {sourced}).size(), 2u);
    EXPECT_EQ(changes({plain}, {elsewhere}).size(), 2u);
}

} // namespace
} // namespace feed
