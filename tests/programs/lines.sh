#!/bin/sh
# Lines, inputs, lights and attributes through the command-line programs and the example programs.
# usage: lines.sh OSTDRV-SIM OSTDRV EDGE_WAIT_16 SHELL_COMMANDS
set -eu
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
sim="$1 --root $root/board"
ostdrv="$sim -- $2"
$sim --new >"$root/made"

expect() {  # EXPECTED COMMAND...
    expected=$1
    shift
    actual=$("$@" 2>&1) || actual="$actual, status $?"
    [ "$actual" = "$(printf "$expected")" ] || { echo "$*: $actual, not $expected"; exit 1; }
}
full() { "$@" >/dev/full; }
wait_for() {  # TEXT FILE
    until grep -q "$1" "$2"; do sleep 0.05; done
}

expect '7=0\n8=0' $ostdrv gpio get 7 8
expect '' $ostdrv gpio set 7=1 8=0
expect '{"line":7,"value":1}' $ostdrv gpio get 7 --json
expect '7=out\n9=in' $ostdrv gpio direction 7 9
expect '9=none' $ostdrv gpio edge 9
expect '9=rising' $ostdrv gpio edge 9=rising 9
expect '9=1' $ostdrv gpio active-low 9=1 9
expect '9=1\n9=1' $ostdrv gpio get 9 --watch 1 --count 2
expect 'ostdrv: cannot read the value of line 99: the board has no such line (Invalid argument), status 1' \
    $ostdrv gpio get 99
expect "ostdrv: cannot read the value of line 7: there is no /sys/class/gpio; is this the device? \
'ostdrv-sim -- COMMAND' plays one, status 1" "$2" gpio get 7
expect 'ostdrv: cannot set the edge of line 7: Input/output error; it is an output, status 1' $ostdrv gpio edge 7=rising
expect '7=0' $ostdrv gpio toggle 7
expect "ostdrv: line 9 is an input; 'gpio set' makes it an output and drives it, status 1" $ostdrv gpio toggle 7 9
expect 'ostdrv: line 7 is an output, and a watch makes it an input; --force does it all the same, status 1' \
    $ostdrv gpio watch 7 --timeout 0
expect '7: direction=out value=0 edge=none active_low=0\n8: direction=out value=0 edge=none active_low=0
9: direction=in value=1 edge=rising active_low=1' $ostdrv gpio list
$ostdrv gpio watch 8 --timeout 0 --force 2>/dev/null
expect '' $ostdrv gpio unexport 7 9
expect 'ostdrv: line 7 is not exported, status 1' $ostdrv gpio unexport 8 7
expect '{"line":8,"direction":"in","value":0,"edge":"both","active_low":0}' $ostdrv gpio list --json
expect 'ostdrv: cannot write standard output: No space left on device, status 1' full $ostdrv gpio get 7
for wrong in "set 7" "set 7=" "get 7=1" "watch 1:up" "watch 1 1" "direction 7=sideways" "watch $(seq -s ' ' 17)"; do
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
expect '3=1 rising\n4=1 rising\n4=0 falling' cut -d ' ' -f 2- "$root/edges"
[ "$(grep -c "^20..-..-..T..:..:..[.]......Z " "$root/edges")" = 3 ]
expect 'ostdrv: saw 0 of 1 edges before the timeout, status 1' $ostdrv gpio watch 3 --count 1 --timeout 0
expect '' $ostdrv gpio watch 3 --timeout 0

$sim -- "$3" 0 3000 >"$root/edges" &
watching=$!
wait_for 'waiting for edges on lines 0 to 15' "$root/edges"
$sim line 15 high && wait_for 'line 15 is high' "$root/edges"
wait $watching
expect 'ostdrv-sim: the board has no such line, status 1' $sim line 32 high

