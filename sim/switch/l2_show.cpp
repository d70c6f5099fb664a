// `show l2`: entries, flood lists, other records, lookup modes, batches and notices of layer 2.
#include "sim/base/if_name.h"
#include "sim/base/text.h"
#include "sim/switch/answer.h"
#include "sim/switch/service.h"
#include "sim/wire/protocol.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <string>

namespace sim {

namespace {

// A VLAN or a group leaves what belongs to it, and nothing that belongs to neither.
struct l2_filter {
    std::optional<std::uint64_t> vlan;
    std::optional<l2_address> group;

    bool is_of_all() const { return !vlan && !group; }
    bool matches_vlan(std::uint32_t id) const { return !group && (!vlan || *vlan == id); }
    bool matches(const mbd_key &key) const {
        return (!vlan || *vlan == key.vlan) && (!group || *group == key.group);
    }
};

void print_port_flags(output &out, std::uint32_t flags) {
    out.json("flags", flags);
    if (flags == VELL_SIM_PORT_SVI) {
        out.text(" (svi)");
    } else if (flags != 0) {
        out.text(" (flags {:#x})", flags);
    }
}

struct entry_printer {
    l2_filter filter;

    bool head(output &out, row_count &rows, const mbd_key &key, const mbd_entry &entry) const {
        if (!filter.matches(key) || !rows.take()) {
            return false;
        }
        const bool is_any_source = is_zero(key.source);
        const std::string source = address_text(key.source);
        out.open_object();
        out.field("vlan", "VLAN {}", key.vlan);
        out.text(" ({},", is_any_source ? "*" : source);
        out.field("group", " {})", address_text(key.group));
        out.json("kind", kind_name(key.group.kind));
        out.json("source", is_any_source ? std::nullopt : std::optional(source));
        out.json("bridge", entry.bridge);
        out.field("bridge_name", "  bridge {}", if_name(entry.bridge));
        const bool is_permanent = (entry.flags & VELL_SIM_MBD_PERMANENT) != 0;
        out.json("permanent", is_permanent);
        out.json("flags", entry.flags);
        out.text(", {}, ", is_permanent ? "permanent" : "learned");
        print_sender(out, entry.from);
        out.text("\n");
        open_items(out, "ports", "ports", entry.ports.size());
        return true;
    }
    const auto &items(const mbd_entry &entry) const { return entry.ports; }
    void item(output &out, const std::pair<const std::uint32_t, std::uint32_t> &port) const {
        out.open_object();
        print_interface(out, port.first);
        print_port_flags(out, port.second);
        out.close_object();
    }
};

struct flood_list_printer {
    l2_filter filter;
    std::shared_ptr<row_count> lists;

