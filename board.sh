#!/usr/bin/env bash
# The library on a real AArch64 kernel: boots the virtual board, or drives what surrounds one.
set -u
export LC_ALL=C.UTF-8
source=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

usage() {
    cat << 'END'
Usage: ./board.sh [OPTIONS]                     boot to a shell on the board; without a terminal, it reads commands
       ./board.sh [OPTIONS] -- COMMAND...       boot, run an AArch64 program, print its output, return its exit status
       ./board.sh [--root DIR] SUBCOMMAND ...   drive or read what surrounds the board, also while it runs

A Debian AArch64 kernel with its own drivers, under QEMU: GPIO lines with interrupts, an I2C bus with EEPROM, ADC and the
secure element's address, lights, a temperature, device-tree properties. The secure element itself is simulated.

  -r, --root DIR     The board's directory; the same board as "ostdrv-sim --root DIR"
  --new              Make the board, with an ATECC608A unless --chip says otherwise; without --root made when missing
  -c, --chip CHIP    Fit this secure element: atecc508a, atecc608a, trustx or none; another than the fitted one is blank
  --usb, --i2c       Fit the ATECC on the USB kit, or back on the I2C bus
  --reset            Make the board, its chips and its EEPROM blank again
  --with FILE        Put this file or directory into the board's working directory, as often as needed
  --sh SHELL         /bin/sh on the board: dash (default) or busybox
  --steady-clock     The board's time depends on what it executes alone and idles away at once: for measurements
  --prepare          Only fetch and build what a board boots from: later runs need no network
  -h, --help         This text

Subcommands: line, adc, temperature, light, eeprom-out, eeprom-in, eeprom-protect, power-cut; each has --help.

Commands run in /work, which is DIR/work here: what they leave there can be fetched. Installs what is missing with
apt-get on Debian 12, as root or through sudo; fetched packages and what is built stay in build/.
Exit status: the command's; 126 or 127 when it cannot be run; 125 when the board did not come up or stopped before the
command ended; 77 when its packages cannot be fetched; 2 for bad usage.
END
}

bad_usage() {
    printf "board.sh: %s\nTry './board.sh --help'.\n" "$1" >&2
    exit 2
}
fail() { # TEXT [STATUS]
    echo "board.sh: $1" >&2
    exit "${2:-125}"
}

default_root=${OSTDRV_SIM_ROOT:-${XDG_STATE_HOME:-${HOME:-/tmp}/.local/state}/ostdrv-sim}
root=$default_root fit=() with=() sh=dash clock=() reset=0 mode=shell outside=0
while (($#)); do
    option=$1
    shift
    case $option in
        -r | --root | -c | --chip | --with | --sh)
            (($#)) && [[ -n $1 ]] || bad_usage "$option wants a value"
            case $option in
                -r | --root) root=$1 ;;
                -c | --chip)
                    [[ $1 =~ ^(atecc508a|atecc608a|trustx|none)$ ]] || bad_usage "no such chip: $1"
                    fit+=(--chip "$1")
                    ;;
                --with)
                    [[ -r $1 ]] || bad_usage "cannot read $1"
                    with+=("$1")
                    ;;
                --sh)
                    [[ $1 =~ ^(dash|busybox)$ ]] || bad_usage "no such shell: $1"
                    sh=$1
                    ;;
            esac
            shift
            ;;
        --usb | --i2c | --new) fit+=("$option") ;;
        --reset) fit+=("$option") reset=1 ;;
        --prepare) mode=prepare ;;
        --steady-clock) clock=(-icount shift=2,sleep=off) ;;
        -h | --help) usage && exit ;;
        --)
            (($#)) || bad_usage 'a command is missing behind --'
            mode=command
            break
            ;;
        -*) bad_usage "not an option: $option" ;;
        line | adc | temperature | light | eeprom-out | eeprom-in | eeprom-protect | power-cut)
            outside=1
            set -- "$option" "$@"
            break
            ;;
        *) bad_usage "no such subcommand: $option" ;;
    esac
done

root=$(realpath -m -- "$root")
[[ $root != *,* ]] || bad_usage "QEMU takes no comma in a directory's name: $root"
own=$root/virtual
programs=$source/build/programs
host_programs() { # TARGET...
    [[ -f $programs/build.ninja ]] || (cd "$source" && cmake --preset programs) > "$log" 2>&1 || return
    cmake --build "$programs" --target "$@" > "$log" 2>&1
}

if ((outside)); then
    [[ -x $programs/board/board_outside && (-d $own || ${*: -1} =~ ^(-h|--help)$) ]] ||
        fail "there is no board in $root that was ever booted: ./board.sh --root $root boots it"
    ((${#fit[@]} + ${#with[@]} == 0)) || bad_usage "only --root goes with $1"
    exec -a board.sh "$programs/board/board_outside" "$own" "$@"
fi

# A console cannot tell the board that its input has ended.
if [[ $mode == shell && ! -t 0 ]]; then
    mode=command
    set -- sh
fi

. "$source/board/prepare.sh"
. "$source/board/machine.sh"
prepare
[[ $mode != prepare ]] || exit 0
fit_board
start_world
run_machine "$@"
