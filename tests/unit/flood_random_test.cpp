// Flood updates of random batches, held against a plain model.
#include "flood_batch.h"
#include "oif_delta_model.h"

#include <algorithm>

namespace {

using fake::platform;

class RandomBatchTest : public FloodRequestTest {
protected:
    RandomBatchTest() {
        platform().history_check.returns(1);
        platform().console_check.returns(0);
    }

    struct Batch {
        Vlans was;
        Vlans is;
    };

    Batch batch() {
        Batch batch;
        for (auto vlans = random_.below(8); vlans != 0; --vlans) {
            const auto id = random_.below(4096);
            const auto indexes = 1 + random_.below(12);
            batch.was.push_back({id, random_.list(5, indexes, 30, 1)});
            batch.is.push_back({id, random_.list(5, indexes, 20, 1)});
        }
        return batch;
    }

    // The VLANs of a message in the order that the library left their interfaces in.
    static Vlans read(const bytes &message, Vlans vlans) {
        std::size_t at = 8 + 74;
        for (auto &vlan : vlans) {
            for (auto &oif : vlan.oifs) {
                oif = {message.at(at + 16), (message.at(at + 4) & 4) != 0};
                at += 32;
            }
            at += 80;
        }
        return vlans;
    }

    // A message after the library was at work: its first VLANs are sorted, and nothing else is
    // different.
    static void expect_message(const bytes &message, const Vlans &after, const Vlans &before,
                               std::size_t sorted) {
        EXPECT_EQ(message, message_of(after));
        for (std::size_t i = 0; i < before.size(); ++i) {
            if (i < sorted)
                expect_sorted(after[i].oifs, before[i].oifs);
            else
                EXPECT_EQ(after[i].oifs, before[i].oifs);
        }
    }

    // What comes of a batch in order, up to the VLAN of the lookup that fails.
    struct Expected {
        Outcome outcome;
        std::size_t vlans = 0;
    };

    static Expected model_of_batch(const Batch &batch, Lookups lookups) {
        const auto count = static_cast<std::uint32_t>(batch.was.size());
        Expected all = {{.delta = word(count),
                         .texts = {sender + "(1304):Num of msgs " + signed_text(count) + "\n"}}};
        while (all.vlans < count && all.outcome.result == 0) {
            const auto &was = batch.was[all.vlans];
            const auto &is = batch.is[all.vlans++];
            const auto room = 24 + 8 * (was.oifs.size() + is.oifs.size());
            const auto vlan = model_of(was.oifs, is.oifs, zero_padded(word(was.id), room), lookups);
            all.outcome.texts.push_back("vell_build_nerb_flood_ltl_pyld(1244):Delta for vlan " +
                                        signed_text(was.id) + "\n");
            add(all.outcome, vlan);
            // The next VLAN's lookups are counted from 1 again, and none fails there when one would
            // have by now.
            lookups.failing -= std::min(lookups.failing, vlan.looked_up.size());
        }
        return all;
    }

    // A VLAN's part: of its delta what its updates took.
    static void add(Outcome &all, const Outcome &vlan) {
        all.result = vlan.result;
        all.delta =
            std::move(all.delta) + part(vlan.delta, 0, 24 + std::size_t{8} * vlan.delta[20]);
        all.looked_up.insert(all.looked_up.end(), vlan.looked_up.begin(), vlan.looked_up.end());
        all.texts.insert(all.texts.end(), vlan.texts.begin(), vlan.texts.end());
    }

    // Returns whether it was sent.
    bool expect_model(const Batch &batch, const Lookups &lookups) {
        lookups.apply();
        const auto result = send(batch.was, batch.is);
        const auto outcome = take_outcome();
        const Batch after = {read(was_, batch.was), read(is_, batch.is)};
        auto [expected, vlans] = model_of_batch(after, lookups);
        if (expected.result != 0) {
            expected.delta = {};
            expected.texts.push_back(sender +
                                     "(1361):ERROR: Building NERB request payload failed 0x62\n");
        }
        EXPECT_EQ(result, expected.result == 0 ? 1U : 0U);
        EXPECT_EQ(outcome.delta, expected.delta);
        EXPECT_EQ(outcome.looked_up, expected.looked_up);
        EXPECT_EQ(outcome.texts, expected.texts);
        expect_message(was_, after.was, batch.was, vlans);
        expect_message(is_, after.is, batch.is, vlans);
        EXPECT_EQ(allocations_.unreleased(), 0U);
        return result != 0;
    }

    static inline const std::string sender = "vell_send_l2_mc_update_flood_ltl";
    RandomOifs random_{20232};
};

TEST_F(RandomBatchTest, EqualsTheModel) {
    unsigned sent = 0;
    constexpr unsigned rounds = 2000;
    for (unsigned round = 0; round < rounds && !HasFailure(); ++round) {
        SCOPED_TRACE(testing::Message() << "round " << round);
        sent += expect_model(batch(), random_.lookups(20));
    }
    EXPECT_GT(sent, rounds / 4);
    EXPECT_LT(sent, rounds * 7 / 8) << "some lookups must fail";
}

} // namespace
