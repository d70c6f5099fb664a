// Tables that are still made as JSON and printed as text from that.
#include "sim/switch/answer.h"
#include "sim/switch/l2_text.h"
#include "sim/switch/ltl_text.h"
#include "sim/switch/show_l2.h"
#include "sim/switch/show_ltl.h"
#include "sim/switch/show_query.h"

#include <nlohmann/json.hpp>

namespace sim {

namespace {

answer bridged(const question &asked, const service &vell,
               std::string (*show)(const service &vell, const show_query &query),
               std::string (*text)(const nlohmann::ordered_json &table)) {
    const auto narrow = [&asked](const char *name) {
        const auto given = asked.number(name);
        return given ? std::optional(static_cast<std::uint32_t>(*given)) : std::nullopt;
    };
    show_query query{.name = asked.ask, .vlan = narrow("vlan"), .limit = narrow("limit")};
    if (const auto group = asked.address("group")) {
        query.l2_group = address_text(*group);
    }
    const std::string json = show(vell, query);
    return answer::ready(
        asked.form == output_form::json ? json + "\n" : text(nlohmann::ordered_json::parse(json)));
}

} // namespace

answer show_l2(service &vell, const question &asked) {
    return bridged(asked, vell, show_l2, l2_text);
}
answer show_flood(service &vell, const question &asked) {
    return bridged(asked, vell, show_flood, flood_text);
}
answer show_ltl(service &vell, const question &asked) {
    return bridged(asked, vell, show_ltls, ltl_text);
}

} // namespace sim
