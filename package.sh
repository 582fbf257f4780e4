#!/usr/bin/env bash
# Builds the Debian packages of HEAD and checks them. Run "./package.sh --help".
set -euo pipefail
export LC_ALL=C.UTF-8
cd "$(dirname "${BASH_SOURCE[0]}")"

usage() {
    cat <<'END'
Usage: ./package.sh [ARCHITECTURE...]

Builds the Debian packages libostdrv1, libostdrv-dev, ostdrv-tools and ostdrv-sim of HEAD, on Debian 12, for the
architectures named, amd64 or arm64, or for this machine's own and arm64; arm64 is cross-built elsewhere. Each is built
twice, in different directories, and then checked: both builds are the same to the byte, lintian has nothing to say, and
every program and library is hardened. They are put into build/packages/ARCHITECTURE.

packaging/test.sh installs and tries them on a fresh Debian system.

Exit status: 0 when all is well, 1 when a build or a check fails, 2 for bad usage or where it cannot be tried.
END
}

cannot() {
    printf 'package.sh: %s\n' "$@" >&2
    exit 2
}

architectures=()
for argument; do
    case $argument in
        -h | --help) usage && exit ;;
        amd64 | arm64) architectures+=("$argument") ;;
        *) cannot "\"$argument\" is neither amd64 nor arm64, and no option" "Try './package.sh --help'." ;;
    esac
done

command -v dpkg >/dev/null || cannot 'this is no Debian system: its packages are built on Debian 12'
native=$(dpkg --print-architecture)
if ((${#architectures[@]} == 0)); then
    architectures=("$native")
    [[ $native == arm64 ]] || architectures+=(arm64)
fi
jobs=(package)
for architecture in "${architectures[@]}"; do
    case $architecture in
        "$native") ;;
        arm64) jobs+=(aarch64) ;;
        *) cannot "$architecture is built on $architecture alone; here only $native and arm64 are" ;;
    esac
done
missing=$(tools/install-packages.sh --missing "${jobs[@]}")
[[ -z $missing ]] ||
    cannot "these packages are missing: $missing" "Install them with: tools/install-packages.sh ${jobs[*]}"

commit=$(git rev-parse -q --verify HEAD 2>/dev/null) ||
    cannot 'this is no git checkout: packages are built from a commit'
changed=$(git status --porcelain)
[[ -z $changed ]] || cannot 'packages are built from HEAD, which has not these changes:' "$changed" \
    'Commit them or put them away (git stash -u) first.'
version=$(sed -n 's/^project(ostdrv VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
packaged=$(dpkg-parsechangelog -l packaging/debian/changelog -S Version)
[[ $packaged == "$version" ]] ||
    cannot "packaging/debian/changelog begins with $packaged, CMakeLists.txt says $version: add an entry for $version"

work=$(mktemp -d "${TMPDIR:-/var/tmp}/ostdrv-package.XXXXXX") || exit 2
trap 'rm -rf "$work"' EXIT
trap 'exit 1' INT TERM HUP
failed=0
# check WHAT COMMAND...: says whether it succeeded, and what it printed when not
check() {
    if "${@:2}" >"$work/report" 2>&1; then
        echo "ok $architecture: $1"
    else
        echo "FAILED $architecture: $1"
        cat "$work/report"
        failed=1
    fi
}

# build DIR: the packages of $architecture in DIR, whose tree below it is that of HEAD and nothing else
build() {
    local options=()
    # The cross compiler stands for the packages of the other architecture that dpkg would ask for.
    [[ $architecture == "$native" ]] || options=(-d -b -Pcross "-a$architecture")
    mkdir -p "$1/tree" && git archive "$commit" | tar -x -C "$1/tree" && mv "$1/tree/packaging/debian" "$1/tree" &&
        (cd "$1/tree" && DEB_BUILD_OPTIONS="terse parallel=$(nproc)" dpkg-buildpackage -us -uc "${options[@]}")
}

same_packages() {
    local package different=0
    for package in "$1"/*.deb; do
        cmp "$package" "$2/${package##*/}" || { echo "see: diffoscope $package $2/${package##*/}"; different=1; }
    done
    ((different == 0))
}

hardened() {
    local package file options objdump=(objdump) weak=0
    [[ $architecture == "$native" ]] || objdump=(aarch64-linux-gnu-objdump)
    for package in "$1"/*.deb; do
        [[ $package != *-dbgsym_* ]] || continue
        dpkg-deb -x "$package" "$work/hardened/${package##*/}"
    done
    while IFS= read -r file; do
        readelf -hW "$file" >/dev/null 2>&1 || continue
        # Debian 12's start-up files are not marked for control flow integrity, so nothing linked with them is: on
        # arm64 its instructions are looked for instead.
        options=(--nocfprotection)
        # The stand-ins only copy between buffers whose sizes no compiler sees.
        [[ $file != */ostdrv-sim/lib* ]] || options+=(--nofortify)
        hardening-check "${options[@]}" "$file" || weak=1
        [[ $architecture != arm64 ]] || grep -q paciasp <("${objdump[@]}" -d "$file") ||
            { echo "$file: no branch protection"; weak=1; }
    done < <(find "$work/hardened" -type f)
    rm -rf "$work/hardened"
    ((weak == 0))
}

for architecture in "${architectures[@]}"; do
    one=$work/$architecture two=$work/elsewhere/once-more-$architecture
    for place in "$one" "$two"; do
        mkdir -p "$place"
        build "$place" >"$place/log" 2>&1 || {
            tail -n 40 "$place/log"
            echo "FAILED $architecture: the build"
            exit 1
        }
    done
    echo "ok $architecture: the build"
    check 'two builds are the same' same_packages "$one" "$two"
    check lintian lintian --pedantic --fail-on error,warning,pedantic "$one"/*.changes
    check hardening hardened "$one"
    rm -rf "build/packages/$architecture"
    mkdir -p "build/packages/$architecture/debug"
    mv "$one"/*-dbgsym_*.deb "build/packages/$architecture/debug"
    mv "$one"/*.deb "build/packages/$architecture"
    ls "build/packages/$architecture"/*.deb
done
exit $failed
