#!/bin/bash
# The whole library at work on a simulated board, from a blank secure element to a verified certificate chain.
set -u
export LC_ALL=C.UTF-8
root=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

usage() {
    cat << 'END'
Usage: ./demo.sh [OPTIONS]

Builds the library and shows it at work on a simulated board: a factory provisioning with an OpenSSL certificate
authority, the sensor EEPROM, lines, analog inputs and lights.

  --chip CHIP      atecc608a (default), atecc508a or trustx
  --layout N       certificate layout on an ATECC: 1 (default) or 0
  --usb            the ATECC sits on the USB kit
  --all            the factory provisioning on every chip, layout and bus, and a table of the results
  --out DIR        where the results are put (default: build/demo)
  --programs DIR   use the programs of this build directory: install and build nothing
  -h, --help       this text

Exit status: 0 when every step has a tick, 1 when one has a cross, 2 for bad usage.
END
}

bad_usage() {
    echo "demo.sh: $1" >&2
    echo "Try './demo.sh --help'." >&2
    exit 2
}

chip=atecc608a layout=1 usb=0 all=0 out=$root/build/demo programs=''
while (($#)); do
    case $1 in
        --chip | --layout | --out | --programs)
            (($# > 1)) || bad_usage "$1 wants a value"
            [[ $1 != --chip || $2 =~ ^(atecc508a|atecc608a|trustx)$ ]] || bad_usage "no such chip: $2"
            [[ $1 != --layout || $2 =~ ^[01]$ ]] || bad_usage "no such layout: $2"
            printf -v "${1#--}" %s "$2"
            shift
            ;;
        --usb) usb=1 ;;
        --all) all=1 ;;
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

if [[ -z $programs ]]; then
    programs=$root/build/release
    "$root/tools/install-packages.sh" build || exit 1
    echo 'Building (log: build/demo-build.log) ...'
    mkdir -p "$root/build"
    (cd "$root" && cmake --preset release &&
        cmake --build --preset release --target ostdrv_tool ostdrv-sim ostdrv_board) > "$root/build/demo-build.log" 2>&1 ||
        { tail -n 30 "$root/build/demo-build.log" >&2; exit 1; }
fi
tool=$(realpath "$programs")/tools/ostdrv/ostdrv
sim=$(realpath "$programs")/tools/ostdrv-sim/ostdrv-sim
mkdir -p "$out"
out=$(realpath "$out")

. "$root/demo/steps.sh"
. "$root/demo/authority.sh"
. "$root/demo/identity.sh"
. "$root/demo/sensor.sh"
. "$root/demo/lines.sh"

if ((all)); then
    rows=()
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

if ((all)); then
    printf '\n%schip        layout  bus  steps  certificates   request (both as OpenSSL finds them)%s\n' "$bold" "$plain"
    printf '%s\n' "${rows[@]}"
fi
if ((failures)); then
    printf '\n%s%d step(s) failed.%s\n' "$red" "$failures" "$plain"
    exit 1
fi
printf '\n%sEvery step passed.%s\n' "$green" "$plain"
