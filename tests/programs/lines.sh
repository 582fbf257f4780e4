#!/bin/sh
# Lines, inputs, lights and attributes through the command-line programs and the example programs.
# usage: lines.sh OSTDRV-SIM OSTDRV EDGE_WAIT_16 SHELL_COMMANDS
set -eu
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
sim="$1 --root $root/board"
ostdrv="$sim -- $2"

expect() {  # EXPECTED COMMAND...
    expected=$1
    shift
    actual=$("$@" 2>&1) || actual="$actual, status $?"
    [ "$actual" = "$(printf "$expected")" ] || { echo "$*: $actual, not $expected"; exit 1; }
}
wait_for() {  # TEXT FILE
    until grep -q "$1" "$2"; do sleep 0.05; done
}

expect '7=0\n8=0' $ostdrv gpio get 7 8
expect '' $ostdrv gpio set 7=1 8=0
expect '{\n  "7": "1"\n}' $ostdrv gpio get 7 --json
expect '7=out\n9=in' $ostdrv gpio direction 7 9
expect '9=none' $ostdrv gpio edge 9
expect '9=rising' $ostdrv gpio edge 9=rising 9
expect '9=1' $ostdrv gpio active-low 9=1 9
expect '9=1\n9=1' $ostdrv gpio get 9 --watch 1 --count 2
expect 'ostdrv: cannot read the value of line 99, status 1' $ostdrv gpio get 99
for wrong in "set 7" "get 7=1" "watch 1:up" "direction 7=sideways" "watch $(seq -s ' ' 17)"; do
    $ostdrv gpio $wrong 2>/dev/null && exit 1
    [ $? = 2 ] || { echo "gpio $wrong is not refused"; exit 1; }
done

# One process waits, another drives.
$ostdrv gpio watch 3:rising 4 --count 3 --timeout 60000 >"$root/edges" &
watching=$!
until [ "$(cat "$root/board/fs/sys/class/gpio/gpio4/edge" 2>/dev/null)" = both ]; do sleep 0.05; done
sleep 0.5
$sim line 3 high && wait_for 3=1 "$root/edges"
$sim line 3 low && $sim line 4 high && wait_for 4=1 "$root/edges"
$sim line 4 low
wait $watching
expect '3=1\n4=1\n4=0' cat "$root/edges"
expect 'ostdrv: saw 0 of 1 edges before the timeout, status 1' $ostdrv gpio watch 3 --count 1 --timeout 0
expect '' $ostdrv gpio watch 3 --timeout 0

$sim -- "$3" 0 3000 >"$root/edges" &
watching=$!
wait_for 'waiting for edges on lines 0 to 15' "$root/edges"
$sim line 15 high && wait_for 'line 15 is high' "$root/edges"
wait $watching
expect 'ostdrv-sim: the board has no such line, status 1' $sim line 32 high

$sim adc 3 2048
expect '3=2048' $ostdrv adc 3 --at-once
expect '25.00' $ostdrv temp --ntc 3
$sim adc 3 --celsius 60 --full-scale 65536
expect '60.00\n60.00' $ostdrv temp --ntc 3 --full-scale 65536 --watch 1 --count 2
$sim temperature 45.5
expect '45.50' $ostdrv temp --sysfs /sys/class/thermal/thermal_zone0/temp
expect 'ostdrv: cannot sample channel 8, status 1' $ostdrv adc 8

expect '' $ostdrv pwm panel 50
expect '50' $ostdrv pwm panel
expect '128' $ostdrv attr read /sys/class/backlight/panel/brightness
expect '' $ostdrv attr write /sys/class/backlight/panel/brightness 7
expect '{\n  "name": "panel",\n  "percent": 3\n}' $ostdrv pwm panel --json
expect 'yes' $ostdrv attr contains /sys/class/gpio/gpio4/edge both
expect 'no' $ostdrv attr contains /sys/class/gpio/gpio4/edge bot
$sim attribute /sys/class/backlight/red/brightness 255
expect '100' $ostdrv pwm red
expect 'ostdrv: this colour of the status LED is not driven here, status 1' $ostdrv led blue 50

"$4" >"$root/shell"
for line in 'exit 3:   exit status 3' 'output:   kernel' 'cat:      exit status 1' 'started:  yes' 'ended:    yes'; do
    grep -q "$line" "$root/shell" || { echo "missing: $line"; exit 1; }
done
