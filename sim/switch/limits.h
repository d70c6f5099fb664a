// Every limit of the switch. What would pass one of them is refused, and the log names it; `vellsim
// run --help` lists them.
#pragma once

#include "sim/wire/log_file.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace sim {

// The tables.
inline constexpr std::size_t route_limit = 2'000'000;
inline constexpr std::size_t route_list_limit = 256u << 20; // bytes of the routes' lists
inline constexpr std::size_t counter_limit = 1'000'000;     // of `vellsim count`
inline constexpr std::uint32_t ltl_index_limit = 65'536;
inline constexpr std::size_t l2_entry_limit = 500'000;
inline constexpr std::size_t l2_record_limit = 64u << 20; // bytes of flood lists and other records
inline constexpr std::size_t interface_limit = 4'000'000; // of layer-2 entries, LTLs and flood sets
inline constexpr std::size_t batches_kept = 256;          // and as many other markers
inline constexpr std::size_t gone_clients_kept = 64;
inline constexpr std::size_t overlay_routes_kept = 64;

// The connections.
inline constexpr std::uint32_t files_needed = 1024; // that may be open at once
inline constexpr std::size_t connection_limit = files_needed - 24;
inline constexpr std::chrono::seconds unfinished_limit{60}; // without the rest of a message
inline constexpr std::size_t input_limit = 256u << 20;      // of unfinished messages of all of them
inline constexpr std::size_t output_limit = 1u << 20;       // of unread answers of one of them
inline constexpr std::chrono::seconds unread_limit{10};     // at its output limit
inline constexpr std::size_t all_output_limit = 256u << 20; // of unread answers of all of them

// What a server works with; a test chooses smaller ones.
struct server_limits {
    std::size_t connections = connection_limit;
    std::chrono::milliseconds unfinished = unfinished_limit;
    std::size_t input = input_limit;
    std::size_t output = output_limit;
    std::chrono::milliseconds unread = unread_limit;
    std::size_t all_output = all_output_limit;
};

struct limit_row {
    std::uint64_t value;
    std::string_view text; // after the value; its further lines are indented
};

inline constexpr limit_row limit_rows[] = {
    {route_limit, "routes"},
    {route_list_limit >> 20, "MiB of the routes' OIF, MTI and GLT lists"},
    {counter_limit, "counters of `vellsim count`"},
    {l2_entry_limit, "layer-2 entries"},
    {l2_record_limit >> 20, "MiB of flood lists and other layer-2 records"},
    {ltl_index_limit, "LTL indexes"},
    {interface_limit, "interfaces of layer-2 entries, LTLs and flood sets"},
    {batches_kept, "layer-2 batches, and as many other markers; then the\n"
                   "oldest is forgotten, as it is of the next two"},
    {gone_clients_kept, "clients that are gone"},
    {overlay_routes_kept, "overlay route updates"},
    {log_file_limit >> 20, "MiB of a log file; a sink has up to three"},
    {connection_limit, "connections; more are refused"},
    {unfinished_limit.count(), "seconds without the rest of a message, or without the\n"
                               "first one of a new connection, which is then closed"},
    {input_limit >> 20, "MiB of unfinished messages of all connections; the one\n"
                        "that has the most is closed"},
    {output_limit >> 20, "MiB of answers that a connection has not read; until\n"
                         "then no more of its requests are handled"},
    {unread_limit.count(), "seconds without reading any of them; it is closed"},
    {all_output_limit >> 20, "MiB of unread answers of all connections; the one\n"
                             "that has the most is closed"},
};

} // namespace sim
