#!/usr/bin/env bash
# Installs the Debian packages that a job needs and that are missing; with --missing it only names them.
#
#   tools/install-packages.sh [--missing] demo|build|clang|analysis|abi|coverage|aarch64|fuzz|board|package...
set -euo pipefail

packages_for() {
    case $1 in
        demo) echo g++ cmake ninja-build libcli11-dev nlohmann-json3-dev libssl-dev openssl zlib1g-dev diffutils ;;
        build)
            packages_for demo
            # Of the manual. Besides these the tests run: nm and readelf, script, xargs, pgrep.
            echo python3 mandoc
            echo pkg-config libgtest-dev libbenchmark-dev binutils bsdutils findutils procps
            ;;
        clang) echo clang ;;
        fuzz) echo clang libclang-rt-dev ;;
        analysis) echo git clang-format clang-tidy cppcheck ;;
        abi) echo abigail-tools ;;
        coverage) echo gcovr ;;
        aarch64)
            echo g++-aarch64-linux-gnu qemu-user libstdc++6:arm64 zlib1g:arm64 libssl-dev:arm64 libgtest-dev:arm64
            ;;
        package) packages_for demo && echo debhelper devscripts dpkg-dev git lintian python3 ;;
        board) echo qemu-system-arm device-tree-compiler cpio util-linux xz-utils ;;
        *)
            echo "$0: no job is called \"$1\"" >&2
            exit 2
            ;;
    esac
}

# A name without an architecture means the machine's own, or none.
is_installed() {
    local architecture=$native
    [[ $1 != *:* ]] || architecture=${1#*:}
    dpkg-query -W -f '${Architecture} ${db:Status-Status}\n' "$1" 2>/dev/null |
        grep -Eqx "($architecture|all) installed"
}

as_root() {
    if [[ $(id -u) == 0 ]]; then
        "$@"
    else
        sudo "$@"
    fi
}

only_names=0
if [[ ${1-} == --missing ]]; then
    only_names=1
    shift
fi
packages=""
for job in "$@"; do packages+=" $(packages_for "$job")"; done
if ! command -v dpkg-query >/dev/null; then
    echo "not a Debian system; these are needed:$packages" >&2
    exit 0
fi

native=$(dpkg --print-architecture)
missing=()
for package in $packages; do is_installed "$package" || missing+=("$package"); done
[[ ${#missing[@]} -gt 0 ]] || exit 0
if ((only_names)); then
    echo "${missing[*]}"
    exit
fi

echo "installing ${missing[*]}"
if [[ " ${missing[*]} " == *:arm64* ]]; then as_root dpkg --add-architecture arm64; fi
export DEBIAN_FRONTEND=noninteractive
as_root apt-get -q update
# What the machine has is never given up for what is missing.
as_root apt-get -q install -y --no-install-recommends --no-remove "${missing[@]}"
