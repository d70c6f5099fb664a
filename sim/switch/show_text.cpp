#include "sim/switch/show_text.h"

#include "sim/base/text.h"
#include "sim/switch/service.h"

#include <algorithm>
#include <cstdint>
#include <fmt/format.h>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string_view>

namespace sim {

namespace {

using json = nlohmann::ordered_json;

std::string masked(const std::string &address, unsigned length) {
    if (address == "0.0.0.0" && length == 0) {
        return "*";
    }
    return length == 32 ? address : fmt::format("{}/{}", address, length);
}

std::string key_text(const json &route) {
    return fmt::format(
        "({}, {})",
        masked(route.at("source").get<std::string>(), route.at("source_len").get<unsigned>()),
        masked(route.at("group").get<std::string>(), route.at("group_len").get<unsigned>()));
}

std::string oif_text(const json &oif) {
    const auto if_index = oif.at("if_index").get<std::uint32_t>();
    switch (const auto kind = oif.at("kind").get<std::uint32_t>()) {
    case 0:
        return fmt::format("{}", if_index);
    case 1:
        return fmt::format("{} (vprime)", if_index);
    case 4:
        return fmt::format("{} (duxsvi)", if_index);
    case 8:
        return fmt::format("{} (duxbidir rpf)", if_index);
    case 12:
        return fmt::format("{} (duxbidir rpf, duxsvi)", if_index);
    default:
        return fmt::format("{} (kind {})", if_index, kind);
    }
}

std::string words_text(const json &words) {
    std::string text;
    for (const json &word : words) {
        text += fmt::format("{}{}", text.empty() ? "" : " ", word.get<std::uint32_t>());
    }
    return text;
}

std::string glt_text(const json &glt) {
    const auto data = glt.at("data").get<std::string>();
    return fmt::format("{} data {} last {}", words_text(glt.at("words")), data.empty() ? "-" : data,
                       glt.at("last").get<std::uint32_t>());
}

template <typename Text>
std::string list_lines(std::string_view name, const json &list, Text text) {
    std::vector<std::string> items;
    std::ranges::transform(list, std::back_inserter(items), text);
    return list.empty() ? std::string()
                        : wrapped(fmt::format("    {} ({}): ", name, list.size()), items);
}

std::string route_lines(const json &route) {
    std::string text =
        fmt::format("{}  RPF {}, DF {}, epoch {}, client {}\n", key_text(route),
                    route.at("rpf_if").get<std::uint32_t>(), route.at("df_ordinal").get<unsigned>(),
                    route.at("epoch").get<std::uint32_t>(), route.at("client").get<unsigned>());
    const auto flags = route.at("flags").get<std::vector<std::string>>();
    text += wrapped("    flags: ", flags.empty() ? std::vector<std::string>{"none"} : flags);
    const json &oifs = route.at("oifs");
    text += oifs.empty() ? "    OIFs: none\n" : list_lines("OIFs", oifs, oif_text);
    text += list_lines("MTI", route.at("mti"), words_text);
    text += list_lines("GLT", route.at("glt"), glt_text);
    return text;
}

std::string notice_text(const json &notice) {
    return notice.is_null() ? std::string()
                            : fmt::format("    last IPv6 notice: {}\n", words_text(notice));
}

} // namespace

std::string clients_text(const json &table) {
    std::string text = fmt::format("{:>3} {:>8} {:>10} {:12} {:>9} {:>9} {:>7} {:>6} {:>5} {}\n",
                                   "Id", "Pid", "Uuid", "State", "Messages", "Records", "Refused",
                                   "Missed", "IPv6", "Dux role");
    for (const json &row : table.at("clients")) {
        const json &role = row.at("dux_role");
        text += fmt::format(
            "{:>3} {:>8} {:>10} {:12} {:>9} {:>9} {:>7} {:>6} {:>5} {}\n",
            row.at("id").get<unsigned>(), row.at("pid").get<std::uint32_t>(),
            row.at("uuid").get<std::uint32_t>(), row.at("state").get<std::string>(),
            row.at("messages").get<std::uint64_t>(), row.at("route_records").get<std::uint64_t>(),
            row.at("refused").get<std::uint64_t>(), row.at("missed_deletes").get<std::uint64_t>(),
            row.at("ipv6_notices").get<std::uint64_t>(),
            role.is_null() ? "-" : role.get<std::string>());
        if (const auto segment = row.at("segment").get<std::string>(); !segment.empty()) {
            text += fmt::format("    segment: {}\n", printable(segment));
        }
        text += notice_text(row.at("last_ipv6_notice"));
    }
    return text + counted_rows(table, "clients", "client") + "\n";
}

std::string routes_text(const json &table) {
    std::string text;
    const json *previous = nullptr;
    for (const json &route : table.at("routes")) {
        if (previous == nullptr || previous->at("table") != route.at("table")) {
            text += fmt::format("{}Table {}\n\n", previous == nullptr ? "" : "\n",
                                route.at("table").get<std::uint32_t>());
        }
        text += route_lines(route);
        previous = &route;
    }
    return text + (previous == nullptr ? "" : "\n") + counted_rows(table, "routes", "route") + "\n";
}

std::string route_summary_text(const json &table) {
    constexpr const char *columns[] = {"routes",    "sg",           "star_g",
                                       "with_oifs", "without_oifs", "oifs"};
    std::uint64_t sums[std::size(columns)] = {};
    std::string text = fmt::format("{:>10} {:>9} {:>9} {:>9} {:>10} {:>13} {:>9}\n", "Table",
                                   "Routes", "(S,G)", "(*,G)", "With OIFs", "Without OIFs", "OIFs");
    const auto line = [](const std::string &name,
                         const std::uint64_t(&values)[std::size(columns)]) {
        return fmt::format("{:>10} {:>9} {:>9} {:>9} {:>10} {:>13} {:>9}\n", name, values[0],
                           values[1], values[2], values[3], values[4], values[5]);
    };
    for (const json &row : table.at("summary")) {
        std::uint64_t values[std::size(columns)];
        for (std::size_t i = 0; i < std::size(columns); ++i) {
            values[i] = row.at(columns[i]).get<std::uint64_t>();
            sums[i] += values[i];
        }
        text += line(fmt::format("{}", row.at("table").get<std::uint32_t>()), values);
    }
    return text + line("Total", sums) +
           fmt::format("{} in {}\n", counted(sums[0], "route"),
                       counted(table.at("summary").size(), "table"));
}

} // namespace sim
