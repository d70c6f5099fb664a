#include "oif_delta_model.h"

#include <algorithm>
#include <cstdio>

using fake::platform;

bool Lookups::ethernet(std::uint32_t if_index) const {
    return mix == 0 || (if_index ^ mix) % 3 != 0;
}

void Lookups::apply() const {
    platform().if_index_type.returns(0);
    platform().if_index_fields.returns(0);
    platform().interfaces.type = [lookups = *this,
                                  asked = std::size_t{0}](std::uint32_t if_index) mutable {
        auto &behaviour =
            lookups.fields_fail ? platform().if_index_fields : platform().if_index_type;
        behaviour.returns(++asked == lookups.failing ? status : 0);
        return static_cast<std::uint8_t>(lookups.ethernet(if_index) ? 26 : 9);
    };
}

namespace {

std::string logged_text(int line, const std::string &text) {
    return "vell_find_oiflist_delta(" + std::to_string(line) + "):" + text;
}

// One step at a time from lists in order: skip, remove, match or add. `old_used_up` is what ends
// the skipping of SVIs; it is noticed when an interface is matched or looked for, not before.
class Model {
public:
    Model(const Oifs &was, const Oifs &is, const bytes &delta, const Lookups &lookups)
        : was_(was), is_(is), lookups_(lookups) {
        outcome_.delta = delta;
        for (unsigned byte = 0; byte < 4; ++byte)
            mask_ |= std::uint32_t{delta.at(12 + byte)} << 8 * byte;
    }

    Outcome run() {
        while (new_ < is_.size() && outcome_.result == 0)
            step(is_[new_]);
        if (outcome_.result == 0)
            finish();
        outcome_.delta =
            patched(patched(std::move(outcome_.delta), 12, word(mask_)), 24, bytes_of(updates_));
        return outcome_;
    }

private:
    void step(const Oif &oif) {
        if (!old_used_up_ && oif.svi)
            skip(oif.if_index);
        else if (old_used_up_)
            add(oif.if_index, 1175);
        else if (old_ == was_.size())
            old_used_up_ = true;
        else if (was_[old_].if_index < oif.if_index)
            remove_and_settle(oif.if_index);
        else if (was_[old_].if_index == oif.if_index)
            match(oif.if_index);
        else
            add(oif.if_index, 1158);
    }

    void skip(std::uint32_t if_index) {
        char text[40];
        std::snprintf(text, sizeof text, "Skipping SVI interface: %x\n",
                      static_cast<unsigned>(if_index));
        outcome_.texts.push_back(logged_text(1121, text));
        ++new_;
    }

    void remove_and_settle(std::uint32_t if_index) {
        while (old_ < was_.size() && was_[old_].if_index < if_index)
            remove();
        old_used_up_ = old_ == was_.size();
    }

    void remove() { updates_.push_back({was_[old_++].if_index, 2}); }

    void match(std::uint32_t if_index) {
        flood_to(if_index, 1134);
        ++new_;
        old_used_up_ = ++old_ == was_.size();
    }

    void add(std::uint32_t if_index, int line) {
        flood_to(if_index, line);
        ++new_;
        if (outcome_.result == 0)
            updates_.push_back({if_index, 1});
    }

    void flood_to(std::uint32_t if_index, int line) {
        outcome_.looked_up.push_back(if_index);
        const bool ethernet = lookups_.ethernet(if_index);
        if (outcome_.looked_up.size() == lookups_.failing && (ethernet || !lookups_.fields_fail))
            fail(if_index, line);
        else if (ethernet)
            mask_ |= 1U << if_index % 32;
    }

    void fail(std::uint32_t if_index, int line) {
        const std::string what = lookups_.fields_fail
                                     ? "(1063):ERROR: Failed to get if_index fields for "
                                     : "(1055):ERROR: Failed to get if_index type for ";
        outcome_.texts.push_back("vell_set_flc_bitmask" + what + hex_text(if_index) +
                                 ", status 0x62\n");
        outcome_.texts.push_back(logged_text(line, "ERROR: Set LC bitmask failed\n"));
        outcome_.result = Lookups::status;
    }

    void finish() {
        while (old_ < was_.size())
            remove();
        outcome_.texts.push_back(logged_text(1201, "FLC_BITMASK: " + hex_text(mask_) + "\n"));
        outcome_.texts.push_back(logged_text(1202, "Update list:\n"));
        for (const auto &update : updates_)
            outcome_.texts.push_back(logged_text(1206, "IfIdx: " + signed_text(update.if_index) +
                                                           " Op: " + signed_text(update.operation) +
                                                           "\n"));
        outcome_.delta = patched(std::move(outcome_.delta), 20,
                                 word(static_cast<std::uint32_t>(updates_.size())));
    }

    const Oifs &was_;
    const Oifs &is_;
    const Lookups &lookups_;
    std::size_t old_ = 0;
    std::size_t new_ = 0;
    bool old_used_up_ = false;
    std::uint32_t mask_ = 0;
    Updates updates_;
    Outcome outcome_;
};

} // namespace

Outcome model_of(const Oifs &was, const Oifs &is, const bytes &delta, const Lookups &lookups) {
    if (!was.empty() || !is.empty())
        return Model(was, is, delta, lookups).run();
    return {.delta = delta,
            .texts = {logged_text(1109, "Old and new OIF lists both NULL, return SUCCESS\n")}};
}

Outcome take_outcome() {
    Outcome outcome;
    for (const auto &call : fake::take_calls()) {
        if (const auto *type = std::get_if<fake::IfIndexType>(&call))
            outcome.looked_up.push_back(type->if_index);
        if (const auto *log = std::get_if<fake::ClientLog>(&call))
            outcome.texts.emplace_back(log->record.begin() + 4, log->record.end() - 1);
        if (const auto *update = std::get_if<fake::FloodUpdate>(&call))
            outcome.delta = std::move(outcome.delta) + update->payload;
    }
    return outcome;
}

void expect_sorted(const Oifs &sorted, Oifs oifs) {
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

std::uint32_t RandomOifs::below(std::uint32_t bound) {
    return std::uniform_int_distribution<std::uint32_t>(0, bound - 1)(random_);
}

Oifs RandomOifs::list(std::uint32_t most, std::uint32_t indexes, std::uint32_t svi_in_a_hundred,
                      std::uint32_t first) {
    Oifs oifs(below(most + 1));
    for (auto &oif : oifs)
        oif = {first + below(indexes), below(100) < svi_in_a_hundred};
    return oifs;
}

Lookups RandomOifs::lookups(std::uint32_t failing_within) {
    return {.mix = below(2) * below(1000),
            .failing = below(2) * below(failing_within),
            .fields_fail = below(2) == 1};
}
