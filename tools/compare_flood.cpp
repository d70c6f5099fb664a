#include "compare_flood.h"

#include "switch_port.h"

#include <functional>
#include <set>

namespace feed {

namespace {

std::string line_cards_text(const flood_set &set) {
    std::string text;
    for (unsigned card = 0; card < 32; ++card) {
        if ((set.line_card_mask >> card & 1) != 0)
            text += fmt::format("{}{}", text.empty() ? "" : " ", card);
    }
    return text.empty() ? "none" : text;
}

std::string interfaces_text(const flood_set &set) {
    return switch_names(set.interfaces);
}

constexpr compared_field<flood_set> fields[] = {{"line cards", line_cards_text},
                                                {"interfaces", interfaces_text}};

} // namespace

comparison compare_flood(const std::vector<flood_set> &fed, std::vector<flood_set> held) {
    std::set<flood_key> fed_keys;
    for (const flood_set &set : fed)
        fed_keys.insert(set.key);
    std::erase_if(held, [&](const flood_set &set) {
        return set.interfaces.empty() && !fed_keys.contains(set.key);
    });
    return compare_by_key(fed, held, std::identity(),
                          std::span<const compared_field<flood_set>>(fields));
}

} // namespace feed
