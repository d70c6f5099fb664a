#!/usr/bin/env bash
# Records what `bridge` prints of a real kernel's multicast snooping databases. See README.md.
set -euo pipefail

# shellcheck source-path=SCRIPTDIR source=recording.sh
source "$(dirname "${BASH_SOURCE[0]}")/recording.sh"
known=(snooping stadium)

usage() {
    cat <<'TEXT'
Usage: record-mdb.sh [-o DIRECTORY] [snooping|stadium]...

Builds an access switch in a network namespace of its own, with one bridge a
VLAN, gives its kernel multicast groups, and writes what `bridge` prints of them
to RECORDING/mdb.json and what `ip` prints of its links to RECORDING/links.json.
Without a name both are recorded.

  snooping   four VLANs with a few dozen groups: set by hand and learned from
             receivers, IPv4, IPv6 and MAC, with and without a source, in
             snooping-1; in snooping-2 the same switch some changes later
  stadium    several hundred groups on 48 ports, set by hand

  -o DIRECTORY   where the recordings go (default: the folder of this script)
  -h             this text

Needs root, iproute2 and python3. Nothing outside its own namespaces is touched,
and they are gone when the script ends, however it ends.

Example: sudo ./record-mdb.sh -o /tmp snooping
TEXT
}

# with_ipv6 NAMESPACE INTERFACE: its address can be used at once.
with_ipv6() {
    ip netns exec "$1" sysctl -q "net.ipv6.conf.$2.accept_dad=0" "net.ipv6.conf.$2.disable_ipv6=0"
}

make_access_switch() {
    make_namespaces
    without_ipv6 "$machine"
    without_ipv6 "$hosts"
    add_snooping_bridge 10 3 2 # offices
    add_snooping_bridge 20 3 2 # television
    add_snooping_bridge 30 3 2 # cameras and machines
    add_snooping_bridge 40 2 1 # guests, with old equipment
    add_ports 10 101 lan1 lan2 lan3 lan4 lan5 lan6 up10
    add_ports 20 111 tv1 tv2 tv3 tv4 tv5 up20
    add_ports 30 121 cam1 cam2 cam3 cam4 plc1 up30
    add_ports 40 131 guest1 guest2 up40
    local port
    for port in up10 up20 up40; do bridge -n "$machine" link set dev "$port" mcast_router 2; done
    bridge -n "$machine" link set dev tv5 fastleave on
}

set_by_hand() {
    mdb <<'MDB'
Television: the more popular the channel, the more sets.
add 20 tv1 239.192.10.1 permanent
add 20 tv2 239.192.10.1 permanent
add 20 tv3 239.192.10.1 permanent
add 20 tv4 239.192.10.1 permanent
add 20 tv2 239.192.10.2 permanent
add 20 tv4 239.192.10.2 permanent
add 20 tv3 239.192.10.3 permanent
add 20 tv1 232.1.1.1 src 198.51.100.7 permanent
add 20 tv3 232.1.1.1 src 198.51.100.7 permanent
add 20 tv1 232.1.1.1 src 198.51.100.8 permanent
add 20 tv2 ff3e::4321:1 src 2001:db8:20::11 permanent
add 20 tv5 ff3e::4321:1 src 2001:db8:20::11 permanent

Cameras to the uplink, one of them watched at the machines too.
add 30 up30 239.192.20.1 src 10.20.20.101 permanent
add 30 up30 239.192.20.2 src 10.20.20.102 permanent
add 30 up30 239.192.20.3 src 10.20.20.103 permanent
add 30 plc1 239.192.20.3 src 10.20.20.103 permanent

The same group in two VLANs, and clocks and machines that speak no IP.
add 10 lan1 239.192.10.1 permanent
add 10 lan2 01:1b:19:00:00:00 permanent
add 30 cam1 01:1b:19:00:00:00 permanent
add 30 plc1 01:1b:19:00:00:00 permanent
add 30 up30 01:1b:19:00:00:00 permanent
add 30 plc1 01:0e:cf:00:00:01 permanent
add 30 plc1 01:00:5e:40:01:02 permanent
add 10 lan3 ff0e::101 permanent
add 10 lan4 ff0e::101 permanent
add 40 guest1 239.192.10.1 permanent
add 40 guest2 239.40.1.1 permanent vid 41
add 40 guest2 33:33:00:00:00:fb permanent
MDB
}

