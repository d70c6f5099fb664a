// What the parts of a plan share: reading the kernel's tables one after the other, and what one table
// says that the rows of another one need.
#pragma once

#include "feed/interfaces.h"
#include "feed/json_rows.h"
#include "feed/plan.h"
#include "sim/wire/protocol.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace feed {

inline constexpr std::uint32_t largest_kernel_index = 0x7fffffff;
inline constexpr std::uint16_t largest_vlan = VELL_SIM_HIGHEST_VLAN;

// One of the tables of a snapshot.
struct kernel_table {
    std::string_view file;
    std::vector<std::string> command;
    std::string_view rows;     // as read_json_rows() takes it
    std::string_view contents; // in words: "an array of interfaces"
};

const std::vector<kernel_table> &kernel_table_list();

// The tables of one snapshot, and the kernel's indexes that they say.
class kernel_tables {
public:
    // Throws input_error when there is no such directory, or none of the files in it.
    explicit kernel_tables(const snapshot &from);

    bool is_machine() const { return directory_.empty(); }
    std::string name() const; // the directory's, or "this machine"

    // Calls `take` for each row in turn, and returns what is around the rows, which is an array. None:
    // the directory has no such file.
    std::optional<json_part> read(std::string_view file,
                                  const std::function<void(const json_view &row)> &take) const;

    // Remembers the index of an interface, which `index` says. Throws input_error when another table
    // says another one.
    void learn(const std::string &interface, const json_view &index);

    const kernel_indexes &indexes() const { return indexes_; }

private:
    std::string path(const kernel_table &table) const;

    std::string directory_;
    kernel_indexes indexes_;
    std::map<std::string, std::string> places_; // where each is said
};

// Where a row that is kept comes from.
struct row_place {
    explicit row_place(const json_view &row) : text(row.place()), entry(row.entry()) {}

    // "mdb.json: entry 3 (/0/mdb/2/port): WHAT", of the member "/port".
    [[noreturn]] void fail(std::string_view member, const std::string &what) const;

    std::string text;
    std::size_t entry;
};

// A port of a group, or the bridge itself where this machine is a member.
struct group_member {
    std::string bridge;
    std::string port;
    sim::l2_address group;
    std::optional<sim::l2_address> source;
    std::optional<std::uint16_t> vlan; // as the entry says
    bool is_permanent;
    bool is_sent_to; // not only kept for what is known of its sources
    row_place place;
};

struct bridge_port {
    std::string bridge;
    std::string name;
    bool is_flooded;
    bool is_forwarding;
    row_place place;
};

// A plan while it is made. First each table that says indexes is read, then interfaces can be
// numbered and the tables planned.
struct planning {
    const plan_options &options;
    kernel_tables tables;
    plan made = {};
    std::set<std::string> bridges = {}; // that some table has, left out or not
    std::vector<group_member> members = {};
    std::vector<bridge_port> ports = {};
    std::map<std::string, std::set<std::uint16_t>> port_vlans = {}; // and a bridge's own
    std::set<std::string> aware_bridges = {};                       // of VLANs
    interfaces numbers = interfaces({});

    bool plans_groups() const { return options.only.groups || options.only.ltls; }
    bool takes_bridge(const std::string &bridge, bool is_counted);
    // --vlan BRIDGE=N, or the N of brN; 0 when neither says it.
    std::uint16_t vlan_of(const std::string &bridge) const;
};

void read_members(planning &now);
void read_ports(planning &now);
void plan_groups(planning &now); // and their LTLs
void plan_floods(planning &now);
void plan_routes(planning &now);

// What to do about a bridge whose VLAN is not known, after a complaint.
std::string vlan_remedy(const std::string &bridge);

// Reads, numbers and plans all that the options choose.
plan plan_tables(kernel_tables tables, const plan_options &options);

// A name, which is not empty.
const std::string &read_name(const json_view &row, const char *member, std::string_view expected);

// True for the first of two words; any other is refused.
bool is_first(const json_view &view, std::string_view first, std::string_view second);

// Names that may be in one row each.
class unique_names {
public:
    const std::string &read(const json_view &row, std::string_view expected); // of "ifname"

private:
    std::map<std::string, std::size_t> entries_;
};

// The number of an interface; `fail` throws what interfaces::number() has to say.
template <typename Fail>
std::uint32_t number_or_fail(interfaces &numbers, const std::string &name, Fail &&fail) {
    try {
        return numbers.number(name);
    } catch (const std::invalid_argument &error) {
        fail(error.what());
        throw;
    }
}

} // namespace feed
