// What vellfeed's commands do once their options are read, and what these options are. Each returns
// the exit code, and throws what input_error.h declares.
#pragma once

#include "client_session.h"
#include "flood_options.h"
#include "ltl_ports.h"
#include "mdb_options.h"
#include "sim/base/cli_fwd.h"
#include "table_options.h"

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace feed {

struct routes_command {
    table_options table;
    session_options session;
    bool deletion = false;
    std::uint32_t message_bytes = 65536;
    void add_to(CLI::App &command);
    int run(std::ostream &out) const;
};

struct compare_command {
    table_options table;
    std::string held_path; // empty: ask the switch
    void add_to(CLI::App &command);
    int run(std::ostream &out) const;
};

struct role_command {
    std::string name; // of a role, or empty for `value`
    std::optional<std::uint32_t> value;
    session_options session;
    bool quiet = false;
    void add_to(CLI::App &command);
    int run(std::ostream &out) const;
};

struct notice6_command {
    std::uint32_t first = 0;
    std::uint32_t second = 0;
    std::uint16_t third = 0;
    session_options session;
    bool quiet = false;
    void add_to(CLI::App &command);
    int run(std::ostream &out) const;
};

struct l2_command {
    mdb_options mdb;
    older_options older;
    session_options session;
    std::uint16_t value = 0;
    std::uint32_t message_bytes = 65536;
    bool no_markers = false;
    void add_to(CLI::App &command);
    int run(std::ostream &out) const;
};

struct l2_compare_command {
    mdb_options mdb;
    std::string held_path; // empty: ask the switch
    void add_to(CLI::App &command);
    int run(std::ostream &out) const;
};

struct flood_command {
    std::vector<std::string>
        paths; // the older list of ports, if there is one, and the newer one unless it is live
    flood_options ports;
    session_options session;
    void add_to(CLI::App &command);
    int run(std::ostream &out) const;
};

struct flood_compare_command {
    std::string path;
    flood_options ports;
    std::string held_path; // empty: ask the switch
    void add_to(CLI::App &command);
    int run(std::ostream &out) const;
};

struct ltl_alloc_command {
    std::uint32_t vlan = 0;
    std::uint32_t tag = 0;
    ltl_ports ports;
    session_options session;
    void add_to(CLI::App &command);
    int run(std::ostream &out) const;
};

struct ltl_modify_command {
    std::uint32_t index = 0;
    std::uint32_t tag = 0;
    std::uint32_t vlan = 0; // of the group; 0: none
    ltl_ports ports;
    session_options session;
    void add_to(CLI::App &command);
    int run(std::ostream &out) const;
};

struct ltl_release_command {
    std::uint32_t index = 0;
    std::uint32_t tag = 0;
    session_options session;
    void add_to(CLI::App &command);
    int run(std::ostream &out) const;
};

struct stats_command {
    std::string source;
    std::string group;
    std::uint32_t table = 253;
    std::optional<std::uint8_t> source_length; // none: all of the address
    std::optional<std::uint8_t> group_length;
    bool clear = false;
    bool clear_only = false;
    session_options session;
    void add_to(CLI::App &command);
    int run(std::ostream &out) const;
};

struct day_command {
    std::string routes;
    std::string routes_links;
    std::string mdb;
    std::string mdb_links;
    std::string later_mdb;
    std::string later_mdb_links;
    std::string ports;
    std::string later_ports;
    std::vector<std::string> vlans;   // BRIDGE=N
    std::vector<std::string> bridges; // all, when none
    session_options session;
    void add_to(CLI::App &command);
    int run(std::ostream &out) const;
};

struct marker_command {
    std::uint32_t marker = 0;
    session_options session;
    bool quiet = false;
    void add_to(CLI::App &command);
    int run(std::ostream &out) const;
};

struct download_complete_command {
    session_options session;
    bool quiet = false;
    void add_to(CLI::App &command);
    int run(std::ostream &out) const;
};

struct overlay_disable_command {
    bool flag = false;
    bool quiet = false;
    void add_to(CLI::App &command);
    int run(std::ostream &out) const;
};

struct overlay_vlans_command {
    std::vector<std::uint16_t> vlans;
    bool quiet = false;
    void add_to(CLI::App &command);
    int run(std::ostream &out) const;
};

struct overlay_route_command {
    std::uint16_t type = 0;
    std::string body; // hexadecimal
    bool quiet = false;
    void add_to(CLI::App &command);
    int run(std::ostream &out) const;
};

} // namespace feed
