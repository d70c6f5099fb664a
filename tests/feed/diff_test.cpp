// The one walk between tables, of which sending, comparing and repairing are uses.
#include "feed/diff.h"
#include "tests/feed/random_state.h"

#include <gtest/gtest.h>

using namespace feed;

namespace {

// Adopts every difference, and says of how many rows it was.
template <typename Row>
std::size_t follow(table<Row> &installed, const table<Row> &wanted) {
    const table<Row> before = installed;
    const std::vector<change<Row>> changes = diff(before, wanted);
    for (const change<Row> &one : changes) {
        adopt(installed, one);
    }
    return changes.size();
}

} // namespace

TEST(Diff, AdoptedGivesTheWantedTableWhateverTheTables) {
    for (unsigned seed = 0; seed < 5000; ++seed) {
        state installed = random_state(seed);
        const state wanted = random_state(seed + 1);
        follow(installed.routes, wanted.routes);
        follow(installed.groups, wanted.groups);
        follow(installed.floods, wanted.floods);
        follow(installed.ltls, wanted.ltls);
        ASSERT_EQ(installed, wanted) << seed;
    }
}

TEST(Diff, NamesOnlyTheRowsThatDiffer) {
    table<flood_set> installed = {{{1}, {{10}, 0}}, {{2}, {{20}, 0}}, {{3}, {{30}, 0}}};
    const table<flood_set> wanted = {{{2}, {{20}, 0}}, {{3}, {{30, 31}, 0}}, {{4}, {{}, 0}}};
    const std::vector<change<flood_set>> changes = diff(installed, wanted);
    ASSERT_EQ(changes.size(), 3u);
    EXPECT_EQ(*changes[0].key, (flood_key{1}));
    EXPECT_EQ(changes[0].after, nullptr);
    EXPECT_EQ(*changes[1].key, (flood_key{3}));
    EXPECT_EQ(*changes[1].before, (flood_set{{30}, 0}));
    EXPECT_EQ(*changes[1].after, (flood_set{{30, 31}, 0}));
    EXPECT_EQ(*changes[2].key, (flood_key{4}));
    EXPECT_EQ(changes[2].before, nullptr);
    EXPECT_EQ(follow(installed, wanted), 3u);
    EXPECT_EQ(follow(installed, wanted), 0u);
}

TEST(Diff, ComparesAnLtlByItsInterfacesAlone) {
    const table<ltl> installed = {{{10, 7}, {{1, 2}, 0x4000}}};
    EXPECT_TRUE(diff(installed, {{{10, 7}, {{1, 2}, 0}}}).empty());
    EXPECT_EQ(diff(installed, {{{10, 7}, {{1}, 0x4000}}}).size(), 1u);
}
