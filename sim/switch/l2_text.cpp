#include "sim/switch/l2_text.h"

#include "sim/base/text.h"
#include "sim/wire/protocol.h"

#include <algorithm>
#include <cstdint>
#include <fmt/format.h>
#include <iterator>
#include <nlohmann/json.hpp>
#include <vector>

namespace sim {

namespace {

using json = nlohmann::ordered_json;

std::uint64_t number(const json &row, const char *name) {
    return row.at(name).get<std::uint64_t>();
}

std::string or_dash(const json &text) {
    return text.is_null() ? "-" : text.get<std::string>();
}

// "client 3", or "pid 4711" for a sender without an id.
std::string sender_text(const json &row) {
    return number(row, "client") == 0 ? fmt::format("pid {}", number(row, "pid"))
                                      : fmt::format("client {}", number(row, "client"));
}

std::string flags_text(std::uint64_t flags) {
    return flags == 0                  ? ""
           : flags == l2_port_flag_svi ? " (svi)"
                                       : fmt::format(" (flags {:#x})", flags);
}

std::string oif_text(const json &oif) {
    std::string what = "-";
    if (oif.contains("if_index")) {
        what = fmt::format("{}", number(oif, "if_index"));
    } else if (oif.contains("address")) {
        what = oif.at("address").get<std::string>();
    }
    return what + flags_text(number(oif, "flags"));
}

template <typename Text>
std::vector<std::string> texts(const json &list, Text text) {
    std::vector<std::string> made;
    std::ranges::transform(list, std::back_inserter(made), text);
    return made;
}

std::string oif_lines(const char *name, const json &oifs) {
    return oifs.empty()
               ? fmt::format("    {}: none\n", name)
               : wrapped(fmt::format("    {} ({}): ", name, oifs.size()), texts(oifs, oif_text));
}

std::string entry_lines(const json &entry) {
    const std::string source =
        entry.at("source").is_null() ? "*" : entry.at("source").get<std::string>();
    return fmt::format("VLAN {} ({}, {})  bridge {}, {}, {}\n", number(entry, "vlan"), source,
                       entry.at("group").get<std::string>(), number(entry, "bridge"),
                       entry.at("permanent").get<bool>() ? "permanent" : "learned",
                       sender_text(entry)) +
           oif_lines("ports", entry.at("ports"));
}

std::string flood_lines(const json &flood) {
    return fmt::format("VLAN {} flood list  type {}, {}\n", number(flood, "vlan"),
                       number(flood, "type"), sender_text(flood)) +
           oif_lines("OIFs", flood.at("oifs"));
}

std::string pairs_lines(const json &record) {
    const auto word_text = [](const json &word) {
        return fmt::format("{}", word.get<std::uint32_t>());
    };
    const auto pair_text = [](const json &pair) {
        return fmt::format("{}/{}", pair.at(0).get<std::uint32_t>(),
                           pair.at(1).get<std::uint32_t>());
    };
    std::string text =
        fmt::format("Record of type {}, {}\n", number(record, "type"), sender_text(record));
    if (!record.at("words").empty()) {
        text += wrapped("    words: ", texts(record.at("words"), word_text));
    }
    const json &pairs = record.at("pairs");
    return text + (pairs.empty() ? "    pairs: none\n"
                                 : wrapped(fmt::format("    pairs ({}): ", pairs.size()),
                                           texts(pairs, pair_text)));
}

std::string lookup_mode_lines(const json &modes) {
    const auto mode_text = [](const json &row) {
        return fmt::format("VLAN {} mode {}", number(row, "vlan"), number(row, "mode"));
    };
    return modes.empty() ? std::string() : wrapped("Lookup modes: ", texts(modes, mode_text));
}

std::string batch_line(const json &batch) {
    return fmt::format("Batch of {}: {}, {}{}\n    begun {}, ended {}\n", sender_text(batch),
                       counted(number(batch, "messages"), "message"),
                       counted(number(batch, "records"), "record"),
                       batch.at("open").get<bool>() ? ", open" : "", or_dash(batch.at("begun")),
                       or_dash(batch.at("ended")));
}

std::string marker_line(const json &other) {
    return fmt::format("Marker {} of {}, {}\n", number(other, "marker"), sender_text(other),
                       other.at("time").get<std::string>());
}

std::string download_line(const json &row) {
    return fmt::format("Download complete from client {} (pid {}): {}\n", number(row, "client"),
                       number(row, "pid"), counted(number(row, "count"), "time"));
}

// The rows and an empty line behind them, or nothing.
template <typename Text>
std::string section(const json &rows, Text text) {
    std::string made;
    for (const json &row : rows) {
        made += text(row);
    }
    return made.empty() ? made : made + "\n";
}

} // namespace

std::string l2_text(const json &table) {
    const json &l2 = table.at("l2");
    const std::string modes = lookup_mode_lines(l2.at("lookup_modes"));
    return section(l2.at("entries"), entry_lines) + section(l2.at("flood"), flood_lines) +
           section(l2.at("pairs"), pairs_lines) + (modes.empty() ? modes : modes + "\n") +
           section(l2.at("batches"), batch_line) + section(l2.at("other_markers"), marker_line) +
           section(l2.at("download_complete"), download_line) +
           fmt::format("{}, {}\n", counted(l2.at("entries").size(), "entry", "entries"),
                       counted(l2.at("flood").size(), "flood list"));
}

} // namespace sim
