#!/bin/bash
# The whole library at work on a simulated board, from a blank secure element to a verified certificate chain.
set -u
export LC_ALL=C.UTF-8
root=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
# In the source tree it builds the programs; installed below share/, it has them in bin/.
out=$root/build/demo programs=''
[[ -e $root/CMakeLists.txt ]] || out=$PWD/ostdrv-demo programs=$(cd "$root/../.." && pwd)

usage() {
    cat << END
Usage: demo.sh [OPTIONS]

Shows the library at work on a simulated board: a factory provisioning with an OpenSSL certificate authority, the
sensor EEPROM, lines, analog inputs and lights. Each step shows the commands behind it and what they gave; report.html,
whose path is printed last, has the same with pictures.

  --chip CHIP      atecc608a (default), atecc508a or trustx
  --layout N       certificate layout on an ATECC: 1 (default) or 0
  --usb            the ATECC sits on the USB kit
  --all            the factory provisioning on every chip, layout and bus, and a table of the results
  --out DIR        where the results and report.html are put (default: $out)
  --programs DIR   use the programs of this build directory or installation (default: ${programs:-build them})
  -h, --help       this text

Exit status: 0 when every step has a tick, 1 when one has a cross, 2 for bad usage.
END
}

bad_usage() {
    echo "demo.sh: $1" >&2
    echo "Try './demo.sh --help'." >&2
    exit 2
}

chip=atecc608a layout=1 usb=0 all=0 brief=0
while (($#)); do
    case $1 in
        --chip | --layout | --out | --programs)
            [[ -n ${2-} ]] || bad_usage "$1 wants a value"
            [[ $1 != --chip || $2 =~ ^(atecc508a|atecc608a|trustx)$ ]] || bad_usage "no such chip: $2"
            [[ $1 != --layout || $2 =~ ^[01]$ ]] || bad_usage "no such layout: $2"
            printf -v "${1#--}" %s "$2"
            shift
            ;;
        --usb) usb=1 ;;
        --all) all=1 brief=1 ;;
        -h | --help)
            usage
            exit
            ;;
        *) bad_usage "not an option: $1" ;;
    esac
    shift
done
if [[ $chip == trustx ]]; then
    ((usb)) && bad_usage 'the USB kit carries an ATECC'
    ((layout == 1)) || bad_usage 'a Trust X has no layout 0'
fi
# programs_in DIR: takes those of a build directory or an installation; false where there are none.
programs_in() {
    local dir
    dir=$(realpath -- "$1") || return
    tool=$dir/tools/ostdrv/ostdrv sim=$dir/tools/ostdrv-sim/ostdrv-sim
    [[ -x $tool ]] || tool=$dir/bin/ostdrv sim=$dir/bin/ostdrv-sim
    [[ -x $tool && -x $sim ]]
}
[[ -z $programs ]] || programs_in "$programs" ||
    bad_usage "$programs is no build directory or installation that has ostdrv and ostdrv-sim"
# Nothing but the demonstration's own is ever overwritten.
if [[ -e $out && ! -f $out/.made-by-demo && ( ! -d $out || -n $(ls -A -- "$out") ) ]]; then
    bad_usage "$out is not the demonstration's own: remove it, or name another directory with --out"
fi
mkdir -p -- "$out" && : > "$out/.made-by-demo" || exit 1
out=$(realpath -- "$out")

if [[ -z $programs ]]; then
    programs=$root/build/programs
    "$root/tools/install-packages.sh" demo || exit 1
    echo 'Building (log: build/demo-build.log) ...'
    (cd "$root" && cmake --preset programs && cmake --build --preset programs) > "$root/build/demo-build.log" 2>&1 ||
        { tail -n 30 "$root/build/demo-build.log" >&2; exit 1; }
    programs_in "$programs"
fi
version=$("$tool" --version | cut -d ' ' -f 2)
started=$SECONDS
# Where the power is cut: at each call, or at fewer of them where there are many stories.
stride=1 steps_of=''
((all)) && stride=8 steps_of=' in steps of 8'

for part in steps programs report authority identity sensor lines; do . "$root/demo/$part.sh"; done

rows=()
if ((all)); then
    for one in atecc508a atecc608a; do
        for two in 0 1; do
            for three in 0 1; do
                identity_story $one $two $three
                rows+=("$row")
            done
        done
    done
    identity_story trustx 1 0
    rows+=("$row")
else
    identity_story "$chip" "$layout" "$usb"
fi
sensor_story
lines_story

unproved=(
    'Real chips, a real kernel, real electricity: the board is simulated, and so are its times'
    'That the stand-ins behave as the makers of the chips say: they were written for this project'
    'Anything outside these stories: the test suite, ./test.sh, goes further'
)
if ((all)); then
    unproved+=('Power cuts at each call of a provisioning: ./demo.sh without --all')
else
    unproved+=('The other chips, layouts and buses: ./demo.sh --all')
fi
verdict='Every step passed.'
((failures)) && verdict="$failures step(s) failed."
report_write "$out/report.html"

if ((all)); then
    printf '\n%schip        layout  bus  steps  certificates   request (both as OpenSSL finds them)%s\n' "$bold" "$plain"
    printf '%s\n' "${rows[@]}"
fi
printf '\n%sWhat was proved%s\n' "$bold" "$plain"
printf '  %s\n' "${proved[@]-nothing}"
printf '%sWhat was not%s\n' "$bold" "$plain"
printf '  %s\n' "${unproved[@]}"
printf '\nReport: %s\n' "$out/report.html"
if ((failures)); then
    printf '%s%s%s\n' "$red" "$verdict" "$plain"
    exit 1
fi
printf '%s%s%s\n' "$green" "$verdict" "$plain"