expect 'in low' $sim line 3
expect '' $ostdrv gpio set 20=1
expect 'out high' $sim line 20
expect '45.5' sh -c "$sim temperature 45.5 && $sim temperature"
expect "ostdrv-sim: the board has no light panle, did you mean 'panel'?, status 1" $sim light panle
$sim adc 3 2048
expect '2048' $sim adc 3
expect '3=2048' $ostdrv adc 3 --at-once
expect '25.00' $ostdrv temp --ntc 3
$sim adc 3 --celsius 60 --full-scale 65536
expect '60.00\n60.00' $ostdrv temp --ntc 3 --full-scale 65536 --watch 1 --count 2
$sim temperature 45.5
expect '45.50' $ostdrv temp --sysfs /sys/class/thermal/thermal_zone0/temp
adc=/var/tmp/adc/in_voltage
expect "ostdrv: cannot sample channel 8: cannot open ${adc}8_raw: No such file or directory, status 1" $ostdrv adc 8
for end in "0 end" "4096 end" "5000 outside"; do
    $sim adc 4 ${end% *}
    $ostdrv temp --ntc 4 2>&1 | grep -q "the sample of channel 4 lies.*${end#* }.* the scale of 0 to 4096"
done
$sim attribute ${adc}4_raw noise
expect "ostdrv: cannot sample channel 4: ${adc}4_raw holds no number, status 1" $ostdrv adc 4
"$2" adc 4 2>&1 | grep -q 'there is no /var/tmp/adc, is this the device'
for text in "noise:holds no number" ":is empty" "99999999999:holds a number that is too large" "-273151:is below abs"; do
    printf %s "${text%%:*}" >"$root/degrees"
    $ostdrv temp --sysfs "$root/degrees" 2>&1 | grep -q "${text#*:}"
done

expect '' $ostdrv pwm panel 50
expect '50' $ostdrv pwm panel
expect '128' $sim light panel
expect '128' $ostdrv attr read /sys/class/backlight/panel/brightness
expect '' $ostdrv attr write /sys/class/backlight/panel/brightness 7
expect '{\n  "name": "panel",\n  "percent": 3\n}' $ostdrv pwm panel --json
expect 'yes' $ostdrv attr contains /sys/class/gpio/gpio4/edge both
expect 'ostdrv: /sys/class/gpio/gpio4/edge does not contain the word bot, status 3' \
    $ostdrv attr contains /sys/class/gpio/gpio4/edge bot
seq 9999 >"$root/long"
expect "$(seq 9999)" $ostdrv attr read "$root/long"
expect "ostdrv: $root/long has 48888 bytes, of which the library searches 256, status 1" \
    $ostdrv attr contains "$root/long" 1
expect 'ostdrv: cannot write /proc/version: Input/output error, status 1' $ostdrv attr write /proc/version x
expect 'ostdrv: cannot open /nosuch: No such file or directory, status 1' $ostdrv attr read /nosuch
expect "ostdrv: cannot read light panle: there is no /sys/class/backlight/panle; there are blue, green, panel, red, \
did you mean 'panel'?, status 1" $ostdrv pwm panle
for wrong in "attr write $root/long ''" "attr contains $root/long 'a b'" "pwm ../panel" "pwm panel 101" "led pink 1"; do
    eval "$ostdrv $wrong" 2>/dev/null && exit 1
    [ $? = 2 ] || { echo "$wrong is not refused"; exit 1; }
done
$sim attribute /sys/class/backlight/red/brightness 255
expect '100' $ostdrv pwm red
$ostdrv led blue 50 2>&1 | grep -q 'no driver of one is loaded.*LD_PRELOAD=LIBRARY ostdrv led'
$sim --led -- "$2" led blue 50
expect 127 $sim attribute /sys/class/leds/blue/brightness
$sim | grep -qx 'led: red 0, green 0, blue 127'

