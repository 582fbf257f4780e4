#!/usr/bin/env bash
# Runs every bench and prints one table, a line as soon as it is measured. In every line less is better.
#
#   table.sh BUILD STRIP LIBRARY PROGRAMS    called by the target `bench`: how it was built, the strip program, the
#                                            library, the directory with the benches
set -euo pipefail
build=$1 strip=$2 library=$3 programs=$4

row() { printf '| %-45s | %8s | %-28s | %s |\n' "$@"; }

size() {
    local stripped
    stripped=$(mktemp)
    "$strip" -o "$stripped" "$library"
    printf 'libostdrv.so, stripped\t%s\tbytes\t%s\n' "$(stat -c %s "$stripped")" "$(uname -m)"
    rm "$stripped"
}

measure() {
    "$programs/md5_bench"
    "$programs/one_transfer_bench"
    "$programs/board_bench" atecc608a
    "$programs/board_bench" trustx
    "$programs/eeprom_traffic"
    size
}

processor=$(sed -n 's/^model name[^:]*: *//p;T;q' /proc/cpuinfo)
printf '%s, %s processors, Linux %s; %s; %s\n\n' \
    "${processor:-$(uname -m)}" "$(nproc)" "$(uname -r)" "$build" "$(date +%F)"
row Measured Value Unit Remark
row --- ---: --- ---
measure | while IFS=$'\t' read -r name value unit remark; do row "$name" "$value" "$unit" "$remark"; done
