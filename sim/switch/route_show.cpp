// `show routes`: every route, or the sums of each route table.
#include "sim/base/if_name.h"
#include "sim/base/text.h"
#include "sim/switch/answer.h"
#include "sim/switch/service.h"

#include <iterator>
#include <memory>
#include <optional>
#include <string_view>

namespace sim {

namespace {

struct route_filter {
    std::optional<std::uint64_t> client;
    std::optional<std::uint64_t> table;
    std::optional<l2_address> group;
    std::optional<l2_address> source;

    explicit route_filter(const question &asked)
        : client(asked.number("client")),
          table(asked.number("table")),
          group(asked.address("group")),
          source(asked.address("source")) {}

    bool matches(const route_key &key, const route &held) const {
        return (!client || *client == held.client) && (!table || *table == key.table) &&
               (!group || *group == ipv4_address(key.group)) &&
               (!source || *source == ipv4_address(key.source));
    }
};

// Indexed by bit. Where the library has two names for a bit, the one under which it is set first.
constexpr std::string_view flag_bits[] = {
    "direct",
    "local_addr",
    "drop_route",
    "local_group",
    "count_pfx",
    "set_df_bits",
    "rpf_only",
    "download",
    "download_done",
    "come_up_route",
    "drop_on_rpf_fail",
    "wildcard_route",
    "overlay_decap",
    "svrf_download",
    "", // bit 14 has no name
    "non_rpf_check",
    "even_route",
    "odd_route",
    "dux_forward_all",
    "dux_forward_even",
    "dux_forward_odd",
    "dux_src_rp_l3",
    "dux_none_forwarder",
    "dux_rpf_is_svi",
    "dux_l3src_behind_peer",
    "dux_forward_none",
};

std::vector<std::string> flag_names(std::uint64_t flags) {
    std::vector<std::string> set;
    for (std::size_t bit = 0; bit < 64; ++bit) {
        if ((flags >> bit & 1) == 0) {
            continue;
        }
        const bool has_name = bit < std::size(flag_bits) && !flag_bits[bit].empty();
        set.push_back(has_name ? std::string(flag_bits[bit]) : fmt::format("bit{}", bit));
    }
    return set;
}

std::string_view oif_kind_text(std::uint32_t kind) {
    switch (kind) {
    case 1:
        return " (vprime)";
    case 4:
        return " (duxsvi)";
    case 8:
        return " (duxbidir rpf)";
    case 12:
        return " (duxbidir rpf, duxsvi)";
    default:
        return "";
    }
}

void print_oifs(output &out, const std::vector<oif_entry> &oifs) {
    open_items(out, "oifs", "OIFs", oifs.size());
    for (const oif_entry &oif : oifs) {
        out.open_object();
        print_interface(out, oif.if_index);
        out.json("kind", oif.kind);
        out.text("{}", oif_kind_text(oif.kind));
        out.close_object();
    }
    out.close_list();
}

void print_words(output &out, std::string_view name, const std::array<std::uint32_t, 4> &words) {
    out.json_list(name, words);
    out.text("{} {} {} {}", words[0], words[1], words[2], words[3]);
}

// A list that most routes do not have: text says nothing of it then.
template <typename Item>
void print_rare_list(output &out, const char *name, const char *title,
                     const std::vector<Item> &items, void (*print)(output &out, const Item &item)) {
    if (items.empty()) {
        out.open_list(name);
    } else {
        out.open_wrapped_list(name, fmt::format("    {} ({}): ", title, items.size()));
    }
    for (const Item &item : items) {
        print(out, item);
    }
    out.close_list();
}

void print_mti(output &out, const mti_entry &words) {
    print_words(out, {}, words);
}

void print_glt(output &out, const glt_entry &glt) {
    out.open_object();
    print_words(out, "words", glt.words);
    const std::string data = hex_text(std::as_bytes(std::span(glt.data).first(glt.length)));
    out.json("data", data);
    out.text(" data {}", data.empty() ? "-" : data);
    out.json("length", glt.length);
    out.field("last", " last {}", glt.last);
    out.close_object();
}

void print_route(output &out, const route_key &key, const route &shown) {
    out.open_object();
    out.json("table", key.table);
    out.json("source", ipv4_text(key.source));
    out.json("source_len", key.source_length);
    out.json("group", ipv4_text(key.group));
    out.json("group_len", key.group_length);
    if (!out.is_json()) {
        out.text("{}", key_text(key));
    }
    out.json("rpf_if", shown.rpf_if);
    out.field("rpf_if_name", "  RPF {}", if_name(shown.rpf_if));
    out.field("df_ordinal", ", DF {}", shown.df_ordinal);
    out.field("epoch", ", epoch {}", shown.epoch);
    out.field("client", ", client {}\n", shown.client);
    out.open_wrapped_list("flags", "    flags: ");
    for (const std::string &name : flag_names(shown.flags)) {
        out.field({}, "{}", name);
    }
    if (shown.flags == 0) {
        out.text("none");
    }
    out.close_list();
    out.json("flags_word", fmt::format("{:#x}", shown.flags));
    print_oifs(out, shown.lists.oifs);
    print_rare_list(out, "mti", "MTI", shown.lists.mti, print_mti);
    print_rare_list(out, "glt", "GLT", shown.lists.glt, print_glt);
    out.close_object();
}

struct route_sums {
    std::uint64_t routes = 0;
    std::uint64_t star_g = 0;
    std::uint64_t with_oifs = 0;
    std::uint64_t oifs = 0;

