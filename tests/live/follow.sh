#!/usr/bin/env bash
# `vellfeed follow` against a real kernel that changes, in a network namespace of its own: after each change
# the switch has what the kernel has. Usage: follow.sh FOLDER, where vellfeed and vellsim are built.
# Exit code 77: skipped, since this machine does not allow it.
set -euo pipefail

skip() {
    echo "follow.sh: skipped: $*"
    exit 77
}

# bridge is in /sbin, which is not on the PATH of Debian's users.
PATH=$PATH:/sbin
if [[ ${VELL_LIVE_NAMESPACE:-} != yes ]]; then
    as_user=()
    [[ $EUID -eq 0 ]] || as_user=(--map-root-user)
    unshare "${as_user[@]}" --net true 2>/dev/null || skip "no network namespace can be made"
    command -v bridge >/dev/null || skip "iproute2 is not installed"
    VELL_LIVE_NAMESPACE=yes exec unshare "${as_user[@]}" --net "$0" "$@"
fi

PATH=$(realpath "$1"):$PATH
scratch=$(mktemp -d)
export PATH VELLSIM_RUN_DIR=$scratch/run
follower=
daemon=

finish() {
    [[ -z $follower ]] || kill "$follower" 2>/dev/null || true
    [[ -z $daemon ]] || kill "$daemon" 2>/dev/null || true
    vellsim stop >/dev/null 2>&1 || true
    rm -rf "$scratch"
}
trap finish EXIT

fail() {
    echo "follow.sh: $*" >&2
    tail -n 20 "$scratch/follow.log" "$scratch/follow.out" >&2 || true
    vellfeed compare "$scratch/now" 2>&1 | tail -n 20 >&2 || true
    exit 1
}

# in_step SECONDS WHAT: within that time the switch has what the kernel has.
in_step() {
    local end=$((SECONDS + $1))
    until vellfeed record "$scratch/now" >/dev/null && vellfeed compare "$scratch/now" --quiet 2>/dev/null; do
        ((SECONDS < end)) || fail "$2: not in step after $1 s"
        sleep 0.1
    done
    echo "follow.sh: $2: in step"
}

add_port() { # NAME BRIDGE
    ip link add "$1" type veth peer name "$1-p"
    ip link set "$1" master "$2" up
    ip link set "$1-p" up
}

add_bridge() {
    ip link add "$1" type bridge mcast_snooping 1 mcast_hash_max 16384
    ip link set "$1" up
}

expect_groups() { # N: how many groups the switch has, so that the comparisons are not of nothing
    local count
    count=$(vellsim show l2 --json | grep -c '"group"')
    [[ $count -eq $1 ]] || fail "the switch has $count groups instead of $1"
}

start_follower() {
    vellfeed follow >"$scratch/follow.out" 2>>"$scratch/follow.log" &
    follower=$!
}

# Without IPv6 the kernel joins no groups of its own.
for family in all default; do
    echo 1 2>/dev/null >"/proc/sys/net/ipv6/conf/$family/disable_ipv6" ||
        skip "IPv6 cannot be switched off"
done
ip link add probe type bridge 2>/dev/null || skip "no bridge can be made"
ip link add port type veth peer name port-p 2>/dev/null || skip "no veth pair can be made"
ip link del probe
ip link del port
ip link set lo up
add_bridge br10
add_port eth1-1 br10
add_port eth1-2 br10
vellsim run --detach --ltl-pool 8192 >/dev/null
start_follower
in_step 10 "at the start"

bridge mdb add dev br10 port eth1-1 grp 239.1.1.1 permanent
in_step 5 "a group comes"
bridge mdb add dev br10 port eth1-2 grp 239.1.1.1 permanent
in_step 5 "a port joins"
expect_groups 1
bridge link set dev eth1-2 mcast_flood off
in_step 5 "a port is no longer flooded to"
bridge link set dev eth1-2 state 0
in_step 5 "a port is disabled"
vellsim show l2 --json | grep -q '"name":"Eth1/2"' && fail "the disabled port is still a member"
bridge link set dev eth1-2 state 3
in_step 5 "a port forwards again"

for ((i = 0; i < 5000; ++i)); do
    echo "mdb add dev br10 port eth1-1 grp 239.2.$((i / 250)).$((i % 250 + 1)) permanent"
done >"$scratch/batch"
bridge -batch "$scratch/batch"
in_step 20 "5,000 groups at once"
expect_groups 5001

ip link del eth1-1
in_step 20 "the port of 5,001 groups is deleted"
expect_groups 1

add_bridge br20
add_port eth2-1 br20
bridge mdb add dev br20 port eth2-1 grp 239.3.3.3 permanent
in_step 5 "a second bridge"
expect_groups 2
ip link del br20
in_step 5 "the second bridge is deleted"
expect_groups 1

kill -KILL "$(cat "$VELLSIM_RUN_DIR/vellsim.pid")"
bridge mdb add dev br10 port eth1-2 grp 239.1.1.2 permanent
vellsim run --detach --ltl-pool 8192 >/dev/null
in_step 10 "the switch was killed and started again"
expect_groups 2

if command -v smcrouted >/dev/null && [[ -e /proc/net/ip_mr_vif ]]; then
    for name in lan1 lan2 lan3; do
        ip link add "$name" type veth peer name "$name-p"
        ip link set "$name" up multicast on
        ip link set "$name-p" up
    done
    ip address add 10.1.1.1/24 dev lan1
    printf '%s\n' 'mroute from lan1 source 10.1.1.9 group 239.5.5.1 to lan2' \
        'mroute from lan1 source 10.1.1.9 group 239.5.5.2 to lan2 lan3' >"$scratch/smcroute.conf"
    smcrouted -n -f "$scratch/smcroute.conf" -P "$scratch/smcroute.pid" -u "$scratch/smcroute.sock" \
        >"$scratch/smcroute.log" 2>&1 &
    daemon=$!
    for _ in $(seq 100); do
        [[ $(ip mroute show | wc -l) -ge 2 ]] && break
        sleep 0.1
    done
    [[ $(ip mroute show | wc -l) -eq 2 ]] || fail "the routing daemon has no routes: $(cat "$scratch/smcroute.log")"
    in_step 5 "a routing daemon starts"
    [[ $(vellsim show routes --json | grep -c '"rpf_if"') -eq 2 ]] || fail "the switch has no two routes"
    ip link del lan3
    in_step 5 "an interface vanishes from a route without a route message"
    kill "$daemon"
    wait "$daemon" || true
    daemon=
    in_step 5 "the routing daemon ends"
    [[ $(vellsim show routes --json | grep -c '"rpf_if"') -eq 0 ]] || fail "the switch still has routes"
else
    echo "follow.sh: skipped: routes, since smcrouted is not installed, or the kernel routes no multicast"
fi

kill -TERM "$follower"
wait "$follower" || fail "follow ended with exit code $?"
follower=
vellsim show clients | grep -q deregistered || fail "follow did not deregister"
start_follower
in_step 5 "started again"
sleep 1
ticks=$(awk '{ print $14 + $15 }' "/proc/$follower/stat")
sleep 2
[[ $(awk '{ print $14 + $15 }' "/proc/$follower/stat") -eq $ticks ]] || fail "it works while nothing changes"
timeout 10 vellfeed follow --once-in-step --quiet || fail "--once-in-step did not end"
echo "follow.sh: all in step"
