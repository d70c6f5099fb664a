#include "sim/switch/client.h"

#include <gtest/gtest.h>

using sim::client;
using sim::client_state;
using sim::client_table;

namespace {

sim::client_key add_with_free_id(client_table &table) {
    client added;
    added.id = table.free_id().value();
    return table.add(added);
}

} // namespace

TEST(ClientTable, HandsOutTheSmallestFreeId) {
    client_table table;
    EXPECT_EQ(table.free_id(), 1);
    const auto first = add_with_free_id(table);
    const auto second = add_with_free_id(table);
    add_with_free_id(table);
    EXPECT_EQ(table.free_id(), 4);
    table.end(second, client_state::deregistered);
    EXPECT_EQ(table.free_id(), 2);
    table.end(first, client_state::lost);
    EXPECT_EQ(table.free_id(), 1);
}

TEST(ClientTable, RunsOutAfter255Ids) {
    client_table table;
    sim::client_key last = 0;
    for (int i = 0; i < 255; ++i) {
        last = add_with_free_id(table);
    }
    EXPECT_EQ(table.find(last)->id, 255);
    EXPECT_EQ(table.free_id(), std::nullopt);
    table.end(last, client_state::lost);
    EXPECT_EQ(table.free_id(), 255);
}

TEST(ClientTable, TakesAnIdBackOnceOnly) {
    client_table table;
    const auto first = add_with_free_id(table);
    table.end(first, client_state::deregistered);
    const auto second = add_with_free_id(table);
    table.end(first, client_state::lost);
    EXPECT_EQ(table.find(first)->state, client_state::deregistered);
    EXPECT_EQ(table.find(second)->id, 1);
    EXPECT_EQ(table.free_id(), 2);
}

TEST(ClientTable, FreesAnIdOfSeveralHoldersWithTheLastOfThem) {
    client_table table;
    client added;
    added.id = 1;
    const auto first = table.add(added);
    const auto second = table.add(added);
    table.end(first, client_state::lost);
    EXPECT_EQ(table.free_id(), 2);
    table.end(second, client_state::lost);
    EXPECT_EQ(table.free_id(), 1);
}

TEST(ClientTable, RemembersTheLast64WhoAreGone) {
    client_table table;
    const auto staying = add_with_free_id(table);
    const auto first_gone = add_with_free_id(table);
    table.end(first_gone, client_state::lost);
    for (int i = 0; i < 63; ++i) {
        table.end(add_with_free_id(table), client_state::deregistered);
    }
    EXPECT_EQ(table.all().size(), 65u);
    EXPECT_NE(table.find(first_gone), nullptr);
    client rejected;
    rejected.state = client_state::rejected;
    table.add(rejected);
    EXPECT_EQ(table.all().size(), 65u);
    EXPECT_EQ(table.find(first_gone), nullptr);
    EXPECT_NE(table.find(staying), nullptr);
}

TEST(ClientTable, ForgetsByTheOrderOfLeaving) {
    client_table table;
    const auto early = add_with_free_id(table);
    const auto late = add_with_free_id(table);
    table.end(late, client_state::lost);
    table.end(early, client_state::lost);
    for (int i = 0; i < 63; ++i) {
        table.end(add_with_free_id(table), client_state::lost);
    }
    EXPECT_EQ(table.find(late), nullptr);
    EXPECT_NE(table.find(early), nullptr);
}