    void add(const route_sums &more) {
        routes += more.routes;
        star_g += more.star_g;
        with_oifs += more.with_oifs;
        oifs += more.oifs;
    }
};

route_sums sums_of(const route_key &key, const route &held) {
    const bool is_any_source = key.source == 0 && key.source_length == 0;
    return {1, is_any_source ? 1u : 0u, held.lists.oifs.empty() ? 0u : 1u, held.lists.oifs.size()};
}

void print_sums(output &out, const route_sums &sums) {
    out.field("routes", " {:>9}", sums.routes);
    out.field("sg", " {:>9}", sums.routes - sums.star_g);
    out.field("star_g", " {:>9}", sums.star_g);
    out.field("with_oifs", " {:>10}", sums.with_oifs);
    out.field("without_oifs", " {:>13}", sums.routes - sums.with_oifs);
    out.field("oifs", " {:>9}\n", sums.oifs);
}

// Routes are sorted by table: a table's sums are known where the next one begins. So an answer
// takes no more memory for many tables than for one.
struct table_sums {
    std::optional<std::uint32_t> table{};
    route_sums sums{};
    route_sums total{};

    void add(output &out, row_count &rows, std::uint32_t of, const route_sums &more) {
        if (table != of) {
            print(out, rows);
            table = of;
            sums = {};
        }
        sums.add(more);
        total.add(more);
    }
    void print(output &out, row_count &rows) const {
        if (table && rows.take()) {
            out.open_object();
            out.field("table", "{:>10}", *table);
            print_sums(out, sums);
            out.close_object();
        }
    }
};

answer show_summary(service &vell, const question &asked) {
    answer made(asked);
    const auto summed = std::make_shared<table_sums>();
    made.once([](output &out, row_count &) {
        out.text("{:>10} {:>9} {:>9} {:>9} {:>10} {:>13} {:>9}\n", "Table", "Routes", "(S,G)",
                 "(*,G)", "With OIFs", "Without OIFs", "OIFs");
        out.open_rows("summary");
    });
    made.each(vell.routes,
              [filter = route_filter(asked), summed](output &out, row_count &rows,
                                                     const route_key &key, const route &held) {
                  if (filter.matches(key, held)) {
                      summed->add(out, rows, key.table, sums_of(key, held));
                  }
              });
    made.once([summed](output &out, row_count &rows) {
        summed->print(out, rows);
        out.close_list();
        if (!out.is_json()) {
            out.text("{:>10}", "Total");
            print_sums(out, summed->total);
            out.text("{} in {}\n", counted(summed->total.routes, "route"),
                     counted_of(rows.shown, rows.matched, "table"));
        }
    });
    return made;
}

} // namespace

answer show_routes(service &vell, const question &asked) {
    if (asked.truth("summary")) {
        return show_summary(vell, asked);
    }
    answer made(asked);
    made.begin_rows("routes");
    made.each(vell.routes,
              [filter = route_filter(asked), table = std::optional<std::uint32_t>()](
                  output &out, row_count &rows, const route_key &key, const route &held) mutable {
                  if (!filter.matches(key, held) || !rows.take()) {
                      return;
                  }
                  if (table != key.table) {
                      if (table) {
                          out.text("\n");
                      }
                      out.text("Table {}\n\n", key.table);
                      table = key.table;
                  }
                  print_route(out, key, held);
              });
    made.once([](output &out, row_count &rows) {
        if (rows.shown > 0) {
            out.text("\n");
        }
    });
    made.end_rows("route");
    return made;
}

} // namespace sim
