# shellcheck shell=bash
# What the recording scripts have in common: two network namespaces, what has to be taken down again, and the command
# line. Sourced by them; a script says what it can record in `known`, with a function record_NAME for each.

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
script=$(basename "$0")
output=$here
prefix=vell-rec-$$
machine=$prefix-machine # the one whose kernel is recorded
hosts=$prefix-hosts     # what stands behind its interfaces
work=
children=()

fail() {
    echo "$script: $*" >&2
    exit 1
}

# stop_child PROCESS: also one that was stopped, which does not see SIGTERM before it goes on.
stop_child() {
    kill -TERM "$1" 2>/dev/null || true
    kill -CONT "$1" 2>/dev/null || true
    wait "$1" 2>/dev/null || true
}

stop_children() {
    local pid
    for pid in "${children[@]}"; do stop_child "$pid"; done
    children=()
}

# Takes down whatever is there: it also runs when the set-up failed half-way.
cleanup() {
    local status=$?
    trap - EXIT
    stop_children
    ip netns del "$machine" 2>/dev/null || true
    ip netns del "$hosts" 2>/dev/null || true
    [[ -z $work ]] || rm -rf "$work"
    exit "$status"
}

# check_needs PACKAGES TOOL...
check_needs() {
    local packages=$1 tool
    shift
    [[ $EUID -eq 0 ]] || fail "network namespaces need root; run it with sudo"
    for tool in "$@"; do
        command -v "$tool" >/dev/null || fail "$tool is not installed (Debian: $packages)"
    done
    [[ -d $output && -w $output ]] || fail "$output is not a folder that can be written"
}

make_namespaces() {
    ip netns add "$machine"
    ip netns add "$hosts"
    ip -n "$machine" link set lo up
}

drop_namespaces() {
    stop_children
    ip netns del "$machine"
    ip netns del "$hosts"
}

# add_pair NAME INDEX: an interface of the machine and, by the same name, its other end at the hosts. Indexes and link
# addresses are fixed, so that two recordings differ only where the kernels or the tools do.
add_pair() {
    local name=$1 index=$2 low
    low=$(printf '%02x' "$index")
    ip -n "$machine" link add name "$name" index "$index" address "02:00:5e:00:00:$low" type veth \
        peer name "$name" netns "$hosts" index "$index" address "02:00:5e:00:01:$low"
    ip -n "$machine" link set "$name" up
    ip -n "$hosts" link set "$name" up
}

# add_bridge VLAN OPTION...: of the machine, with what `ip` is to be told of it. Its index and link address are fixed.
add_bridge() {
    local vlan=$1
    shift
    ip -n "$machine" link add name "br$vlan" index "$vlan" address "02:00:5e:00:02:$(printf '%02x' "$vlan")" \
        type bridge "$@"
    ip -n "$machine" link set "br$vlan" up
}

# add_ports VLAN INDEX NAME...: the first one gets that index, the others those behind it.
add_ports() {
    local vlan=$1 index=$2 name
    shift 2
    for name in "$@"; do
        add_pair "$name" "$index"
        ip -n "$machine" link set "$name" master "br$vlan"
        index=$((index + 1))
    done
}

# add_snooping_bridge VLAN IGMP-VERSION MLD-VERSION
add_snooping_bridge() {
    # Its own queries would come at any time, and last members should be gone soon.
    add_bridge "$1" mcast_snooping 1 mcast_querier 0 mcast_igmp_version "$2" mcast_mld_version "$3" \
        mcast_last_member_count 1 mcast_last_member_interval 50
}

# flooding on|off NAME...: of multicast that nobody is known to want.
flooding() {
    local state=$1 name
    shift
    for name in "$@"; do bridge -n "$machine" link set dev "$name" mcast_flood "$state"; done
}

# without_ipv6 NAMESPACE: no addresses of its own making, whose packets and groups would stand among the others.
without_ipv6() {
    ip netns exec "$1" sysctl -q net.ipv6.conf.default.disable_ipv6=1
}

# start_child NAMESPACE LOG COMMAND...: the process id is then in $child.
start_child() {
    local namespace=$1 log=$2
    shift 2
    : >"$log"
    ip netns exec "$namespace" "$@" >"$log" 2>&1 &
    child=$!
    children+=("$child")
}

# wait_for WHAT COMMAND...: until the command succeeds.
wait_for() {
    local what=$1 tries
    shift
    for ((tries = 0; tries < 150; tries++)); do
        ! "$@" || return 0
        sleep 0.2
    done
    fail "waited 30 s for $what; the programs said: $(grep -hv '^ready' "$work"/*.log | tail -n 5)"
}

