#include "feed/differences.h"

#include "sim/base/if_name.h"
#include "sim/base/text.h"
#include "sim/wire/protocol.h"

#include <fmt/format.h>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace feed {

namespace {

using words = std::vector<std::string>;

// One of a row's fields, as both forms show it: a list is one in JSON, too.
struct field {
    const char *name;
    std::variant<std::string, words> value;
};

std::string text_of(const field &one) {
    const std::string *text = std::get_if<std::string>(&one.value);
    const std::string shown =
        text != nullptr ? *text : fmt::format("{}", fmt::join(std::get<words>(one.value), " "));
    return shown.empty() ? "none" : shown;
}

void print_json(sim::output &out, const char *name, const field &one) {
    if (const std::string *text = std::get_if<std::string>(&one.value)) {
        out.json(name, *text);
        return;
    }
    out.open_list(name);
    for (const std::string &word : std::get<words>(one.value)) {
        out.json({}, word);
    }
    out.close_list();
}

words names_of(const std::vector<std::uint32_t> &if_indexes) {
    words names;
    for (const std::uint32_t if_index : if_indexes) {
        names.push_back(sim::if_name(if_index));
    }
    return names;
}

words flag_words(std::uint64_t flags) {
    constexpr std::pair<std::uint64_t, const char *> named[] = {
        {route_flag_drop, "drop_route"},
        {route_flag_local_group, "local_group"},
        {route_flag_wildcard, "wildcard_route"}};
    words names;
    for (const auto &[flag, name] : named) {
        if ((flags & flag) != 0) {
            names.emplace_back(name);
            flags &= ~flag;
        }
    }
    if (flags != 0) {
        names.push_back(fmt::format("{:#x}", flags)); // what vellfeed never sends
    }
    return names;
}

words port_words(const std::vector<group_port> &ports) {
    words names;
    for (const group_port &port : ports) {
        names.push_back(sim::if_name(port.if_index));
        if (port.flags == VELL_SIM_PORT_SVI) {
            names.back() += " (svi)";
        } else if (port.flags != 0) {
            names.back() += fmt::format(" (flags {:#x})", port.flags);
        }
    }
    return names;
}

words card_words(std::uint32_t mask) {
    words cards;
    for (unsigned card = 0; card < 32; ++card) {
        if ((mask >> card & 1) != 0) {
            cards.push_back(std::to_string(card));
        }
    }
    return cards;
}

std::vector<field> fields(const route &row) {
    return {{"rpf_if", sim::if_name(row.rpf_if)},
            {"flags", flag_words(row.flags)},
            {"oifs", names_of(row.oifs)},
            {"other", row.other}};
}

std::vector<field> fields(const group &row) {
    return {{"bridge", sim::if_name(row.bridge)},
            {"state", row.permanent ? "permanent" : "learned"},
            {"ports", port_words(row.ports)}};
}

std::vector<field> fields(const flood_set &row) {
    return {{"line_cards", card_words(row.line_cards)}, {"interfaces", names_of(row.interfaces)}};
}

std::vector<field> fields(const ltl &row) {
    return {{"interfaces", names_of(row.interfaces)}};
}

void print_key(sim::output &out, const route_key &key) {
    out.json("table", key.table);
    out.json("source", sim::ipv4_text(key.source));
    out.json("source_len", key.source_length);
    out.json("group", sim::ipv4_text(key.group));
    out.json("group_len", key.group_length);
}

void print_key(sim::output &out, const group_key &key) {
    out.json("vlan", key.vlan);
    out.json("group", sim::address_text(key.group));
    out.json("source", key.source ? std::optional(sim::address_text(*key.source)) : std::nullopt);
}

void print_key(sim::output &out, const flood_key &key) {
    out.json("vlan", key.vlan);
}

void print_key(sim::output &out, const ltl_key &key) {
    out.json("vlan", key.vlan);
    out.json("tag", key.tag);
}

// Two rows of one key.
template <typename Row>
void print_fields(sim::output &out, const std::string &key, const Row &installed,
                  const Row &wanted) {
    const std::vector<field> before = fields(installed);
    const std::vector<field> after = fields(wanted);
    out.open_object("fields");
    for (std::size_t i = 0; i < before.size(); ++i) {
        if (before[i].value != after[i].value) {
            out.open_object(before[i].name);
            print_json(out, "installed", before[i]);
            print_json(out, "wanted", after[i]);
            out.close_object();
            out.text("{}: {}: installed {}, wanted {}\n", key, before[i].name, text_of(before[i]),
                     text_of(after[i]));
        }
    }
    out.close_object();
}

template <typename Row>
void print_change(sim::output &out, const change<Row> &one) {
    const std::string key = key_text(*one.key);
    out.open_object();
    print_key(out, *one.key);
    if (one.before == nullptr || one.after == nullptr) {
        out.text("{}: ", key);
        out.field("difference", "{}\n", one.before == nullptr ? "missing" : "unexpected");
    } else {
        out.json("difference", "differs");
        print_fields(out, key, *one.before, *one.after);
    }
    out.close_object();
}

// "27 of 29 are installed, 1 differs, 1 is missing; 2 unexpected"
std::string counts_text(const difference_counts &counts) {
    const std::size_t installed = counts.wanted - counts.missing - counts.differing;
    std::string text;
    if (counts.wanted == 0) {
        text = counts.unexpected == 0 ? "none wanted, none installed" : "none wanted";
    } else if (installed == counts.wanted && installed > 1) {
        text = fmt::format("all {} are installed", installed);
    } else {
        text = fmt::format("{} of {} {} installed", installed, counts.wanted,
                           installed == 1 ? "is" : "are");
    }
    if (counts.differing > 0) {
        text +=
            fmt::format(", {} {}", counts.differing, counts.differing == 1 ? "differs" : "differ");
    }
    if (counts.missing > 0) {
        text += fmt::format(", {} {} missing", counts.missing, counts.missing == 1 ? "is" : "are");
    }
    if (counts.unexpected > 0) {
        text += fmt::format("; {} unexpected", counts.unexpected);
    }
    return text;
}

class difference_printer {
public:
    difference_printer(sim::output_form form, std::ostream &to) : out_(form), to_(to) {
        out_.open_object();
    }

