#include "feed/installed.h"

#include "feed/failure.h"
#include "feed/program_input.h"
#include "feed/session.h"
#include "sim/base/if_name.h"
#include "sim/base/text.h"
#include "sim/wire/protocol.h"
#include "sim/wire/run_dir.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <fmt/format.h>
#include <limits>
#include <unistd.h>
#include <utility>

namespace feed {

namespace {

constexpr std::uint32_t largest_word = std::numeric_limits<std::uint32_t>::max();

std::uint32_t number_of(const json_view &row, const char *key, std::uint32_t least = 0,
                        std::uint32_t most = largest_word) {
    return row.member(key, "a number").number(least, most, "a number");
}

std::uint16_t vlan_of(const json_view &row) {
    return static_cast<std::uint16_t>(number_of(row, "vlan", 1, VELL_SIM_HIGHEST_VLAN));
}

sim::l2_address address_of(const json_view &view) {
    constexpr char expected[] = "an IPv4, IPv6 or MAC address";
    const auto address = sim::parse_l2_address(view.string(expected));
    if (!address) {
        view.reject(expected);
    }
    return *address;
}

std::uint32_t ipv4_of(const json_view &row, const char *key) {
    constexpr char expected[] = "an IPv4 address";
    const json_view view = row.member(key, expected);
    const auto address = sim::parse_ipv4(view.string(expected));
    if (!address) {
        view.reject(expected);
    }
    return *address;
}

std::vector<std::uint32_t> interfaces_of(const json_view &row) {
    constexpr char expected[] = "an array of interfaces";
    std::vector<std::uint32_t> interfaces;
    for (const json_view &one : row.member("interfaces", expected).elements(expected)) {
        interfaces.push_back(number_of(one, "if_index"));
    }
    std::ranges::sort(interfaces);
    return interfaces;
}

template <typename Row>
void add(const json_view &row, table<Row> &to, const typename Row::key_type &key, Row &&made) {
    if (!to.try_emplace(key, std::move(made)).second) {
        row.fail(key_text(key) + " appears twice");
    }
}

std::uint64_t flags_word_of(const json_view &row) {
    constexpr char expected[] = "the flag word, a string like \"0x80\"";
    const json_view view = row.member("flags_word", expected);
    const std::string &text = view.string(expected);
    const auto word = text.starts_with("0x") ? sim::parse_number(text) : std::nullopt;
    if (!word) {
        view.reject(expected);
    }
    return *word;
}

void add_words(std::string &to, const std::string &more) {
    to += (to.empty() ? "" : ", ") + more;
}

void add_count(std::string &to, const json_view &row, const char *key, const char *noun) {
    constexpr char expected[] = "an array of encapsulations";
    const std::size_t count = row.member(key, expected).elements(expected).size();
    if (count > 0) {
        add_words(to, sim::counted(count, noun, noun));
    }
}

void read_route(const json_view &row, const say_function &, state &into) {
    row.expect_object("a route, an object");
    const route_key key = {number_of(row, "table"), ipv4_of(row, "source"),
                           static_cast<std::uint8_t>(number_of(row, "source_len", 0, 32)),
                           ipv4_of(row, "group"),
                           static_cast<std::uint8_t>(number_of(row, "group_len", 0, 32))};
    route made;
    made.rpf_if = number_of(row, "rpf_if");
    made.flags = flags_word_of(row) & ~route_flags_of_sender;
    if (const std::uint32_t ordinal = number_of(row, "df_ordinal"); ordinal != 0) {
        add_words(made.other, fmt::format("df_ordinal {}", ordinal));
    }
    constexpr char expected[] = "an array of outgoing interfaces";
    for (const json_view &oif : row.member("oifs", expected).elements(expected)) {
        made.oifs.push_back(number_of(oif, "if_index"));
        if (const std::uint32_t kind = number_of(oif, "kind"); kind != 0) {
            add_words(made.other,
                      fmt::format("oif {} of kind {}", sim::if_name(made.oifs.back()), kind));
        }
    }
    add_count(made.other, row, "mti", "MTI");
    add_count(made.other, row, "glt", "GLT");
    add(row, into.routes, key, std::move(made));
}

void read_group(const json_view &row, const say_function &, state &into) {
    row.expect_object("a layer-2 entry, an object");
    group_key key = {vlan_of(row), address_of(row.member("group", "an address")), std::nullopt};
    const json_view source = row.member("source", "an address or null");
    if (!source.is_null()) {
        key.source = address_of(source);
        if (key.source->kind != key.group.kind) {
            source.reject("an address of the group's family");
        }
    }
    group made;
    made.bridge = number_of(row, "bridge");
    made.permanent = row.member("permanent", "true or false").boolean("true or false");
    constexpr char expected[] = "an array of ports";
    for (const json_view &port : row.member("ports", expected).elements(expected)) {
        made.ports.push_back({number_of(port, "if_index"), number_of(port, "flags")});
    }
    std::ranges::sort(made.ports);
    add(row, into.groups, key, std::move(made));
}

// The manager keeps a VLAN whose interfaces are all gone, with an empty set.
void read_flood_set(const json_view &row, const say_function &, state &into) {
    row.expect_object("a flood set, an object");
    const flood_key key = {vlan_of(row)};
    flood_set made = {interfaces_of(row), number_of(row, "line_card_mask")};
    if (!made.interfaces.empty()) {
        add(row, into.floods, key, std::move(made));
    }
}

void read_ltl(const json_view &row, const say_function &say, state &into) {
    row.expect_object("an LTL, an object");
    const ltl_key key = {vlan_of(row), number_of(row, "tag")};
    const std::uint32_t index = number_of(row, "index");
    const auto [made, is_new] = into.ltls.try_emplace(key, ltl{interfaces_of(row), index});
    if (!is_new) {
        say(fmt::format("left out LTL {:#x}: it has the VLAN {} and the tag {} of LTL {:#x}", index,
                        key.vlan, key.tag, made->second.index));
    }
}

struct shown_table {
    const char *name; // for `vellsim show`
    const char *rows; // where they are in JSON
    const char *noun;
    bool table_choice::*choice;
    void (*read)(const json_view &row, const say_function &say, state &into);
};

constexpr shown_table shown_tables[] = {
    {"flood", "/flood", "flood sets", &table_choice::floods, read_flood_set},
    {"l2", "/l2/entries", "layer-2 entries", &table_choice::groups, read_group},
    {"ltl", "/ltl", "LTLs", &table_choice::ltls, read_ltl},
    {"routes", "/routes", "routes", &table_choice::routes, read_route},
};

void check_whole(const json_view &root, const shown_table &table, std::uint64_t listed) {
    const std::string output = fmt::format("the output of `vellsim show {} --json`", table.name);
    root.expect_object("an object, " + output);
    json_view list = root.member(table.name, output);
    if (table.read == read_group) {
        list = list.member("entries", "an array of layer-2 entries");
    }
    list.expect_array(fmt::format("an array of {}", table.noun));
    if (const auto narrowed = root.find("narrowed"); narrowed && !narrowed->is_null()) {
        narrowed->fail(fmt::format(
            "these are some of the {} only: print them without the options that narrow them",
            table.noun));
    }
    const std::uint64_t matched =
        root.member("matched", "a number")
            .number<std::uint64_t>(0, std::numeric_limits<std::uint64_t>::max(), "a number");
    if (matched > listed) {
        root.fail(fmt::format("these are {} of {} {}: print them without --limit", listed, matched,
                              table.noun));
    }
}

// The vellsim that was built or installed beside this program, else the one on the PATH.
std::string find_vellsim() {
    char self[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", self, sizeof self);
    if (length > 0) {
        std::string path(self, static_cast<std::size_t>(length));
        path.replace(path.rfind('/') + 1, std::string::npos, "vellsim");
        if (access(path.c_str(), X_OK) == 0) {
            return path;
        }
    }
    return "vellsim";
}

// A program that fails says more than its output, unless it failed because nobody read on.
void run_vellsim(const shown_table &table, const say_function &say, state &into) {
    program_input program({find_vellsim(), "show", table.name, "--json"});
    std::string wrong;
    try {
        read_installed({program.name(), program.name(), program.output()}, table.name, say, into);
    } catch (const input_error &error) {
        wrong = error.what();
    }
    const program_end end = program.finish();
    if (!end.failure.empty() && (wrong.empty() || !end.by_signal)) {
        if (!sim::connect_service(sim::run_dir(), 0).socket) {
            throw session_error(no_switch());
        }
        throw input_error(end.failure);
    }
    if (!wrong.empty()) {
        throw input_error(wrong);
    }
}

} // namespace

state ask_installed(const table_choice &only, const say_function &say) {
    state installed;
    for (const shown_table &table : shown_tables) {
        if (only.*table.choice) {
            run_vellsim(table, say, installed);
        }
    }
    return installed;
}

void keep_vlans(state &installed, const std::set<std::uint16_t> &vlans) {
    const auto keep = [&](auto &rows) {
        std::erase_if(rows, [&](const auto &row) { return !vlans.contains(row.first.vlan); });
    };
    keep(installed.groups);
    keep(installed.floods);
    keep(installed.ltls);
}

void read_installed(const json_input &from, std::string_view shown, const say_function &say,
                    state &into) {
    const shown_table &table = *std::ranges::find(shown_tables, shown, &shown_table::name);
    std::uint64_t listed = 0;
    const json_part around = read_json_rows(from, table.rows, [&](const json_view &row) {
        ++listed;
        table.read(row, say, into);
    });
    check_whole(json_view(around), table, listed);
}

} // namespace feed
