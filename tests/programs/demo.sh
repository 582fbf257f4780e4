#!/bin/bash
# The demonstration on every chip, its report, what it refuses, and that a tool which only says yes gets crosses. The
# other scripts' bad usage is here too.
# usage: demo.sh SOURCE BUILD
set -u
source=$1 build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
failures=0

# expect STATUS PATTERN COMMAND...: exit status, and a pattern somewhere in the output
expect() {
    local status wanted=$1 pattern=$2
    shift 2
    "$@" > output 2>&1 < /dev/null
    status=$?
    [[ $status == "$wanted" && $(< output) =~ $pattern ]] && return
    printf 'FAILED: %s\n  status %s, not %s\n' "$*" "$status" "$wanted"
    cat output
    ((++failures))
}
demo() { "$source/demo.sh" --programs "$build" "$@"; }

for option in chip layout out programs; do
    expect 2 "--$option wants a value" "$source/demo.sh" "--$option" ''
    expect 2 "--$option wants a value" "$source/demo.sh" "--$option"
done
expect 2 'no such chip: tpm' demo --chip tpm
expect 2 'is no build directory or installation' "$source/demo.sh" --programs /etc --out never
expect 2 'Usage' "$source/test.sh" --fuzz ''
expect 2 'Usage' "$source/test.sh" ''
expect 2 'wants a directory' "$source/tests/fresh-machine.sh" --tree ''
expect 2 'no Debian tree' "$source/tests/fresh-machine.sh" --tree "$work"
expect 2 'wants a directory' "$source/packaging/test.sh" --tree ''
expect 2 '"" is neither amd64 nor arm64' "$source/package.sh" ''
expect 2 '"armhf" is neither' "$source/package.sh" armhf
[[ ! -e never ]] || { echo 'bad usage left a directory'; ((++failures)); }

# What is not the demonstration's own stays.
mkdir -p owner/sensor yes/tools/ostdrv out/sensor
touch owner/sensor/thesis out/.made-by-demo out/sensor/thesis
expect 2 "owner is not the demonstration's own" demo --out owner
expect 2 "owner/sensor/thesis is not the demonstration's own" demo --out owner/sensor/thesis
printf '#!/bin/sh\n' > yes/tools/ostdrv/ostdrv
chmod +x yes/tools/ostdrv/ostdrv
ln -s "$build/tools/ostdrv-sim" yes/tools
expect 2 "out/sensor is not the demonstration's" "$source/demo.sh" --programs yes --out out
expect 1 '3 step\(s\) failed' "$source/demo.sh" --programs yes --out crosses
[[ -f owner/sensor/thesis && -f out/sensor/thesis && $(grep -c '✗' crosses/report.html) == 3 ]] ||
    { echo 'something foreign went, or a cross is missing'; ((++failures)); }

expect 0 "Report: $work/all/report.html"$'\n''Every step passed' demo --all --out all
ticks=$(grep -c '^  ✓' output)
# One file with everything in it, each tag closed, a picture of the board, of nine chains, of cuts and of the curve.
count() { grep -o "$1" all/report.html | wc -l; }
[[ $(count '<details>') == "$ticks" && $(count '</details>') == "$ticks" && $(count '✓</b>') == "$ticks" &&
    $(count '<figure>') == 12 && $(count '</svg>') == 13 && $(count '<section') == $(count '</section>') ]] ||
    { echo "the report does not show the $ticks steps"; ((++failures)); }
grep -E '(src|href)=|@import|url\([^#]' all/report.html && { echo 'the report needs other files'; ((++failures)); }

((failures == 0))
