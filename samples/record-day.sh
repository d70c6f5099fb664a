#!/usr/bin/env bash
# Records all multicast state of a real kernel's switch at three times of a day. See README.md.
set -euo pipefail

# shellcheck source-path=SCRIPTDIR source=recording.sh
source "$(dirname "${BASH_SOURCE[0]}")/recording.sh"
known=(day)

usage() {
    cat <<'TEXT'
Usage: record-day.sh [-o DIRECTORY] [day]

Builds a routing switch in a network namespace of its own, with one bridge per
VLAN and smcrouted between them, and writes what `ip` and `bridge` print of its
routes, groups, ports and links to day/1, day/2 and day/3.

  day   the morning; noon, when routes, groups and ports have changed; and the
        night, when most of it is gone

  -o DIRECTORY   where the recordings go (default: the folder of this script)
  -h             this text

Needs root, iproute2, smcroute and python3. Nothing outside its own namespaces
is touched, and they are gone when the script ends, however it ends.

Example: sudo ./record-day.sh -o /tmp
TEXT
}

# port_is NAME STATE
port_is() {
    bridge -n "$machine" link show dev "$1" | grep -q " state $2 "
}

are_forwarding() {
    local name
    for name in "$@"; do port_is "$name" forwarding || return 1; done
}

# make_ring NAME NAME: two ports of br10 lead to the same neighbour, so that its spanning tree blocks the second.
make_ring() {
    local timers="forward_delay 200 hello_time 100 max_age 600" name
    # shellcheck disable=SC2086 # one word each
    ip -n "$machine" link set br10 type bridge stp_state 1 $timers
    # shellcheck disable=SC2086
    ip -n "$hosts" link add ring address 02:00:5e:00:03:01 type bridge stp_state 1 priority 4096 mcast_snooping 0 $timers
    for name in "$@"; do ip -n "$hosts" link set "$name" master ring; done
    ip -n "$hosts" link set ring up
}

# unplug NAME: its other end goes down.
unplug() {
    ip -n "$hosts" link set "$1" down
    wait_for "$1 to be disabled" port_is "$1" disabled
}

# reroute: smcrouted reads its rules, which are standard input, again.
reroute() {
    {
        printf 'phyint %s enable\n' br10 br20 br30 eth6-1
        echo "phyint eth6-2 enable ttl-threshold 32"
        cat
    } >"$work/smcrouted.conf"
    [[ -z ${routing:-} ]] || kill -HUP "$routing"
}

make_switch() {
    make_router
    without_ipv6 "$machine"
    without_ipv6 "$hosts"
    local vlan
    for vlan in 10 20 30; do
        add_snooping_bridge "$vlan" 3 2
        ip -n "$machine" addr add "10.50.$vlan.1/24" dev "br$vlan"
    done
    add_interface eth6-1 201 10.50.201.1/24 # uplinks, which are not ports of a bridge
    add_interface eth6-2 202 10.50.202.1/24
    add_ports 10 101 eth1-1 eth1-2 eth1-3 eth1-4 eth1-5 po1 # offices
    add_ports 20 111 eth2-1 eth2-2 eth2-3 eth2-4-1   # television
    add_ports 30 121 eth3-1 eth3-2 cam1 cam2         # cameras
    flooding off eth2-1 eth2-2 eth2-3 eth2-4-1
    bridge -n "$machine" link set dev po1 mcast_router 2
    make_ring eth1-4 eth1-5
    unplug cam2
    wait_for "eth1-5 to block" port_is eth1-5 blocking
    wait_for "the offices' ports to forward" are_forwarding eth1-1 eth1-2 eth1-3 eth1-4 po1
}

