// Deltas of random lists, held against a plain model.
#include "ltl_test.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <random>

namespace {

using fake::platform;
using Indexes = std::vector<std::uint32_t>;

// What a delta comes to: its updates, the interfaces looked up in order, and the client log's texts.
struct Outcome {
    Updates updates;
    Indexes looked_up;
    std::vector<std::string> texts;
};

std::string traced(int line, const std::string &text) {
    return "vell_find_oiflist_delta(" + std::to_string(line) + "):" + text;
}

// One step at a time from lists in order: skip, remove, match or add. `old_used_up` is what ends the skipping of SVIs;
// it is noticed when an interface is matched or looked for, not before.
class Model {
public:
    Model(const Oifs &was, const Oifs &is) : was_(was), is_(is) {}

    Outcome run() {
        while (new_ < is_.size())
            step(is_[new_]);
        while (old_ < was_.size())
            remove();
        finish();
        return outcome_;
    }

private:
    void step(const Oif &oif) {
        if (!old_used_up_ && oif.svi)
            skip(oif.if_index);
        else if (old_used_up_)
            look_up_and(oif.if_index, 1);
        else if (old_ == was_.size())
            old_used_up_ = true;
        else if (was_[old_].if_index < oif.if_index)
            remove_and_settle(oif.if_index);
        else if (was_[old_].if_index == oif.if_index)
            match(oif.if_index);
        else
            look_up_and(oif.if_index, 1);
    }

    void skip(std::uint32_t if_index) {
        char text[40];
        std::snprintf(text, sizeof text, "Skipping SVI interface: %x\n", static_cast<unsigned>(if_index));
        outcome_.texts.push_back(traced(1121, text));
        ++new_;
    }

    void remove_and_settle(std::uint32_t if_index) {
        while (old_ < was_.size() && was_[old_].if_index < if_index)
            remove();
        old_used_up_ = old_ == was_.size();
    }

    void remove() { outcome_.updates.push_back({was_[old_++].if_index, 2}); }

    void match(std::uint32_t if_index) {
        outcome_.looked_up.push_back(if_index);
        ++new_;
        old_used_up_ = ++old_ == was_.size();
    }

    void look_up_and(std::uint32_t if_index, std::uint32_t operation) {
        outcome_.looked_up.push_back(if_index);
        outcome_.updates.push_back({if_index, operation});
        ++new_;
    }

    void finish() {
        std::uint32_t mask = 0;
        for (const auto if_index : outcome_.looked_up)
            mask |= 1U << if_index % 32;
        outcome_.texts.push_back(traced(1201, "FLC_BITMASK: " + hex_text(mask) + "\n"));
        outcome_.texts.push_back(traced(1202, "Update list:\n"));
        for (const auto &update : outcome_.updates)
            outcome_.texts.push_back(traced(1206, "IfIdx: " + signed_text(update.if_index) +
                                                      " Op: " + signed_text(update.operation) + "\n"));
    }

    const Oifs &was_;
    const Oifs &is_;
    std::size_t old_ = 0;
    std::size_t new_ = 0;
    bool old_used_up_ = false;
    Outcome outcome_;
};

class RandomDeltaTest : public LtlTest {
protected:
    RandomDeltaTest() {
        platform().history_check.returns(1);
        platform().console_check.returns(0);
    }

    std::uint32_t below(std::uint32_t bound) {
        return std::uniform_int_distribution<std::uint32_t>(0, bound - 1)(random_);
    }