# mdb: reads lines "add|del VLAN PORT GROUP [options]"
mdb() {
    sed -nE 's/^(add|del) ([0-9]+) ([^ ]+) (.*)$/mdb \1 dev br\2 port \3 grp \4/p' >"$work/batch"
    bridge -n "$machine" -batch "$work/batch"
}

# has_entry PORT GROUP: of whatever source.
has_entry() {
    bridge -n "$machine" mdb show | grep -q " port $1 grp $2 "
}

lacks_entry() {
    ! has_entry "$@"
}

# has_entries COUNT, has_routes COUNT: how many there are of all groups, or routes.
has_entries() {
    [[ $(bridge -n "$machine" mdb show | grep -c '^dev ') -eq $1 ]]
}

has_routes() {
    [[ $(ip -n "$machine" mroute show | grep -c '^(') -eq $1 ]]
}

# join NAME INTERFACE,GROUP[,SOURCE]...: receivers at the hosts, or in $namespace; leave NAME ends them.
declare -A receivers
join() {
    start_child "${namespace:-$hosts}" "$work/$1.log" python3 "$here/join_groups.py" "${@:2}"
    receivers[$1]=$child
    wait_until_ready "$work/$1.log"
}

leave() {
    stop_child "${receivers[$1]}"
}

make_router() {
    make_namespaces
    ip netns exec "$machine" sysctl -q net.ipv4.ip_forward=1 net.ipv4.conf.all.rp_filter=0 net.ipv4.conf.default.rp_filter=0
}

# add_interface NAME INDEX ADDRESS/LENGTH
add_interface() {
    add_pair "$1" "$2"
    ip -n "$machine" addr add "$3" dev "$1"
}

# start_smcrouted CONFIGURATION: smcrouted's process id is then in $child.
start_smcrouted() {
    start_child "$machine" "$work/smcrouted.log" smcrouted -n -N -f "$1" -i "$prefix" -P "$work/smcrouted.pid" \
        -u "$work/smcrouted.sock"
}

# wait_until_ready LOG: for a program that prints "ready".
wait_until_ready() {
    wait_for "a program to get ready" grep -q '^ready' "$1"
}

# write_files NAME FILE...: these of the work folder, in the recording's directory; all of them or none.
write_files() {
    local name=$1 file
    shift
    mkdir -p "$output/$name"
    for file in "$@"; do cp "$work/$file" "$output/$name/"; done
    echo "recorded $output/$name: $*"
}

# write_ports NAME, write_groups NAME, write_routes NAME [option of ip]..., write_snapshot NAME: what the tools print of
# the machine.
write_ports() {
    bridge -n "$machine" -j -d link show >"$work/ports.json"
    write_files "$1" ports.json
}

write_groups() {
    ip -n "$machine" -j link show >"$work/links.json"
    bridge -n "$machine" -j -d mdb show >"$work/mdb.json"
    write_files "$1" links.json mdb.json
}

write_routes() {
    ip -n "$machine" -j link show >"$work/links.json"
    ip -n "$machine" -j "${@:2}" mroute show table all >"$work/routes.json"
    write_files "$1" links.json routes.json
}

write_snapshot() {
    ip -n "$machine" -j link show >"$work/links.json"
    bridge -n "$machine" -j -d mdb show >"$work/mdb.json"
    bridge -n "$machine" -j -d link show >"$work/ports.json"
    bridge -n "$machine" -j vlan show >"$work/vlans.json"
    ip -n "$machine" -j mroute show table all >"$work/routes.json"
    write_files "$1" links.json mdb.json ports.json vlans.json routes.json
}

# run_recordings PACKAGES "TOOL..." [command line]: everything that a script does.
run_recordings() {
    local packages=$1 tools=$2 option recording OPTIND=1
    shift 2
    while getopts ':o:h' option; do
        case $option in
        o) output=$OPTARG ;;
        h)
            usage
            exit 0
            ;;
        *)
            usage >&2
            exit 2
            ;;
        esac
    done
    shift $((OPTIND - 1))
    # shellcheck disable=SC2154 # known is the script's
    [[ $# -gt 0 ]] || set -- "${known[@]}"
    for recording in "$@"; do
        [[ " ${known[*]} " == *" $recording "* ]] && continue
        echo "$script: there is no recording \"$recording\"" >&2
        usage >&2
        exit 2
    done

    # shellcheck disable=SC2086 # one tool a word
    check_needs "$packages" $tools
    trap cleanup EXIT
    trap 'exit 129' HUP
    trap 'exit 130' INT
    trap 'exit 143' TERM
    work=$(mktemp -d)
    for recording in "$@"; do
        "record_$recording"
    done
}
