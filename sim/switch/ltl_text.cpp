#include "sim/switch/ltl_text.h"

#include "sim/base/if_name.h"
#include "sim/base/text.h"

#include <algorithm>
#include <cstdint>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <vector>

namespace sim {

namespace {

using json = nlohmann::ordered_json;

std::uint64_t number(const json &row, const char *name) {
    return row.at(name).get<std::uint64_t>();
}

// "client 3 (pid 4711)", or "pid 4711" for a sender without an id.
std::string sender_text(const json &row) {
    const std::string pid = fmt::format("pid {}", number(row, "pid"));
    return number(row, "client") == 0 ? pid
                                      : fmt::format("client {} ({})", number(row, "client"), pid);
}

std::string interface_lines(const json &interfaces) {
    std::vector<std::string> names;
    for (const json &one : interfaces) {
        names.push_back(one.at("name").get<std::string>());
    }
    return names.empty() ? "    interfaces: none\n"
                         : wrapped(fmt::format("    interfaces ({}): ", names.size()), names);
}

// The mask has 32 bits, which the line cards above share.
bool shares_bits(const json &interfaces) {
    return std::ranges::any_of(interfaces, [](const json &one) {
        const auto port = ethernet_port_of(one.at("if_index").get<std::uint32_t>());
        return port && port->slot > 31;
    });
}

std::string line_card_lines(const json &row) {
    std::vector<std::string> cards;
    for (const json &card : row.at("line_cards")) {
        cards.push_back(fmt::format("{}", card.get<unsigned>()));
    }
    return wrapped(fmt::format("    line cards ({:#010x}): ", number(row, "line_card_mask")),
                   cards.empty() ? std::vector<std::string>{"none"} : cards) +
           (shares_bits(row.at("interfaces"))
                ? "      slots above 31 count as those 32, 64, ... below them\n"
                : "");
}

} // namespace

std::string ltl_text(const json &table) {
    std::string text;
    for (const json &row : table.at("ltl")) {
        text += fmt::format("LTL {:#x}  VLAN {}, tag {}, {}\n", number(row, "index"),
                            number(row, "vlan"), number(row, "tag"), sender_text(row)) +
                interface_lines(row.at("interfaces"));
    }
    const json &pool = table.at("pool");
    return text + fmt::format("{}; {} of {} in use\n", counted_rows(table, "ltl", "LTL"),
                              number(pool, "in_use"), number(pool, "size"));
}

std::string flood_text(const json &table) {
    std::string text;
    for (const json &row : table.at("flood")) {
        text += fmt::format("VLAN {}  {}\n", number(row, "vlan"), sender_text(row)) +
                line_card_lines(row) + interface_lines(row.at("interfaces"));
    }
    return text + counted_rows(table, "flood", "flood set") + "\n";
}

} // namespace sim