# What a board lacks is found. What is taken away for one look, the launcher puts back for the next.
limited=
[ "$(id -u)" != 0 ] || limited='setpriv --bounding-set=-dac_override,-dac_read_search'
tool=$2
finds() {  # STATUS STATE CHECK PATTERN "ARGUMENTS" [DAMAGE]
    change=${6-:} $sim -- $limited sh -c \
        "cd '$root/board/fs' && env -u LD_PRELOAD sh -c \"\$change\" && exec '$tool' doctor $5" >"$root/found" 2>&1 && status=0 ||
        status=$?
    [ $status = $1 ] && grep -Eq "^$2 +$3 +$4" "$root/found" && return
    echo "doctor $5 after '${6-}': status $status, not $1 and '$2 $3 $4'"
    cat "$root/found"
    exit 1
}
gpio=sys/class/gpio light=sys/class/backlight/red
finds 0 ok gpio.controller 'lines 0 to 31' gpio
$sim adc 4 0
finds 0 ok gpio.exported '0, 1, .* can be used' ''
finds 0 absent gpio.class 'there is no /sys/class/gpio/export' '' "rm -r $gpio"
finds 1 fault gpio.class 'there is no /sys/class/gpio/export' gpio "rm -r $gpio"
finds 1 fault gpio.class '.*Permission denied; it is .*, mode 0400' '' "chmod 400 $gpio/export"
chmod 600 "$root/board/fs/$gpio/export"
finds 1 fault gpio.controller 'no controller' '' "rm -r $gpio/gpiochip0"
expect '3=0' $ostdrv gpio get 3
finds 1 fault gpio.exported 'cannot open /sys/class/gpio/gpio3/edge: Permission' gpio "chmod 400 $gpio/gpio3/edge"
chmod 600 "$root/board/fs/$gpio/gpio3/edge"
finds 0 ok adc.channels 'channels 0, 1' 'adc pwm'
finds 0 absent adc.directory 'there is no /var/tmp/adc' '' 'rm -r var/tmp/adc'
finds 1 fault adc.directory '.*a link to what is not there' '' 'rm -r var/tmp/adc; ln -s nowhere var/tmp/adc'
rm "$root/board/fs/var/tmp/adc"
finds 1 fault adc.channels 'there is no in_volt' adc 'rm var/tmp/adc/*'
finds 1 fault adc.channels '.*adc/in_voltage3_raw holds no number' adc 'echo x >var/tmp/adc/in_voltage3_raw'
$sim adc 3 2048
finds 1 fault adc.channels 'no answer within 3 s' adc 'rm var/tmp/adc/*; mkfifo var/tmp/adc/in_voltage3_raw'
rm "$root/board/fs/var/tmp/adc/in_voltage3_raw"
finds 0 ok pwm.lights 'each' pwm
finds 1 fault pwm.class 'there is no light' pwm 'rm -r sys/class/backlight'
finds 1 fault pwm.lights '.*takes 0 to 100, the lib' '' "echo 100 >$light/max_brightness"
echo 255 >"$root/board/fs/$light/max_brightness"
finds 1 fault pwm.lights 'cannot open .*red/brightness' pwm "rm $light/brightness"
finds 1 fault pwm.lights '.* more than 31' pwm "mv $light sys/class/backlight/12345678901234567890123456789012"
head -c 4096 /dev/zero >"$root/eeprom"
finds 0 ok eeprom.header 'its header can' "--eeprom $root/eeprom"
finds 0 ok gpio.class '' "--eeprom $root/eeprom"
finds 0 absent eeprom.file 'none was named' ''
finds 1 fault eeprom.file 'cannot open .*Permission' "--eeprom $root/eeprom eeprom" "chmod 400 '$root/eeprom'"
chmod 600 "$root/eeprom" && : >"$root/eeprom"
finds 1 fault eeprom.file '.* has 0 bytes' "--eeprom $root/eeprom"
finds 1 fault eeprom.file '.*Is a directory' "--eeprom $root"
"$2" doctor gpio --json 2>&1 | grep -q '^{"family":"gpio","check":"class","state":"fault","found":"there.*","to_do":"a kernel'
$ostdrv doctor gpio --json | grep -q '"state":"ok","found":".*","to_do":null}$'
"$2" doctor 2>&1 | grep -q "there is nothing of a board here.*'ostdrv-sim"
for wrong in gpoi eeprom '--eeprom='; do
    "$2" doctor $wrong 2>/dev/null && exit 1
    [ $? = 2 ] || { echo "doctor $wrong is not refused"; exit 1; }
done

"$4" >"$root/shell"
for line in 'exit 3:   exit status 3' 'output:   kernel' 'cat:      exit status 1' 'started:  yes' 'ended:    yes'; do
    grep -q "$line" "$root/shell" || { echo "missing: $line"; exit 1; }
done
