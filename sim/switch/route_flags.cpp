#include "sim/switch/route_flags.h"

#include <fmt/format.h>
#include <iterator>
#include <string_view>

namespace sim {

namespace {

// Indexed by bit. Where the library has two names for a bit, the one under which it is set first.
constexpr std::string_view names[] = {
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

} // namespace

std::vector<std::string> flag_names(std::uint64_t flags) {
    std::vector<std::string> set;
    for (std::size_t bit = 0; bit < 64; ++bit) {
        if ((flags >> bit & 1) == 0) {
            continue;
        }
        const bool has_name = bit < std::size(names) && !names[bit].empty();
        set.push_back(has_name ? std::string(names[bit]) : fmt::format("bit{}", bit));
    }
    return set;
}

} // namespace sim
