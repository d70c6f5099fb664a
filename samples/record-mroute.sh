#!/usr/bin/env bash
# Records what `ip` prints of a real kernel's multicast routing table and links. See README.md.
set -euo pipefail

# shellcheck source-path=SCRIPTDIR source=recording.sh
source "$(dirname "${BASH_SOURCE[0]}")/recording.sh"
known=(campus metro tables)

usage() {
    cat <<'TEXT'
Usage: record-mroute.sh [-o DIRECTORY] [campus|metro|tables]...

Builds a router in a network namespace of its own, gives its kernel a multicast
routing table, and writes what `ip` prints of it to RECORDING/routes.json and
RECORDING/links.json. Without a name all three are recorded.

  campus   a few dozen routes: smcrouted's rules, entries from real traffic,
           entries nobody wants, unresolved ones, one whose interface is gone
  metro    1200 routes over 20 interfaces
  tables   two tables at once, with (*,G) entries and statistics

  -o DIRECTORY   where the recordings go (default: the folder of this script)
  -h             this text

Needs root, iproute2, smcroute and python3. Nothing outside its own namespaces
is touched, and they are gone when the script ends, however it ends.

Example: sudo ./record-mroute.sh -o /tmp campus
TEXT
}

# send INTERFACE SOURCE GROUP: one datagram from a host behind that interface.
send() {
    ip netns exec "$hosts" python3 "$here/send_datagram.py" "$@"
}

campus_configuration() {
    local name
    for name in core0 core1 iptv0 cam0 av0 bldg1 bldg2 bldg3 bldg4 bldg5 bldg6 old0; do
        echo "phyint $name enable"
    done
    cat <<'CONF'
phyint lab0 enable ttl-threshold 16
phyint wan0 enable ttl-threshold 64

# Television: the more popular the channel, the more buildings.
mroute from iptv0 source 10.20.10.11 group 239.192.10.1 to bldg1 bldg2 bldg3 bldg4 bldg5 bldg6 lab0 wan0
mroute from iptv0 source 10.20.10.11 group 239.192.10.2 to bldg1 bldg2 bldg3 bldg4 bldg5 bldg6
mroute from iptv0 source 10.20.10.11 group 239.192.10.3 to bldg1 bldg2 bldg3 bldg4
mroute from iptv0 source 10.20.10.11 group 239.192.10.4 to bldg2 bldg4 bldg6
mroute from iptv0 source 10.20.10.11 group 239.192.10.5 to bldg1 bldg5
mroute from iptv0 source 10.20.10.12 group 239.192.10.6 to bldg3
mroute from iptv0 source 10.20.10.12 group 239.192.10.7 to bldg3 core1
mroute from iptv0 source 10.20.10.12 group 239.192.10.8 to lab0

# Cameras go to the porter's lodge in building 1, some to the control room behind core0 too.
mroute from cam0 source 10.20.20.101 group 239.192.20.1 to bldg1
mroute from cam0 source 10.20.20.102 group 239.192.20.2 to bldg1
mroute from cam0 source 10.20.20.103 group 239.192.20.3 to bldg1 core0
mroute from cam0 source 10.20.20.104 group 239.192.20.4 to bldg1 core0
mroute from cam0 source 10.20.20.104 group 239.192.20.5 to core0

# Lecture halls, one group with two sources.
mroute from av0 source 10.20.30.5 group 233.252.0.1 to bldg1 bldg2 bldg3 bldg4 bldg5 bldg6 core0 core1 lab0 wan0
mroute from av0 source 10.20.30.6 group 233.252.0.1 to bldg1 bldg2 bldg3 bldg4 bldg5 bldg6
mroute from av0 source 10.20.30.6 group 233.252.0.2 to bldg4 bldg5 wan0

# From outside, source-specific, over both uplinks.
mroute from core0 source 198.51.100.7 group 232.1.1.1 to av0 bldg3
mroute from core0 source 198.51.100.7 group 232.1.1.2 to bldg3
mroute from core0 source 198.51.100.8 group 232.1.1.1 to bldg6
mroute from core1 source 203.0.113.40 group 232.7.200.255 to av0 bldg2 bldg5 lab0
mroute from core1 source 203.0.113.41 group 232.7.200.255 to bldg2

# Time, printers across two buildings, a feed of old0, which is taken away before the recording.
mroute from core0 source 10.20.0.5 group 224.0.1.129 to iptv0 cam0 av0 bldg1 bldg2 bldg3 bldg4 bldg5 bldg6
mroute from bldg1 source 10.20.41.20 group 224.0.0.251 to bldg2 lab0
mroute from bldg2 source 10.20.42.21 group 224.0.0.251 to bldg1
mroute from old0 source 10.20.99.9 group 239.192.99.1 to bldg1 bldg2

# Whatever the offices send, once it is sent.
mroute from bldg2 group 239.255.12.0/24 to bldg1 bldg3
mroute from bldg5 group 239.255.12.0/24 to bldg6
CONF
}

