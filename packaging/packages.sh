# Builds the Debian packages, and proves that they work on clean machines. ./dev reads this file.
# shellcheck shell=bash
#
# The packages are built in a tree of Debian 12 for i386, also on an i386 machine: a 64-bit Debian
# links 32-bit programs with libraries of other packages than a 32-bit one has. dpkg needs the
# folder "debian" beside the sources; the tree gets it with its copy of them.
trees=build/trees

debian_mirror() {
    local mirror=${VELL_DEBIAN_MIRROR:-}
    [[ -n $mirror ]] || mirror=$(apt-get indextargets --format '$(REPO_URI)' 'Label: Debian' | awk 'NR == 1')
    [[ -n $mirror ]] || fail "apt has no source of Debian; apt-get update may help, or VELL_DEBIAN_MIRROR=URL of a mirror"
    echo "$mirror"
}

# in_tree TREE COMMAND...: runs it there as root, sees no process from outside and leaves none behind.
in_tree() {
    local personality=linux64
    [[ $1 == i386* ]] && personality=linux32
    as_root "$personality" unshare --mount --pid --fork --kill-child --mount-proc="$trees/$1/proc" \
        chroot "$trees/$1" \
        env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive "${@:2}"
}

# apt_in TREE apt-get-arguments...: shows what apt says only when it fails.
apt_in() {
    local log
    log=$(in_tree "$1" apt-get -y -q --no-install-recommends "${@:2}" 2>&1) ||
        fail "apt-get ${*:2} failed in $trees/$1:"$'\n'"$log"
}

# make_tree TREE ARCHITECTURE PACKAGES...: a minimal Debian 12 with these packages, made once.
make_tree() {
    local tree=$trees/$1 unfinished=$trees/$1.unfinished mirror
    [[ -e $tree ]] && return
    say "Making the tree $tree, once: Debian 12, $2"
    mirror=$(debian_mirror)
    mkdir -p "$trees"
    as_root rm -rf "$unfinished"
    as_root debootstrap --variant=minbase --arch="$2" bookworm "$unfinished" "$mirror" >"$tree.log" ||
        fail "debootstrap failed; see $tree.log"
    # Only an amd64 machine needs to hear that it can have i386 packages.
    [[ $2 == i386 ]] || in_tree "${unfinished##*/}" dpkg --add-architecture i386
    apt_in "${unfinished##*/}" update
    apt_in "${unfinished##*/}" install "${@:3}"
    as_root mv "$unfinished" "$tree"
}

