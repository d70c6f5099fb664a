#!/usr/bin/env bash
# Records what `bridge` prints of the ports of a real kernel's bridges. See README.md.
set -euo pipefail

# shellcheck source-path=SCRIPTDIR source=recording.sh
source "$(dirname "${BASH_SOURCE[0]}")/recording.sh"
known=(flood)

usage() {
    cat <<'TEXT'
Usage: record-flood.sh [-o DIRECTORY] [flood]

Builds a chassis switch in a network namespace of its own, with one bridge a
VLAN, and writes what `bridge` prints of its ports to RECORDING/ports.json.

  flood   seven VLANs with ports on six line cards, port-channels, VLAN
          interfaces and others, in flood-1; in flood-2 the same switch when
          ports have joined and left, and flooding was switched on and off

  -o DIRECTORY   where the recordings go (default: the folder of this script)
  -h             this text

Needs root and iproute2. Nothing outside its own namespaces is touched, and they
are gone when the script ends, however it ends.

Example: sudo ./record-flood.sh -o /tmp
TEXT
}

# card SLOT FIRST LAST: the names of these ports.
card() {
    seq -f "eth$1-%g" "$2" "$3"
}

remove_ports() {
    local name
    for name in "$@"; do ip -n "$machine" link del "$name"; done
}

# move_ports VLAN NAME...
move_ports() {
    local vlan=$1 name
    shift
    for name in "$@"; do ip -n "$machine" link set "$name" master "br$vlan"; done
}

all_forward() {
    ! bridge -n "$machine" link show | grep -qv ' state forwarding '
}

# The bridge learns a little later that a link has come up.
record() {
    wait_for "all ports to forward" all_forward
    write_ports "$1"
}

# shellcheck disable=SC2046 # one name a word
make_chassis() {
    make_namespaces
    without_ipv6 "$machine"
    without_ipv6 "$hosts"
    local vlan
    for vlan in 10 20 30 40 50 60 70; do add_bridge "$vlan" mcast_snooping 1 mcast_querier 0; done
    add_ports 10 101 vlan10 $(card 1 1 8) $(card 2 1 4) po1 # offices
    add_ports 20 121 $(card 3 1 12) po2                     # television
    add_ports 30 141 cam1 cam2 $(card 4 1 6) po3            # cameras
    add_ports 40 151 ap1 ap2 $(card 2 5 8) vlan40           # guests
    add_ports 50 161 mgmt0 $(card 1 9 10)                   # management
    add_ports 60 171 $(card 5 1 4)                          # a laboratory
    add_ports 70 181 $(card 6 1 2)                          # a store
    flooding off eth3-11 eth3-12 eth1-8
}

# shellcheck disable=SC2046 # one name a word
change_something() {
    # Somebody moved within the offices, and one more card's port joined.
    remove_ports eth1-3 eth1-4
    add_ports 10 191 $(card 6 3 4)
    flooding on eth1-8
    # Television: what was off is on, and the other way round.
    flooding on eth3-11
    flooding off eth3-1 eth3-2 po2
    # A camera went over to the guests, with a port-channel in its place.
    move_ports 40 cam2
    add_ports 30 193 po4 eth5-9
    # The guests' old equipment and their VLAN interface.
    remove_ports ap1 vlan40
    # Nobody is left in the laboratory's VLAN; half of its ports are those of a new one.
    remove_ports eth5-1 eth5-2
    add_bridge 80 mcast_snooping 1 mcast_querier 0
    move_ports 80 eth5-3 eth5-4
    add_ports 80 195 vlan80 eth5-10
    # The store's ports stay, and nothing is flooded to them.
    flooding off $(card 6 1 2)
}

record_flood() {
    make_chassis
    record flood-1
    change_something
    record flood-2
    drop_namespaces
}

run_recordings "iproute2" "ip bridge" "$@"
