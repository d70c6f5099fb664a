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

# wait_until_ready LOG: for a program that prints "ready".
wait_until_ready() {
    wait_for "a program to get ready" grep -q '^ready' "$1"
}

# write_output NAME KIND COMMAND...: what the command prints; complete or not at all.
write_output() {
    local file=$1.$2.json
    shift 2
    "$@" >"$work/$file"
    cp "$work/$file" "$output/"
    echo "recorded $output/$file"
}

# write_recording NAME KIND COMMAND...: what the command prints of the machine, and its links.
write_recording() {
    ip -n "$machine" -j link show >"$work/$1.links.json"
    write_output "$@"
    cp "$work/$1.links.json" "$output/"
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