record_campus() {
    make_router
    local interface index=11
    for interface in core0:0 core1:1 iptv0:10 cam0:20 av0:30 bldg1:41 bldg2:42 bldg3:43 bldg4:44 bldg5:45 bldg6:46 \
        lab0:60 wan0:70 old0:99; do
        add_interface "${interface%:*}" "$index" "10.20.${interface#*:}.1/24"
        index=$((index + 3))
    done
    campus_configuration >"$work/campus.conf"
    start_smcrouted "$work/campus.conf"
    wait_for "25 routes" has_routes 25

    # The first two match a rule of the offices; for the others smcrouted installs an entry without outgoing interfaces.
    send bldg2 10.20.42.50 239.255.12.34
    send bldg5 10.20.45.51 239.255.12.34
    send bldg3 10.20.43.77 239.255.255.250
    send lab0 10.20.60.8 239.1.2.3
    send wan0 192.0.2.200 233.252.0.9
    wait_for "30 routes" has_routes 30

    # A daemon that does not answer leaves entries unresolved, and leaves alone those of an interface that goes away.
    kill -STOP "$child"
    ip -n "$machine" link del old0
    send bldg4 10.20.44.60 239.255.40.1
    send bldg4 10.20.44.61 239.255.40.1
    send core1 203.0.113.99 232.7.200.1
    wait_for "33 routes" has_routes 33
    write_routes campus
    drop_namespaces
}

# 1200 rules: 3 head ends with 400 groups each, and lists of 1 to 16 of the access interfaces.
metro_configuration() {
    local i
    for i in 0 1 2 3; do echo "phyint agg$i enable"; done
    for i in {1..16}; do echo "phyint acc$i enable"; done
    awk 'BEGIN {
        for (route = 0; route < 1200; route++) {
            head_end = route % 3
            channel = int(route / 3)
            printf "mroute from agg%d source 10.64.%d.%d group 232.%d.%d.%d to", (channel + head_end) % 4, head_end,
                   10 + channel % 8, 64 + head_end, 1 + int(channel / 100), 1 + channel % 100
            length_of_list = 1 + (route * 7 + channel) % 16
            for (n = 0; n < length_of_list; n++)
                printf " acc%d", 1 + (channel * 5 + n * 3) % 16
            print ""
        }
    }'
}

record_metro() {
    make_router
    local i
    for i in 0 1 2 3; do add_interface "agg$i" $((100 + i)) "10.65.$i.1/24"; done
    for i in {1..16}; do add_interface "acc$i" $((200 + i)) "10.66.$i.1/24"; done
    metro_configuration >"$work/metro.conf"
    start_smcrouted "$work/metro.conf"
    wait_for "1200 routes" has_routes 1200
    write_routes metro
    drop_namespaces
}

# smcrouted has no (*,G) entries and one table, so here a program of ours is the multicast daemon.
record_tables() {
    make_router
    add_interface up0 4 10.30.0.1/24
    add_interface down1 5 10.30.1.1/24
    add_interface down2 6 10.30.2.1/24
    ip -n "$machine" mrule add iif up0 lookup 100
    start_child "$machine" "$work/tables.log" python3 "$here/two_tables.py" up0 down1 down2
    wait_until_ready "$work/tables.log"
    send down1 10.30.1.9 239.7.7.1
    send down1 10.30.1.9 239.7.7.1
    sleep 0.2
    write_routes tables -s
    drop_namespaces
}

run_recordings "iproute2, smcroute, python3" "ip smcrouted python3" "$@"