package_version() { sed -n 's/^project(vell VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt; }

release_date() { sed -n "s/^## $(package_version) - \([0-9-]*\)$/\1/p" CHANGELOG.md; }

debian_changelog() {
    printf 'vell (%s) unstable; urgency=medium\n\n' "$(package_version)"
    printf '  * CHANGELOG.md in the package vell-doc lists the changes.\n\n'
    printf ' -- %s  %s\n' "$(sed -n 's/^Maintainer: //p' packaging/debian/control)" \
        "$(LC_ALL=C date -u -R -d "$(release_date)")"
}

# What git tracks, as it is now: packages that are compared are made of the same sources, whatever
# is edited meanwhile.
pack_sources() {
    [[ -n $(release_date) ]] ||
        fail "CHANGELOG.md has no section '## $(package_version) - YYYY-MM-DD' for the version in CMakeLists.txt"
    git rev-parse --git-dir >/dev/null || fail "packages are built from a git clone: what git tracks is what they hold"
    mkdir -p build/packages
    git ls-files -z | tar --create --null --files-from - --mtime="$(release_date) UTC" --file build/packages/sources.tar
}

# build_packages FOLDER: makes /build/FOLDER in the building tree, with the packages in it.
build_packages() {
    local version source log=build/packages/build.log
    version=$(package_version)
    make_tree i386-build i386 build-essential lintian
    source=/build/$1/vell-$version
    say "Building version $version in $trees/i386-build$source; the log is $log"
    in_tree i386-build rm -rf "/build/$1"
    in_tree i386-build mkdir -p "$source"
    in_tree i386-build tar --extract --no-same-owner --directory "$source" <build/packages/sources.tar
    in_tree i386-build cp -r "$source/packaging/debian" "$source"
    debian_changelog | in_tree i386-build tee "$source/debian/changelog" >/dev/null
    apt_in i386-build update
    apt_in i386-build build-dep "$source"
    in_tree i386-build sh -c "cd $source && dpkg-buildpackage --build=binary --no-sign" >"$log" 2>&1 ||
        fail "building failed:"$'\n'"$(tail -n 30 "$log")"
}

# take_packages FOLDER: into build/packages, in place of those that were there.
take_packages() {
    rm -f build/packages/*.deb
    cp "$trees/i386-build/build/$1"/*.deb build/packages
    ls build/packages/*.deb
}

# ---- the proof -----------------------------------------------------------------------------------------------------

check_reproducible() { # FOLDER FOLDER: where the packages were built
    local package first=$trees/i386-build/build/$1 second=$trees/i386-build/build/$2
    say "Comparing the packages that were built in two folders"
    for package in "$first"/*.deb; do
        cmp "$package" "$second/${package##*/}" || fail "${package##*/} is different each time it is built"
    done
    echo "they are equal, byte for byte"
}

check_lintian() { # FOLDER
    say "Checking the packages with lintian"
    in_tree i386-build sh -c "lintian --fail-on error,warning /build/$1/*.changes" 2>&1 |
        sed '/^running with root privileges/d' || fail "lintian warns; mend it, or override it in packaging/debian with a reason"
    echo "it finds nothing to warn of"
}

# What is in a tree, without what apt keeps for itself.
tree_contents() {
    as_root find "$trees/$1" \( -path "$trees/$1/tmp" -o -path '*/var/cache' -o -path '*/var/log' \
        -o -path '*/var/lib/apt' -o -path '*/var/lib/dpkg' \) -prune -o -print | LC_ALL=C sort
}

# try_packages TREE [VARIABLE=VALUE]: README's first client, built by README's line and run; then
# the packages are purged.
try_packages() {
    local tree=$1 line before scratch=/tmp/client packages=()
    local ours='?installed?name(vell)'
    line=$(grep -o 'gcc -m32 client\.c \$(pkg-config [^)]*)' README.md)
    # An interrupted run may have left something.
    apt_in "$tree" purge --autoremove "$ours"
    apt_in "$tree" update
    before=$(tree_contents "$tree")
    say "Installing the packages into $trees/$tree, and building README's first client there"
    as_root rm -rf "$trees/$tree$scratch"
    as_root mkdir "$trees/$tree$scratch"
    as_root cp build/packages/*.deb "$trees/$tree$scratch"
    sed -n '/^```c$/,/^```$/{ /^```/!p }' README.md | in_tree "$tree" tee "$scratch/client.c" >/dev/null
    mapfile -t packages < <(cd build/packages && ls ./*.deb)
    apt_in "$tree" install "${packages[@]/#./$scratch}"
    echo "\$ ${2:+$2 }$line"
    in_tree "$tree" env "${@:2}" bash -euc "
        cd $scratch
        $line
        vellsim run --quiet --detach
        ./a.out
        vellsim show routes
        vellsim stop" | tee build/packages/shown
    grep -q '^(' build/packages/shown || fail "README's client leaves no route in the switch"
    say "Purging them from $trees/$tree"
    apt_in "$tree" purge --autoremove "$ours"
    diff <(echo "$before") <(tree_contents "$tree") || fail "the packages leave something in $trees/$tree"
    echo "nothing is left"
}

check_packages() {
    pack_sources
    build_packages package
    take_packages package
    build_packages built-a-second-time
    check_reproducible package built-a-second-time
    check_lintian package
    make_tree i386 i386 gcc libc6-dev pkgconf
    try_packages i386
    # apt never removes a C library again, so the tree has that of i386 from the start.
    make_tree amd64 amd64 gcc-multilib pkgconf libc6:i386
    try_packages amd64 "$(grep -o 'PKG_CONFIG_PATH=/usr[^ ]*' README.md)"
}