    bool head(output &out, row_count &, std::uint16_t vlan, const kept_record &kept) const {
        if (!filter.matches_vlan(vlan) || !lists->take()) {
            return false;
        }
        out.open_object();
        out.field("vlan", "VLAN {} flood list", vlan);
        out.field("type", "  type {}, ", kept.record.type);
        out.json_list("words", kept.record.words);
        out.json("flags", kept.record.flags);
        print_sender(out, kept.from);
        out.text("\n");
        out.open_list("addresses");
        for (const l2_address &address : kept.record.addresses) {
            out.open_object();
            out.json("kind", kind_name(address.kind));
            out.json("address", address_text(address));
            out.close_object();
        }
        out.close_list();
        open_items(out, "oifs", "OIFs", kept.record.oifs.size());
        return true;
    }
    const auto &items(const kept_record &kept) const { return kept.record.oifs; }
    void item(output &out, const l2_oif &oif) const {
        out.open_object();
        out.json("kind", static_cast<std::uint32_t>(oif.kind));
        if (oif.kind == l2_oif_kind::if_index) {
            print_interface(out, oif.if_index);
        } else if (oif.kind == l2_oif_kind::ipv6) {
            out.field("address", "{}", address_text({l2_address_kind::ipv6, oif.ipv6}));
        } else {
            out.text("-");
        }
        print_port_flags(out, oif.flags);
        out.json_list("words", oif.words);
        out.close_object();
    }
};

// Of the types that belong to no VLAN.
struct record_printer {
    bool head(output &out, row_count &, std::uint8_t type, const kept_record &kept) const {
        out.open_object();
        out.field("type", "Record of type {}, ", type);
        print_sender(out, kept.from);
        out.text("\n");
        if (kept.record.words.empty()) {
            out.open_list("words");
        } else {
            out.open_wrapped_list("words", "    words: ");
        }
        for (const std::uint32_t word : kept.record.words) {
            out.field({}, "{}", word);
        }
        out.close_list();
        open_items(out, "pairs", "pairs", kept.record.pairs.size());
        return true;
    }
    const auto &items(const kept_record &kept) const { return kept.record.pairs; }
    void item(output &out, const l2_pair &pair) const {
        out.open_list();
        out.field({}, "{}", pair.first);
        out.field({}, "/{}", pair.second);
        out.close_list();
    }
};

void print_lookup_modes(output &out, const l2_tables &tables, const l2_filter &filter) {
    const bool is_shown = std::ranges::any_of(
        tables.lookup_modes, [&](const auto &mode) { return filter.matches_vlan(mode.first); });
    if (is_shown) {
        out.open_wrapped_list("lookup_modes", "Lookup modes: ");
    } else {
        out.open_list("lookup_modes");
    }
    for (const auto &[vlan, mode] : tables.lookup_modes) {
        if (filter.matches_vlan(vlan)) {
            out.open_object();
            out.field("vlan", "VLAN {}", vlan);
            out.field("mode", " mode {}", mode);
            out.close_object();
        }
    }
    out.close_list();
    out.json("lookup_mode_word", tables.lookup_mode_word);
    if (is_shown) {
        out.text("\n");
    }
}

void print_batch(output &out, const l2_batch &batch) {
    const auto time = [](const std::string &when) {
        return when.empty() ? std::nullopt : std::optional(when);
    };
    out.text("Batch of ");
    print_sender(out, batch.from);
    out.json("begun", time(batch.begun));
    out.json("ended", time(batch.ended));
    out.json("messages", batch.messages);
    out.json("records", batch.records);
    out.json("open", batch.open);
    out.text(": {}, {}{}\n    begun {}, ended {}\n", counted(batch.messages, "message"),
             counted(batch.records, "record"), batch.open ? ", open" : "",
             time(batch.begun).value_or("-"), time(batch.ended).value_or("-"));
}

void print_marker(output &out, const other_marker &other) {
    out.field("marker", "Marker {} of ", other.marker);
    print_sender(out, other.from);
    out.field("time", ", {}\n", other.time);
}

// A list of rows, and in text an empty line below them unless there are none.
void end_section(output &out, bool has_rows) {
    out.close_list();
    if (has_rows) {
        out.text("\n");
    }
}

template <typename Rows, typename Print>
void print_section(output &out, const char *name, const Rows &rows, bool is_shown, Print print) {
    out.open_list(name);
    if (is_shown) {
        for (const auto &row : rows) {
            out.open_object();
            print(out, row);
            out.close_object();
        }
    }
    end_section(out, is_shown && !rows.empty());
}

void print_downloads(output &out, const client_table &clients, bool is_shown) {
    bool has_rows = false;
    out.open_list("download_complete");
    for (const auto &[key, known] : clients.all()) {
        if (is_shown && known.downloads_complete > 0) {
            has_rows = true;
            out.open_object();
            out.field("client", "Download complete from client {}", known.id);
            out.field("pid", " (pid {}): ", known.pid);
            out.json("count", known.downloads_complete);
            out.text("{}\n", counted(known.downloads_complete, "time"));
            out.close_object();
        }
    }
    end_section(out, has_rows);
}

} // namespace

// The limit is that of the entries, and also that of the flood lists.
answer show_l2(service &vell, const question &asked) {
    answer made(asked);
    const l2_filter filter{asked.number("vlan"), asked.address("group")};
    const auto lists = std::make_shared<row_count>(row_count{.limit = asked.number("limit")});
    const l2_tables &tables = vell.l2;
    made.once([](output &out, row_count &) {
        out.open_object("l2");
        out.open_rows("entries");
    });
    made.each_with_items(tables.entries, entry_printer{filter});
    made.once([](output &out, row_count &rows) {
        end_section(out, rows.shown > 0);
        out.open_rows("flood");
    });
    made.each_with_items(tables.flood, flood_list_printer{filter, lists});
    made.once([lists](output &out, row_count &) {
        end_section(out, lists->shown > 0);
        out.json("flood_matched", lists->matched);
        out.open_rows("pairs");
    });
    if (filter.is_of_all()) {
        made.each_with_items(tables.pairs, record_printer());
    }
    made.once([&vell, filter, lists](output &out, row_count &rows) {
        const bool is_of_all = filter.is_of_all();
        end_section(out, is_of_all && !vell.l2.pairs.empty());
        print_lookup_modes(out, vell.l2, filter);
        print_section(out, "batches", vell.batches.batches, is_of_all, print_batch);
        print_section(out, "other_markers", vell.batches.others, is_of_all, print_marker);
        print_downloads(out, vell.clients, is_of_all);
        out.close_object();
        out.text("{}, {}\n", counted_of(rows.shown, rows.matched, "entry", "entries"),
                 counted_of(lists->shown, lists->matched, "flood list"));
    });
    return made;
}

} // namespace sim
