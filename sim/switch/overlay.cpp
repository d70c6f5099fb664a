#include "sim/switch/overlay.h"

#include "sim/base/text.h"
#include "sim/switch/answer.h"
#include "sim/switch/byte_reader.h"
#include "sim/switch/limits.h"
#include "sim/switch/request.h"
#include "sim/wire/protocol.h"

#include <algorithm>

namespace sim {

namespace {

constexpr std::size_t feature_notice_size = 8;

std::uint16_t read_head(byte_reader &reader, std::size_t message_size) {
    const std::uint16_t type = reader.u16("type");
    const std::size_t offset = reader.offset();
    if (const std::uint16_t length = reader.u16("length"); length != message_size) {
        refuse_at(offset, "length is {}, but the message has {} bytes", length, message_size);
    }
    return type;
}

void read_feature_notice(byte_reader &reader, std::span<const std::byte> message) {
    require_length(message, feature_notice_size);
    const std::size_t offset = reader.offset();
    if (const std::uint32_t value = reader.u32("value"); value != 0) {
        refuse_at(offset, "value is {}, it must be 0", value);
    }
}

std::vector<std::uint16_t> read_vlans(byte_reader &reader) {
    std::vector<std::uint16_t> vlans;
    while (reader.left() > 0) {
        const std::size_t offset = reader.offset();
        const std::uint16_t vlan = reader.u16("VLAN id");
        if (vlan < 1 || vlan > VELL_SIM_HIGHEST_VLAN) {
            refuse_at(offset, "VLAN id {} is not 1 to {}", vlan, VELL_SIM_HIGHEST_VLAN);
        }
        vlans.push_back(vlan);
    }
    return vlans;
}

std::string_view overlay_feature_name(overlay_feature feature) {
    constexpr std::string_view names[] = {"enabled", "disabled", "disabled with flag"};
    return names[static_cast<std::size_t>(feature)];
}

void print_overlay_state(output &out, const overlay_state &overlay) {
    out.field("feature", "Overlay feature: {}\n", overlay_feature_name(overlay.feature));
    out.open_wrapped_list("vlans_disabled", "VLANs disabled: ");
    for (const std::uint16_t vlan : overlay.vlans_disabled) {
        out.field({}, "{}", vlan);
    }
    if (overlay.vlans_disabled.empty()) {
        out.text("none");
    }
    out.close_list();
    out.json("route_updates", overlay.route_updates);
}

void print_overlay_route(output &out, const overlay_route &route) {
    constexpr std::size_t line_size = 32;
    out.open_object();
    out.field("type", "Route update of type {}", route.type);
    out.text(", {}, ", counted(route.body.size(), "byte"));
    print_sender(out, route.from);
    out.text("\n");
    const std::span<const std::byte> body = route.body;
    if (out.is_json()) {
        out.json("body", hex_text(body));
    } else {
        for (std::size_t at = 0; at < body.size(); at += line_size) {
            out.text("    {}\n", hex_text(body.subspan(at, std::min(line_size, body.size() - at))));
        }
    }
    out.close_object();
}

} // namespace

void handle_overlay_notice(request &asked) {
    byte_reader reader(asked.payload);
    overlay_state &overlay = asked.vell.overlay;
    const std::uint16_t type = read_head(reader, asked.payload.size());
    switch (type) {
    case VELL_SIM_OVERLAY_DISABLE:
    case VELL_SIM_OVERLAY_DISABLE_WITH_FLAG:
        read_feature_notice(reader, asked.payload);
        require_option_word_1(asked, 0);
        overlay.feature = type == VELL_SIM_OVERLAY_DISABLE ? overlay_feature::disabled
                                                           : overlay_feature::disabled_with_flag;
        break;
    case VELL_SIM_OVERLAY_DISABLE_VLANS: {
        const std::vector<std::uint16_t> vlans = read_vlans(reader);
        require_option_word_1(asked, 1);
        overlay.vlans_disabled.insert(vlans.begin(), vlans.end());
        break;
    }
    default:
        refuse_at(0, "type {} is not 1 (disable), 2 (disable VLANs) or 3 (disable with flag)",
                  type);
    }
}

void handle_overlay_route(request &asked) {
    byte_reader reader(asked.payload);
    const std::uint16_t type = read_head(reader, asked.payload.size());
    const auto body = reader.take(reader.left(), "body");
    overlay_state &overlay = asked.vell.overlay;
    if (overlay.routes.size() == overlay_routes_kept) {
        overlay.routes.pop_front();
    }
    overlay.routes.push_back({name_sender(asked), type, {body.begin(), body.end()}});
    ++overlay.route_updates;
}

answer show_overlay(service &vell, const question &asked) {
    answer made(asked);
    const overlay_state &overlay = vell.overlay;
    made.once([&overlay](output &out, row_count &) {
        print_overlay_state(out, overlay);
        out.open_rows("overlay");
    });
    // Updates are numbered from 0; the oldest ones may be forgotten meanwhile.
    made.add([&overlay, next = std::uint64_t{0}](output &out, row_count &rows) mutable {
        const std::uint64_t oldest = overlay.route_updates - overlay.routes.size();
        next = std::max(next, oldest);
        for (; next < overlay.route_updates && !answer::is_enough(out); ++next) {
            if (rows.take()) {
                print_overlay_route(out, overlay.routes[static_cast<std::size_t>(next - oldest)]);
            }
        }
        return next == overlay.route_updates;
    });
    made.once([&overlay](output &out, row_count &rows) {
        out.close_list();
        out.text("{}\n", counted_of(rows.shown, overlay.route_updates, "route update"));
    });
    return made;
}

} // namespace sim