    Oifs list(std::uint32_t most, std::uint32_t indexes, std::uint32_t svi_in_a_hundred, std::uint32_t first) {
        Oifs oifs(below(most + 1));
        for (auto &oif : oifs)
            oif = {first + below(indexes), below(100) < svi_in_a_hundred};
        return oifs;
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

    static void expect_sorted(const Oifs &sorted, Oifs oifs) {
        const auto by_index = [](const Oif &a, const Oif &b) { return a.if_index < b.if_index; };
        const auto whole = [](const Oif &a, const Oif &b) {
            return a.if_index != b.if_index ? a.if_index < b.if_index : a.svi < b.svi;
        };
        EXPECT_TRUE(std::is_sorted(sorted.begin(), sorted.end(), by_index));
        auto again = sorted;
        std::sort(again.begin(), again.end(), whole);
        std::sort(oifs.begin(), oifs.end(), whole);
        EXPECT_TRUE(again == oifs) << "entries were lost, or not moved as a whole";
    }

    // What the library does; the lists are left sorted.
    Outcome compute(Oifs &was, Oifs &is) {
        auto old_entries = entries(was);
        auto new_entries = entries(is);
        std::vector<vell_flood_update> room(4 + was.size() + is.size());
        auto *const delta = reinterpret_cast<vell_flood_delta *>(room.data());
        EXPECT_EQ(vell_find_oiflist_delta(old_entries.data(), static_cast<std::uint32_t>(was.size()),
                                          new_entries.data(), static_cast<std::uint32_t>(is.size()), delta),
                  0);
        expect_sorted(read(old_entries), was);
        expect_sorted(read(new_entries), is);
        was = read(old_entries);
        is = read(new_entries);
        Outcome outcome = taken();
        for (std::uint32_t i = 0; i < delta->update_count; ++i)
            outcome.updates.push_back({room[3 + i].if_index, room[3 + i].operation});
        return outcome;
    }

    static Outcome taken() {
        Outcome outcome;
        for (const auto &call : fake::take_calls()) {
            if (const auto *type = std::get_if<fake::IfIndexType>(&call))
                outcome.looked_up.push_back(type->if_index);
            if (const auto *log = std::get_if<fake::ClientLog>(&call))
                outcome.texts.emplace_back(log->record.begin() + 4, log->record.end() - 1);
        }
        return outcome;
    }

    std::mt19937 random_{20231};
};

TEST_F(RandomDeltaTest, EqualsTheModel) {
    const std::uint32_t svi_shares[] = {0, 10, 50, 100};
    const std::uint32_t firsts[] = {1, 0x7ffffff8, 0xfffffff0};
    for (unsigned round = 0; round < 6000; ++round) {
        SCOPED_TRACE(testing::Message() << "round " << round);
        const auto first = firsts[round % 3];
        auto was = list(1 + round % 12, 1 + round % 15, 30, first);
        auto is = list(1 + round / 12 % 12, 1 + round % 15, svi_shares[round % 4], first);
        if (was.empty() && is.empty())
            continue;
        const auto outcome = compute(was, is);
        const auto expected = Model(was, is).run();
        ASSERT_TRUE(outcome.updates == expected.updates);
        ASSERT_EQ(outcome.looked_up, expected.looked_up);
        ASSERT_EQ(outcome.texts, expected.texts);
    }
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
        auto was = list(60, 90, 30, 1);
        auto is = list(60, 90, 0, 1);
        if (was.empty() && is.empty())
            continue;
        const auto before = sorted_indexes(was);
        const auto now = sorted_indexes(is);
        Indexes expected[2];
        std::set_difference(now.begin(), now.end(), before.begin(), before.end(), std::back_inserter(expected[0]));
        std::set_difference(before.begin(), before.end(), now.begin(), now.end(), std::back_inserter(expected[1]));

        const auto outcome = compute(was, is);
        Indexes changed[2];
        for (const auto &update : outcome.updates)
            changed[update.operation - 1].push_back(update.if_index);
        ASSERT_EQ(changed[0], expected[0]);
        ASSERT_EQ(changed[1], expected[1]);
        ASSERT_EQ(outcome.looked_up, now);
        ASSERT_TRUE(std::is_sorted(outcome.updates.begin(), outcome.updates.end(),
                                   [](const Update &a, const Update &b) { return a.if_index < b.if_index; }));
    }
}

} // namespace
