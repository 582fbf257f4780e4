#!/usr/bin/env bash
# What the completions put in, typed into a bash that has nothing else of its own, on a simulated board.
# usage: completion.sh OSTDRV-SIM OSTDRV COMPLETIONS
set -euo pipefail
sim=$1 ostdrv=$2 completions=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
"$sim" --root board --new >/dev/null
"$sim" --root board -- "$ostdrv" gpio set 7=1 12=0
touch firmware.bin
mkdir tables

# Keys, and what stands on the line when Enter is pressed. \t completes, \e* puts in all that there is.
all='\e*' cases=0
on_board=()
typed() {
    local line
    # The programs print what they were given.
    line=$(printf '%s\n' "source $completions/bash/ostdrv; source $completions/bash/ostdrv-sim" \
        'ostdrv() { echo "= ostdrv $*"; }; ostdrv-sim() { echo "= ostdrv-sim $*"; }' |
        cat - <(printf "$1\n") | "${on_board[@]}" env -u INPUTRC HOME="$work" bash --norc --noprofile -i 2>errors)
    [[ $line == "= $2" ]] || { echo "$1: '$line', not '$2'"; cat errors; exit 1; }
    cases=$((cases + 1))
}

# Commands, options and words of the tables.
typed 'ostdrv gp\tto\t' 'ostdrv gpio toggle'
typed "ostdrv serial $all" 'ostdrv serial get lock set'
typed 'ostdrv gpio get --wa\t5 --js\t' 'ostdrv gpio get --watch 5 --json'
typed "ostdrv cert save $all" 'ostdrv cert save device signer'
typed 'ostdrv led gr\t' 'ostdrv led green'
typed 'ostdrv doctor gp\tch\t' 'ostdrv doctor gpio chip'
typed "ostdrv-sim --chip $all" 'ostdrv-sim --chip atecc508a atecc608a none trustx'
typed 'ostdrv-sim --chip=tr\t' 'ostdrv-sim --chip=trustx'
# What is given is not offered again, nor what it excludes; what may come again is.
typed "ostdrv-sim --usb --i$all" 'ostdrv-sim --usb --i'
typed "ostdrv gpio toggle --json --$all" 'ostdrv gpio toggle --json --help --version'
typed 'ostdrv eeprom load --table a --ta\tb --out ta\t' 'ostdrv eeprom load --table a --table b --out tables/'
# Files where there are files.
typed 'ostdrv key sign fi\t' 'ostdrv key sign firmware.bin'
typed 'ostdrv eeprom store --table gain=fi\t' 'ostdrv eeprom store --table gain=firmware.bin'
typed "ostdrv serial set $all" 'ostdrv serial set'
# Behind the launcher, the board's lines.
typed "ostdrv-sim --root board line $all" 'ostdrv-sim --root board line 12 7'
typed "ostdrv-sim --root board -- ostdrv gpio get $all" 'ostdrv-sim --root board -- ostdrv gpio get 12 7'
typed 'ostdrv-sim -r board -- ostdrv gpio set 7\t1' 'ostdrv-sim -r board -- ostdrv gpio set 7=1'
typed 'ostdrv-sim -- base6\t' 'ostdrv-sim -- base64'

# On the device, its own.
on_board=("$sim" --root board --)
typed "ostdrv gpio unexport $all" 'ostdrv gpio unexport 12 7'
typed "ostdrv gpio direction 7=$all" 'ostdrv gpio direction 7=in out'
typed 'ostdrv gpio watch 12:ris\t7:fal\t' 'ostdrv gpio watch 12:rising 7:falling'
typed "ostdrv pwm $all" 'ostdrv pwm blue green panel red'
typed "ostdrv temp --ntc $all" 'ostdrv temp --ntc 0 1 2 3 4 5 6 7'
echo "$cases lines completed"

# Every command that the program has is known.
"$ostdrv" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p' | while read -r command; do
    grep -q "^        '$command')$" "$completions/bash/ostdrv" || { echo "$command is not completed"; exit 1; }
done
! command -v zsh >/dev/null || for file in "$completions"/zsh/*; do zsh -n "$file"; done
