#!/usr/bin/env bash
# Compares the interface of a built library with the reference beside this script. Run with --help.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
include=$here/../../include platform=$here/../../sim/atecc/include

usage() {
    cat <<'END'
Usage: packaging/abi/compare.sh [--renew] LIBRARY

Compares the functions, data and types that LIBRARY, a libostdrv.so built with debug information, shows to programs with
the reference in packaging/abi. A program built against the reference must run with LIBRARY.

  --renew   after an addition: write the reference anew

Exit status: 0 when they are the same, 1 when they differ, 2 for bad usage or where it cannot be tried.
END
}

cannot() {
    printf 'compare.sh: %s\n' "$@" >&2
    exit 2
}

renew=0
if [[ ${1-} == --renew ]]; then
    renew=1
    shift
fi
case ${1-} in
    -h | --help) usage && exit ;;
    -*) cannot "not an option: $1" "Try 'packaging/abi/compare.sh --help'." ;;
esac
(($# == 1)) && [[ -n $1 ]] || cannot 'wants one library' "Try 'packaging/abi/compare.sh --help'."
library=$1
command -v abidw >/dev/null || cannot 'abidw and abidiff are missing: run tools/install-packages.sh abi'
[[ -f $library ]] || cannot "$library: no such file; build it first"
readelf -hW "$library" >/dev/null 2>&1 || cannot "$library is no library"
readelf -SW "$library" | grep -q '\.debug_info' ||
    cannot "$library has no debug information: build it with CMAKE_BUILD_TYPE=RelWithDebInfo"
soname=$(readelf -dW "$library" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
reference=$here/$soname.abi
[[ -n $soname && -f $reference ]] || cannot "$library: there is no reference of ${soname:-a library without a soname}"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# What the public headers do not show is left out.
abidw --exported-interfaces-only --drop-private-types --headers-dir "$include" --headers-dir "$platform" \
    --drop-undefined-syms --no-show-locs --no-corpus-path --no-comp-dir-path --no-parameter-names --no-elf-needed \
    --out-file "$work/built" "$library"
compare() { abidiff --no-show-locs "$@" "$reference" "$work/built"; }

if compare --no-added-syms >"$work/report"; then
    compare >"$work/report" && exit
    if ((renew)); then
        mv "$work/built" "$reference"
        echo "$reference is written anew"
        exit
    fi
    cat "$work/report"
    echo "Added, and not in $reference yet: when it is meant to stay, run packaging/abi/compare.sh --renew $library"
else
    cat "$work/report"
    echo "Programs built against $reference may fail with $library. What is removed or changed becomes another library,"
    echo "with another soname and a reference of its own."
fi
exit 1
