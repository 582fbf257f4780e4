#!/bin/sh
# What ordinary programs see of a board's files, in one line each: "name: what it saw". The same on every board, or one of
# them does not show what the device does; observations.txt holds what the kernel said.
# usage: observations.sh OBSERVE DRIVE...     the probe, and the command that drives a line from outside
set -u
observe=$1
shift
drive=$*
gpio=/sys/class/gpio light=/sys/class/backlight/panel sample=/var/tmp/adc/in_voltage0_raw eeprom=/var/tmp/eeprom
line=$gpio/gpio3 value=$gpio/gpio3/value

saw() { # NAME COMMAND...
    name=$1
    shift
    printf '%s: %s\n' "$name" "$("$@" 2> /dev/null | tr '\n\0' '| ' | sed 's/[ |]*$//')"
}
# What an act gave, and what a file holds then.
left() { # NAME FILE COMMAND...
    printf '%s: %s\n' "$1" "$(file=$2 && shift 2 && "$@" 2> /dev/null | tr '\n\0' '| ' && printf 'left ' && cat "$file")"
}
in_shell() { # SHELL TEXT
    "$@" 2> /dev/null
    echo "status $?"
}

[ -e $line ] || echo 3 > $gpio/export
echo in > $line/direction
echo 3 > $gpio/unexport
echo 0 > $light/brightness

for file in $gpio/export $light/brightness $light/max_brightness $sample /sys/class/thermal/thermal_zone0/temp; do
    for flags in r w b wt wa rc wc wcx; do saw "open $flags $file" "$observe" opens $flags $file; done
    saw "shape of $file" "$observe" shows $file
done
for flags in r w wc wcx; do saw "open $flags of a missing attribute" "$observe" opens $flags $light/missing; done
saw 'open wc below a missing directory' "$observe" opens wc $light/missing/missing
saw 'shape of the EEPROM' "$observe" shows "$(readlink -f $eeprom)"
saw 'remove and rename an attribute' "$observe" removes $light/brightness $light/other
saw 'remove and rename a missing attribute' "$observe" removes $light/missing $light/other

for text in 7 255 256 -1 '' ' 7' 7x 0x1f 010 99999999999999999999 on; do
    left "brightness '$text'" $light/brightness "$observe" writes write $light/brightness "$text"
done
saw 'a sample written' "$observe" writes write $sample 7
saw 'a temperature written' "$observe" writes write /sys/class/thermal/thermal_zone0/temp 7
for how in pwrite writev dprintf truncating twice dup dup2 dup3 fcntl stdout; do
    for text in 21 999; do
        echo 5 > $light/brightness
        left "$how $text" $light/brightness "$observe" writes $how $light/brightness $text
    done
done
for how in fopen append update fdopen freopen unbuffered lines flush exit; do
    for text in 22 999; do
        echo 5 > $light/brightness
        left "stream, $how $text" $light/brightness "$observe" stream $how $light/brightness $text
    done
done
left 'shorten' $light/brightness "$observe" shortens $light/brightness
for from in 0 1 5; do saw "read from $from" "$observe" reads $from $light/max_brightness; done

for shell in dash bash; do
    for act in 'echo 31' 'echo 999' 'printf 32' 'printf "33\n34\n"' 'cat /proc/sys/kernel/ostype' ':'; do
        echo 5 > $light/brightness
        left "$shell, $act > brightness" $light/brightness in_shell $shell -c "$act > $light/brightness"
    done
    left "$shell, a child's descriptor" $light/brightness \
        in_shell $shell -c "exec 4> $light/brightness; $shell -c 'echo 35 >&4'"
    left "$shell, from the directory" $light/brightness in_shell $shell -c "cd $light && echo 36 > brightness"
    left "$shell, appended" $light/brightness in_shell $shell -c "echo 37 >> $light/brightness"
    left "$shell, what is read-only" $light/max_brightness in_shell $shell -c "echo 1 > $light/max_brightness"
done

line_is() { cat $line/direction $line/value $line/edge $line/active_low; }
set_line() { # ATTRIBUTE TEXT
    saw "$1 $2" "$observe" writes write $line/"$1" "$2"
    [ ! -e $line ] || saw "line after $1 $2" line_is
}
$drive 3 low
for text in 99999 x 99999999999999999999; do saw "export $text" "$observe" writes write $gpio/export $text; done
saw 'unexport before export' "$observe" writes write $gpio/unexport 3
saw 'export' "$observe" writes write $gpio/export 3
saw 'export again' "$observe" writes write $gpio/export 3
saw 'a new line' line_is
for file in direction value edge active_low; do saw "shape of $file" "$observe" shows $line/$file; done
set_line value 1
set_line value x
set_line edge up
set_line edge both
set_line direction out
set_line edge both
set_line edge rising
set_line value 7
set_line active_low 1
set_line direction high
set_line direction sideways
set_line active_low 0
set_line direction high
saw 'unexport' "$observe" writes write $gpio/unexport 3
saw 'its directory' "$observe" opens r $value
saw 'export once more' "$observe" writes write $gpio/export 3
saw 'an output after unexport and export' line_is
set_line direction in
$drive 3 high
saw 'a line driven' line_is
set_line edge both
for how in poll ppoll select pselect epoll epoll-once; do
    $drive 3 low
    saw "wait, $how" "$observe" waits $how $value $drive 3 high
done
$drive 3 low
echo falling > $line/edge
saw 'wait for the other edge' timeout 8 "$observe" waits poll $value $drive 3 high
echo 3 > $gpio/unexport

head -c 4096 /dev/zero | tr '\0' '\377' > $eeprom
left_cells() { head -c 8 $eeprom | od -An -tx1; }
saw 'EEPROM written' sh -c "printf abc > $eeprom; echo \$?"
saw 'its cells' left_cells
saw 'EEPROM at its end' sh -c "printf abcd | dd of=$eeprom bs=4 seek=4094 oflag=seek_bytes conv=notrunc; echo \$?"
saw 'EEPROM behind its end' sh -c "printf a | dd of=$eeprom bs=1 seek=4096 conv=notrunc; echo \$?"
saw 'its size' sh -c "wc -c < $eeprom"

bus=$(ls /dev | sed -n 's/^i2c-2$/\/dev\/i2c-2/p')
saw 'the bus' echo "${bus:-/dev/i2c-2}"
for address in 0x60 0x61 0x50; do saw "I2C $address" "$observe" asks /dev/i2c-2 $address; done