morning() {
    reroute <<'CONF'
mroute from eth6-1 source 10.60.0.11 group 239.192.10.1 to br10 br20 eth6-2
mroute from eth6-1 source 10.60.0.11 group 239.192.10.2 to br20
mroute from eth6-1 source 10.60.0.11 group 239.192.10.3 to br20
mroute from eth6-1 source 198.51.100.7 group 232.1.1.9 to br20
mroute from br30 source 10.50.30.101 group 239.192.20.1 to br10 eth6-1
mroute from br30 source 10.50.30.102 group 239.192.20.2 to br10
mroute from br10 source 10.50.10.20 group 239.255.12.34 to br20 br30
mroute from eth6-2 source 203.0.113.40 group 232.7.200.1 to br10 br20 br30 eth6-1
CONF
    start_smcrouted "$work/smcrouted.conf"
    routing=$child
    mdb <<'MDB'
add 20 eth2-1 239.192.10.1 permanent
add 20 eth2-2 239.192.10.1 permanent
add 20 eth2-3 239.192.10.1 permanent
add 20 eth2-2 239.192.10.2 permanent
add 20 eth2-4-1 239.192.10.2 permanent
add 20 eth2-1 232.1.1.9 src 198.51.100.7 permanent
add 10 eth1-4 239.192.20.1 permanent
add 10 eth1-5 239.192.20.1 permanent
add 10 eth1-1 01:1b:19:00:00:00 permanent
add 30 eth3-1 ff0e::101 permanent
add 30 cam2 239.192.20.3 permanent
MDB
    join offices eth1-1,239.255.12.34 eth1-2,239.255.12.34
    join porter eth1-2,239.192.20.1 eth1-3,239.192.20.2
    join set eth2-3,239.192.10.3 eth2-3,232.1.1.9,198.51.100.7
    namespace=$machine join self br10,239.255.255.250
    wait_for "8 routes" has_routes 8
    wait_for "19 entries" has_entries 19
    write_snapshot day/1
}

noon() {
    # A rule has gone, one has one more interface, two are new.
    reroute <<'CONF'
mroute from eth6-1 source 10.60.0.11 group 239.192.10.1 to br10 br20 eth6-2
mroute from eth6-1 source 10.60.0.11 group 239.192.10.2 to br20
mroute from eth6-1 source 10.60.0.11 group 239.192.10.4 to br10 br20
mroute from eth6-1 source 198.51.100.7 group 232.1.1.9 to br20
mroute from br30 source 10.50.30.101 group 239.192.20.1 to br10 eth6-1
mroute from br30 source 10.50.30.102 group 239.192.20.2 to br10 br20
mroute from br10 source 10.50.10.20 group 239.255.12.34 to br20 br30
mroute from eth6-2 source 203.0.113.40 group 232.7.200.1 to br10 br20 br30 eth6-1
mroute from eth6-2 source 203.0.113.41 group 232.7.200.1 to br30
CONF
    mdb <<'MDB'
del 20 eth2-3 239.192.10.1
add 20 eth2-2 239.192.10.4 permanent
add 20 eth2-2 232.1.1.9 src 198.51.100.7 permanent
del 30 eth3-1 ff0e::101
MDB
    join guest po1,239.192.20.2
    # The blocked port takes over, a camera is plugged in again, and a port is gone for another one.
    unplug eth1-4
    wait_for "eth1-5 to forward" port_is eth1-5 forwarding
    ip -n "$hosts" link set cam2 up
    wait_for "cam2 to forward" port_is cam2 forwarding
    ip -n "$machine" link del eth3-2
    add_ports 30 125 eth3-3
    wait_for "eth3-3 to forward" port_is eth3-3 forwarding
    flooding on eth2-3
    flooding off cam1
    wait_for "9 routes" has_routes 9
    wait_for "20 entries" has_entries 20
    write_snapshot day/2
}

night() {
    reroute <<'CONF'
mroute from eth6-1 source 10.60.0.11 group 239.192.10.1 to br10 br20 eth6-2
mroute from br30 source 10.50.30.101 group 239.192.20.1 to br10 eth6-1
CONF
    leave offices
    leave porter
    leave set
    leave guest
    wait_for "2 routes" has_routes 2
    wait_for "12 entries" has_entries 12
    # Nothing is left of the television's ports but those set by hand.
    unplug eth2-3
    ip -n "$machine" link set eth2-4-1 nomaster
    wait_for "11 entries" has_entries 11
    write_snapshot day/3
}

record_day() {
    make_switch
    morning
    noon
    night
    drop_namespaces
}

run_recordings "iproute2, smcroute, python3" "ip bridge smcrouted python3" "$@"