    template <typename Row>
    void print(const table_place<Row> &place, const table<Row> &installed,
               const table<Row> &wanted) {
        difference_counts counts{.wanted = wanted.size()};
        out_.open_rows(place.name);
        for (const change<Row> &one : diff(installed, wanted)) {
            ++(one.before == nullptr  ? counts.missing
               : one.after == nullptr ? counts.unexpected
                                      : counts.differing);
            print_change(out_, one);
            to_ << out_.take();
        }
        out_.close_list();
        out_.text("{}: {}\n", place.title, counts_text(counts));
        counts_.emplace_back(place.name, counts);
    }

    difference_counts finish() {
        constexpr std::pair<const char *, std::size_t difference_counts::*> members[] = {
            {"wanted", &difference_counts::wanted},
            {"missing", &difference_counts::missing},
            {"unexpected", &difference_counts::unexpected},
            {"differing", &difference_counts::differing}};
        difference_counts total;
        out_.open_object("counts");
        for (const auto &[table, counts] : counts_) {
            out_.open_object(table);
            for (const auto &[name, member] : members) {
                out_.json(name, counts.*member);
                total.*member += counts.*member;
            }
            out_.close_object();
        }
        out_.close_object();
        out_.close_object();
        to_ << out_.take() << (out_.is_json() ? "\n" : "");
        return total;
    }

private:
    sim::output out_;
    std::ostream &to_;
    std::vector<std::pair<const char *, difference_counts>> counts_;
};

} // namespace

difference_counts print_differences(const state &installed, const state &wanted,
                                    const table_choice &only, sim::output_form form,
                                    std::ostream &out) {
    difference_printer printer(form, out);
    for_each_table([&](const auto &one) {
        if (only.*one.choice) {
            printer.print(one, installed.*one.rows, wanted.*one.rows);
        }
    });
    return printer.finish();
}

} // namespace feed