learn_from_receivers() {
    join offices lan1,239.255.255.250 lan5,239.255.255.250 lan5,224.0.1.129
    join lan2 lan2,239.255.255.250
    join lan6 lan6,239.255.255.250 lan6,239.255.12.34
    with_ipv6 "$hosts" lan3
    join lan3 lan3,ff05::1:3
    # From two sources, from all but one, and from any one on a port whose group is set by hand elsewhere.
    join news1 tv1,232.1.1.9,198.51.100.7
    join news2 tv1,232.1.1.9,198.51.100.8
    join news4 tv4,232.1.1.9,198.51.100.7
    join radio2 tv2,239.192.11.1,-198.51.100.66
    join radio3 tv3,239.192.11.1
    join radio4 tv4,239.192.11.2,-198.51.100.67
    join tv5 tv5,239.192.10.1 tv5,239.192.10.2
    join guests guest1,239.255.255.250 guest2,239.255.255.250
    # The switch itself is a host, too.
    with_ipv6 "$machine" br10
    namespace=$machine join self br10,239.255.255.250 br30,224.0.1.129
}

# Ports join and leave; entries, sources, and a port of the switch itself come and go.
change_something() {
    mdb <<'MDB'
del 20 tv4 239.192.10.1
add 20 tv3 239.192.10.2 permanent
del 20 tv3 239.192.10.3
add 20 tv1 239.192.10.4 permanent
add 20 tv2 239.192.10.4 permanent
del 20 tv1 232.1.1.1 src 198.51.100.8
add 20 tv4 ff3e::4321:1 src 2001:db8:20::12 permanent
del 30 cam1 01:1b:19:00:00:00
del 30 plc1 01:0e:cf:00:00:01
add 30 plc1 01:0e:cf:00:00:02 permanent
del 10 lan1 239.192.10.1
MDB
    # What was set by hand is learned now.
    join lan1 lan1,239.192.10.1
    join lan4 lan4,239.255.255.250
    leave lan2
    leave lan6
    leave news2
    leave radio2
    ip -n "$machine" link del guest2
    add_ports 40 134 guest3
    join guest3 guest3,239.255.255.250 guest3,239.40.1.2
}

record_snooping() {
    make_access_switch
    set_by_hand
    learn_from_receivers
    wait_for "55 entries" has_entries 55
    write_groups snooping-1
    change_something
    wait_for "48 entries" has_entries 48
    write_groups snooping-2
    drop_namespaces
}

# 400 groups in 4 VLANs, each on 1 to 8 of its VLAN's 12 ports.
stadium_groups() {
    awk 'BEGIN {
        for (vlan = 101; vlan <= 104; vlan++)
            for (group = 1; group <= 100; group++) {
                if (group <= 60) address = sprintf("239.64.%d.%d permanent", vlan, group)
                else if (group <= 80) address = sprintf("232.64.%d.%d src 10.64.%d.9 permanent", vlan, group, group % 3)
                else if (group <= 92) address = sprintf("ff0e::64:%x:%x permanent", vlan, group)
                else address = sprintf("01:1b:19:64:%02x:%02x permanent", vlan, group)
                ports = 1 + (group * 5 + vlan) % 8
                for (n = 0; n < ports; n++)
                    printf "add %d seat%d %s\n", vlan, 1 + (vlan - 101) * 12 + (group * 7 + n * 5) % 12, address
            }
    }'
}

record_stadium() {
    make_namespaces
    without_ipv6 "$machine"
    without_ipv6 "$hosts"
    local vlan first
    for vlan in {101..104}; do
        add_snooping_bridge "$vlan" 3 2
        first=$((1 + (vlan - 101) * 12))
        # shellcheck disable=SC2046 # one name a word
        add_ports "$vlan" $((150 + first)) $(seq -f 'seat%g' $first $((first + 11)))
    done
    stadium_groups | mdb
    write_groups stadium
    drop_namespaces
}

run_recordings "iproute2, python3" "ip bridge python3" "$@"
