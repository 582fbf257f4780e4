#!/bin/sh
# What ordinary programs see of the simulated board is what they saw of a kernel.
# usage: observations.sh OSTDRV-SIM BOARD_OBSERVE SOURCE
set -eu
# Shells and tools of the workstation leave memory behind when they end.
export ASAN_OPTIONS=detect_leaks=0
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
"$1" --root "$root/board" --new >"$root/made"
"$1" --root "$root/board" -- sh "$3/board/observations.sh" "$2" "$1" --root "$root/board" line >"$root/seen"
diff "$3/board/observations.txt" "$root/seen"
