#!/usr/bin/env bash
# Runs one fuzz target of the preset fuzz from its seeds and prints a line about it, or its whole log when it found
# something.
#
#   fuzz/run.sh TARGET SECONDS [OPTION-OF-LIBFUZZER...]
#
# What it learns stays in build/fuzz/corpus/TARGET, what it finds goes to build/fuzz/findings/TARGET-*.
set -euo pipefail
cd "$(dirname "$0")/.."
[[ $# -ge 2 ]] || { sed -n 's/^#   /usage: /p' "$0" >&2; exit 2; }
target=$1 seconds=$2

corpus=build/fuzz/corpus/$target
mkdir -p "$corpus" build/fuzz/findings
# A target that is stopped by a finding cannot remove its board itself.
boards=$(mktemp -d "$([[ -d /dev/shm ]] && echo /dev/shm || echo /tmp)/ostdrv-fuzz.XXXXXX")
trap 'rm -rf "$boards"' EXIT

log=$boards/log
if ! TMPDIR=$boards "build/fuzz/fuzz/fuzz_$target" "$corpus" "fuzz/seeds/$target" -max_total_time="$seconds" -timeout=20 \
    -artifact_prefix="build/fuzz/findings/$target-" "${@:3}" >"$log" 2>&1; then
    cat "$log"
    exit 1
fi
sed -n "s|^#\([0-9]*\)\tDONE *cov: \([0-9]*\).* exec/s: \([0-9]*\).*|$target: \1 runs, \3 a second, coverage \2|p" "$log"
