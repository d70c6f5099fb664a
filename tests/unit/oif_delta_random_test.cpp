// Deltas of random lists, held against a plain model.
#include "l2_message.h"
#include "oif_delta_model.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <set>

namespace {

using fake::platform;
using Indexes = std::vector<std::uint32_t>;

class RandomDeltaTest : public LtlTest {
protected:
    RandomDeltaTest() {
        platform().history_check.returns(1);
        platform().console_check.returns(0);
    }

    // The entries in the order that the library left them in.
    static Oifs read(const std::vector<vell_l2_oif> &entries) {
        Oifs oifs;
        for (const auto &entry : entries)
            oifs.push_back({entry.value.if_index, (entry.flags & 4) != 0});
        return oifs;
    }

    static std::vector<vell_l2_oif> entries(const Oifs &oifs) {
        std::vector<vell_l2_oif> result(oifs.size());
        for (std::size_t i = 0; i < oifs.size(); ++i) {
            result[i].flags = oifs[i].svi ? 4 : 0xfffffffb;
            result[i].value.if_index = oifs[i].if_index;
        }
        return result;
    }

    // A head of other bytes, the bitmask among them, and room for the updates.
    static bytes fresh(const Oifs &was, const Oifs &is) {
        return pattern(24 + 8 * (was.size() + is.size()));
    }

    // What the library does, from a delta before a guard; the lists are left sorted.
    static Outcome compute(Oifs &was, Oifs &is, std::size_t distance = 0) {
        auto old_entries = entries(was);
        auto new_entries = entries(is);
        GuardedBuffer delta(fresh(was, is), GuardedBuffer::Side::back, distance);
        const auto result =
            vell_find_oiflist_delta(old_entries.data(), static_cast<std::uint32_t>(was.size()),
                                    new_entries.data(), static_cast<std::uint32_t>(is.size()),
                                    reinterpret_cast<vell_flood_delta *>(delta.data()));
        EXPECT_TRUE(delta.surroundings_untouched());
        expect_sorted(read(old_entries), was);
        expect_sorted(read(new_entries), is);
        was = read(old_entries);
        is = read(new_entries);
        auto outcome = take_outcome();
        outcome.result = static_cast<std::uint32_t>(result);
        outcome.delta = delta.content();
        return outcome;
    }

    void expect_model(Oifs was, Oifs is, const Lookups &lookups, std::size_t distance) {
        lookups.apply();
        const auto outcome = compute(was, is, distance);
        const auto expected = model_of(was, is, fresh(was, is), lookups);
        EXPECT_EQ(outcome.result, expected.result);
        EXPECT_EQ(outcome.delta, expected.delta);
        EXPECT_EQ(outcome.looked_up, expected.looked_up);
        EXPECT_EQ(outcome.texts, expected.texts);
        if (expected.result != 0)
            failures_seen_.insert(expected.texts.end()[-2].substr(0, 26) +
                                  expected.texts.back().substr(0, 29));
    }

    static Updates updates_in(const bytes &delta) {
        vell_flood_delta head;
        std::memcpy(&head, delta.data(), sizeof head);
        Updates updates(head.update_count);
        for (std::size_t i = 0; i < updates.size(); ++i)
            std::memcpy(&updates[i], delta.data() + sizeof head + 8 * i, sizeof updates[i]);
        return updates;
    }

    RandomOifs random_{20231};
    std::set<std::string> failures_seen_; // both functions and lines
};

TEST_F(RandomDeltaTest, EqualsTheModel) {
    const std::uint32_t svi_shares[] = {0, 10, 50, 100};
    const std::uint32_t firsts[] = {1, 0x7ffffff8, 0xfffffff0};
    for (unsigned round = 0; round < 6000 && !HasFailure(); ++round) {
        SCOPED_TRACE(testing::Message() << "round " << round);
        const auto first = firsts[round % 3];
        const auto was = random_.list(1 + round % 12, 1 + round % 15, 30, first);
        const auto is =
            random_.list(1 + round / 12 % 12, 1 + round % 15, svi_shares[round % 4], first);
        expect_model(was, is, random_.lookups(12), round % 4);
    }
    EXPECT_EQ(failures_seen_.size(), 6U)
        << "by type and by fields, kept, added and behind the old ones";
}

// Without SVIs a delta is the difference of two multisets, whatever the merge looks like.
TEST_F(RandomDeltaTest, WithoutSvisIsTheDifference) {
    const auto sorted_indexes = [](const Oifs &oifs) {
        Indexes indexes;
        for (const auto &oif : oifs)
            indexes.push_back(oif.if_index);
        std::sort(indexes.begin(), indexes.end());
        return indexes;
    };
    for (unsigned round = 0; round < 1500; ++round) {
        SCOPED_TRACE(testing::Message() << "round " << round);
        auto was = random_.list(60, 90, 30, 1);
        auto is = random_.list(60, 90, 0, 1);
        if (was.empty() && is.empty())
            continue;
        const auto before = sorted_indexes(was);
        const auto now = sorted_indexes(is);
        Indexes expected[2];
        std::set_difference(now.begin(), now.end(), before.begin(), before.end(),
                            std::back_inserter(expected[0]));
        std::set_difference(before.begin(), before.end(), now.begin(), now.end(),
                            std::back_inserter(expected[1]));

        const auto outcome = compute(was, is);
        Indexes changed[2];
        const auto updates = updates_in(outcome.delta);
        for (const auto &update : updates)
            changed[update.operation - 1].push_back(update.if_index);
        ASSERT_EQ(changed[0], expected[0]);
        ASSERT_EQ(changed[1], expected[1]);
        ASSERT_EQ(outcome.looked_up, now);
        ASSERT_TRUE(
            std::is_sorted(updates.begin(), updates.end(), [](const Update &a, const Update &b) {
                return a.if_index < b.if_index;
            }));
    }
}

} // namespace
