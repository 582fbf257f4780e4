# Lines, analog inputs and lights on the simulated board, whose surroundings a second process plays.

drive_line() {
    device gpio set 7=1
    same 7=1 "$(device gpio get 7)"
    same 7=out "$(device gpio direction 7)"
    same 1 "$(device attr read /sys/class/gpio/gpio7/value)"
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
    "$sim" --root board line 3 high
    wait $!
    same 3=1 "$(cat edges.txt)"
}

measure() {
    "$sim" --root board adc 2 --celsius 36.6 --full-scale 65536
    device adc 2
    same 36.60 "$(device temp --ntc 2 --full-scale 65536)"
    "$sim" --root board adc 2 2048
    same 2=2048 "$(device adc 2)"
    same 25.00 "$(device temp --ntc 2)"
}

dim_light() {
    device pwm panel 100
    same 100 "$(device pwm panel)"
    device pwm panel 30
    same 30 "$(device pwm panel)"
    device attr read /sys/class/backlight/panel/brightness
}

lines_story() {
    story 'Lines, analog inputs and lights' "$out/lines"
    step 'A line is set and read back' drive_line
    step 'An edge that a second process drives wakes the one that waits for it' report_edge
    step 'An ADC channel and its thermistor are read, before and after a change of temperature' measure
    step 'A light is dimmed' dim_light
    end_story
}
