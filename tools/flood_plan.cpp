#include "flood_plan.h"

#include "input_error.h"
#include "printable.h"
#include "switch_port.h"

#include <fmt/format.h>
#include <map>

namespace feed {

namespace {

// A VLAN as it grows, port by port.
struct growing_set {
    const bridge_port *first;
    std::map<std::uint32_t, const bridge_port *> ports; // by the switch's index
};

class planner {
public:
    planner(const port_table &table, const bridge_vlans &vlans) : table_(table), vlans_(vlans) {}

    flood_plan run() {
        for (const bridge_port &port : table_.ports)
            add(port);
        flood_plan plan;
        for (const auto &[vlan, grown] : sets_)
            plan.sets.push_back(finished(vlan, grown));
        plan.other_bridges = table_.other_bridges;
        plan.bridges = table_.bridges;
        return plan;
    }

private:
    void add(const bridge_port &port) {
        const std::uint32_t vlan = vlan_of(port);
        growing_set &grown = sets_.emplace(vlan, growing_set{&port, {}}).first->second;
        if (grown.first->bridge != port.bridge) {
            throw input_error(fmt::format(
                "{}: VLAN {} is the bridge {} here and {} in entry {}; a VLAN has one bridge",
                table_.place(port, "/master"), vlan, in_quotes(port.bridge),
                in_quotes(grown.first->bridge), grown.first->entry + 1));
        }
        if (port.floods)
            add_port(grown, port);
    }

    std::uint32_t vlan_of(const bridge_port &port) const {
        const std::uint32_t vlan = vlan_of_bridge(port.bridge, vlans_);
        if (vlan == 0) {
            throw input_error(fmt::format(
                "{}: the bridge {} has no VLAN in its name, as br10 has; {}",
                table_.place(port, "/master"), in_quotes(port.bridge), vlan_remedy(port.bridge)));
        }
        return vlan;
    }

    void add_port(growing_set &grown, const bridge_port &port) const {
        const auto index = index_of_link(port.name, port.index);
        if (!index) {
            throw input_error(fmt::format(
                "{}: the index {} of the port {} is too large for an interface that the "
                "switch knows by it alone",
                table_.place(port, "/ifindex"), port.index, in_quotes(port.name)));
        }
        const bridge_port &first = *grown.ports.emplace(*index, &port).first->second;
        if (&first != &port) {
            throw input_error(
                fmt::format("{}: the port {} is {} for the switch, and so is {} in entry {}",
                            table_.place(port, "/ifindex"), in_quotes(port.name),
                            switch_name(*index), in_quotes(first.name), first.entry + 1));
        }
    }

    static flood_set finished(std::uint32_t vlan, const growing_set &grown) {
        flood_set set;
        set.entry = grown.first->entry;
        set.key.vlan = vlan;
        for (const auto &[index, port] : grown.ports) {
            (is_vlan_interface(index) ? set.vlan_interfaces : set.interfaces).push_back(index);
            set.line_card_mask |= line_card_bit(index);
        }
        return set;
    }

    const port_table &table_;
    const bridge_vlans &vlans_;
    std::map<std::uint32_t, growing_set> sets_; // by VLAN
};

} // namespace

flood_plan plan_flood(const port_table &table, const bridge_vlans &vlans) {
    return planner(table, vlans).run();
}

} // namespace feed
