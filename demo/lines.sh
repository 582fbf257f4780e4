# Lines, analog inputs and lights on the simulated board, whose surroundings a second process plays.

drive_line() {
    ostdrv-sim --root board --new
    device gpio set 7=1
    gives 7=1 device gpio get 7
    gives 7=out device gpio direction 7
    gives 1 device attr read /sys/class/gpio/gpio7/value
}

report_edge() {
    local edge=board/fs/sys/class/gpio/gpio3/edge
    device gpio watch 3:rising --count 1 --timeout 20000 > edges.txt &
    # The line is prepared once its edge is chosen; the wait begins right behind it.
    until grep -q rising "$edge" 2> /dev/null; do
        jobs -pr | grep -q . || { echo 'the waiting process has ended'; return 1; }
        sleep 0.05
    done
    sleep 0.5
    ostdrv-sim --root board line 3 high
    wait $!
    same '3=1 rising' "$(cut -d ' ' -f 2- edges.txt)"
    value "$(cat edges.txt), printed by the process that waited"
}

measure() {
    ostdrv-sim --root board adc 2 2048
    gives 2=2048 device adc 2
    gives 25.00 device temp --ntc 2
    ostdrv-sim --root board adc 2 --celsius 36.6 --full-scale 65536
    gives 36.60 device temp --ntc 2 --full-scale 65536
    fact temperature 36.60
}

# From frost to the heat beside a processor: the library finds each temperature again from the sample.
follow_temperature() {
    local degrees sample measured
    : > curve.txt
    typed ostdrv-sim --root board adc 2 --celsius DEGREES --full-scale 65536
    typed ostdrv-sim --root board -- ostdrv temp --ntc 2 --full-scale 65536
    for degrees in -20 -10 0 10 20 30 40 50 60 70 80; do
        "$sim" --root board adc 2 --celsius $degrees --full-scale 65536
        sample=$("$sim" --root board -- "$tool" adc 2 --at-once)
        measured=$("$sim" --root board -- "$tool" temp --ntc 2 --full-scale 65536)
        echo "$degrees ${sample#*=} $measured" >> curve.txt
        # A step of the converter is 0.01 degrees and less here.
        awk -v a=$degrees -v b="$measured" 'BEGIN { exit !(a - b < 0.02 && b - a < 0.02) }'
    done
    value "$(awk '{ printf "%s%s → %s", (NR > 1 ? ", " : ""), $1, $3 }' curve.txt)"
}

dim_light() {
    device pwm panel 100
    gives 100 device pwm panel
    device pwm panel 30
    gives 30 device pwm panel
    gives 77 device attr read /sys/class/backlight/panel/brightness
    fact light 30
}

lines_story() {
    story 'Lines, analog inputs and lights' "$out/lines"
    step 'A line is set and read back' drive_line
    step 'An edge that a second process drives wakes the one that waits for it' report_edge
    step 'An ADC channel and its thermistor are read, before and after a change of temperature' measure
    step 'Eleven temperatures are found again from their samples' follow_temperature
    step 'A light is dimmed' dim_light
    ((story_failed)) || report_curve
    end_story 'Lines, inputs and lights: what one process drives, another reads; temperatures within 0.02 °C'
}
