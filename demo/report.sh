# The report: one file of HTML with everything in it, for light and dark. It is put together piece by piece while the
# stories run, and written at the end.

report_body=''

# escaped [SED-COMMAND FILE...]: its input, or these files, for HTML
escaped() {
    sed -E 's/&/\&amp;/g; s/</\&lt;/g; s/>/\&gt;/g; s/"/\&quot;/g'"${1:+; $1}" "${@:2}"
}

# report_story TITLE
report_story() {
    story_title=$(escaped <<< "$1") story_pictures='' story_lines=''
}

report_end_story() {
    report_body+="<section><h2>$story_title</h2>$story_pictures$story_lines</section>"$'\n'
}

# report_step STATUS TEXT SECONDS FILE-WITH-EVIDENCE
report_step() {
    local mark='<b class="yes">✓</b>' open=''
    (($1)) && mark='<b class="no">✗</b>' open=' open'
    local evidence text
    evidence=$(escaped 's|^\$ .*|<kbd>&</kbd>|' <(printf '%s\n' "$2") "$4")
    text=${evidence%%$'\n'*} evidence=${evidence#"$text"}
    story_lines+="<details$open><summary>$mark<span>$text</span><time>$3 s</time></summary><pre>${evidence#$'\n'}</pre></details>"$'\n'
}

# card X LABEL NAME LINE...: a box of the chain, 190 wide
card() {
    local x=$1 y=96 line
    printf '<g transform="translate(%d 20)"><rect class="card" width="190" height="182" rx="10"/>' "$x"
    printf '<text class="label" x="14" y="28">%s</text><text class="name" x="14" y="58">%s</text>' "$2" "$3"
    shift 3
    for line in "$@"; do
        printf '<text class="small" x="14" y="%d">%s</text>' $y "$line"
        ((y += 22))
    done
    printf '</g>\n'
}

# arrow X LABEL: from one card to the next
arrow() {
    printf '<path class="arrow" d="M%d 105h44"/><text class="small middle" x="%d" y="92">%s</text>\n' "$1" $(($1 + 25)) "$2"
}

# certificate_card X LABEL FILE
certificate_card() {
    local subject fields
    subject=$(certificate_field "$3" subject)
    key_of_certificate "$3" > card.pub
    [[ $subject =~ CN=([^,]*) ]]
    card "$1" "$2" "$(escaped <<< "${BASH_REMATCH[1]}")" "$(escaped <<< "${subject/,CN=*/}")" \
        "No. $(certificate_field "$3" serial)" "until $(certificate_field "$3" enddate | awk '{ print $1, $2, $4 }')" \
        "key $(fingerprint card.pub)…"
    rm card.pub
}

# report_chain: the certificates of the story, read from their files, and the chip's key
report_chain() {
    local where='slot 0' story_chip=${chip^^}
    on_trustx && where='object 0xE0F1' story_chip='Trust X'
    story_pictures+="<figure>$(
        cd "$folder" || exit
        printf '<svg viewBox="0 0 946 222" role="img" aria-label="The certificate chain">\n'
        certificate_card 8 AUTHORITY authority.cert
        arrow 201 signs
        certificate_card 254 SIGNER signercert.cert
        arrow 447 signs
        certificate_card 500 DEVICE devcert.cert
        arrow 693 'same key'
        card 746 "KEY IN THE CHIP" "$story_chip" "$where" "${bus#--} bus" 'made inside' \
            "key $(cat fact-key)…"
        printf '</svg>'
    )<figcaption>The chain, as its files and the chip say it.</figcaption></figure>"$'\n'
}

# report_cuts: what each power cut of a store left behind
report_cuts() {
    story_pictures+="<figure>$(fact cuts | awk '{
        n = length($0)
        printf "<svg viewBox=\"0 0 946 70\" role=\"img\" aria-label=\"Power cuts in a store\">"
        for (i = 1; i <= n; ++i) {
            c = substr($0, i, 1)
            printf "<rect class=\"cut-%s\" x=\"%.1f\" y=\"8\" width=\"%.1f\" height=\"30\"><title>%s</title></rect>", c,
                8 + (i - 1) * 930 / n, 930 / n * 0.8, c == "o" ? "old tables" : c == "n" ? "new tables" : "refused"
        }
        printf "<text class=\"small\" x=\"8\" y=\"60\">first call</text>"
        printf "<text class=\"small end\" x=\"938\" y=\"60\">last call</text></svg>"
    }')<figcaption>What power cuts in the middle of a store leave: <b class=\"key-o\">the old tables</b>, <b
class=\"key-r\">tables that a load refuses</b>, <b class=\"key-n\">the new tables</b>. Never a mixture.</figcaption></figure>"$'\n'
}

# report_curve: the samples of the thermistor over the temperature that the library found in them
report_curve() {
    story_pictures+="<figure>$(awk '
        function x(celsius) { return 70 + (celsius + 25) / 110 * 850 }
        function y(sample) { return 250 - sample / 65536 * 230 }
        { measured[NR] = $3; sample[NR] = $2; set[NR] = $1 }
        END {
            printf "<svg viewBox=\"0 0 946 300\" role=\"img\" aria-label=\"Temperature curve\">"
            for (c = -20; c <= 80; c += 20)
                printf "<path class=\"grid\" d=\"M%.0f 20V250\"/><text class=\"small middle\" x=\"%.0f\" y=\"272\">%d °C</text>",
                    x(c), x(c), c
            for (s = 0; s <= 65536; s += 16384)
                printf "<path class=\"grid\" d=\"M70 %.0fH920\"/><text class=\"small end\" x=\"62\" y=\"%.0f\">%d</text>",
                    y(s), y(s) + 4, s
            printf "<path class=\"curve\" d=\""
            for (i = 1; i <= NR; ++i) printf "%s%.1f %.1f", i == 1 ? "M" : "L", x(measured[i]), y(sample[i])
            printf "\"/>"
            for (i = 1; i <= NR; ++i) {
                printf "<circle class=\"point\" cx=\"%.1f\" cy=\"%.1f\" r=\"4.5\"><title>set to %s °C, sample %d, measured %s °C", \
                    x(measured[i]), y(sample[i]), set[i], sample[i], measured[i]
                printf "</title></circle><text class=\"small\" x=\"%.1f\" y=\"%.1f\">%s</text>", x(measured[i]) + 8,
                    y(sample[i]) - 7, measured[i]
            }
            printf "</svg>"
        }' "$folder/curve.txt")<figcaption>The thermistor of channel 2: samples of the converter (16 bits) over the temperature that the
library finds in them. The board was set to the round numbers.</figcaption></figure>"$'\n'
}

# chip_picture X Y HEIGHT NAME LINE...: a chip 150 wide with its legs
chip_picture() {
    local x=$1 y=$2 leg text
    for ((leg = y + 14; leg < y + $3; leg += 22)); do
        printf '<path class="pin" d="M%d %dh-14M%d %dh14"/>' "$x" "$leg" $((x + 150)) "$leg"
    done
    printf '<rect class="chip" x="%d" y="%d" width="150" height="%d" rx="6"/>' "$x" "$y" "$3"
    printf '<text class="chip-name" x="%d" y="%d">%s</text>' $((x + 14)) $((y + 28)) "$4"
    ((y += 48))
    for text in "${@:5}"; do
        printf '<text class="chip-text" x="%d" y="%d">%s</text>' $((x + 14)) $y "$text"
        ((y += 17))
    done
}

# report_board: what sits on the board of the stories, and the last values that were seen there
report_board() {
    local name=${chip^^} line level
    [[ $chip == trustx ]] && name='Trust X'
    printf '<figure><svg viewBox="0 0 946 290" role="img" aria-label="The board">'
    printf '<rect class="board" x="4" y="4" width="938" height="282" rx="16"/>'
    printf '<path class="trace" d="M234 74H346M234 96H346M234 184H346M234 206H346M524 74H640M524 118H813'
    printf 'M524 184H566V212H590M524 206H556V222H590"/>'
    chip_picture 70 60 90 "$name" "secure element, ${bus#--}" "$serial"
    chip_picture 70 170 90 EEPROM "$eeprom_bytes bytes" "MD5 $(folder=$out/sensor fact digest | cut -c 1-12)…"
    chip_picture 360 60 190 processor "libostdrv.so.1" "$version"
    printf '<circle class="glow" cx="660" cy="74" r="36" opacity="0.%s"/>' "$(folder=$out/lines fact light)"
    printf '<circle class="light" cx="660" cy="74" r="18"/><text class="chip-text" x="704" y="58">light</text>'
    printf '<text class="chip-name" x="704" y="78">%s %%</text>' "$(folder=$out/lines fact light)"
    printf '<g transform="translate(800 45)"><path class="bulb" d="M20 60V14a9 9 0 0 1 18 0V60a16 16 0 1 1-18 0z"/>'
    printf '<path class="quicksilver" d="M29 68V30"/><circle class="quicksilver-ball" cx="29" cy="73" r="10"/>'
    printf '<text class="chip-text" x="52" y="26">thermistor</text><text class="chip-name" x="52" y="46">%s °C</text></g>' \
        "$(folder=$out/lines fact temperature)"
    printf '<text class="chip-text" x="600" y="184">lines 0 to 15: the device drives 7, the world 3</text>'
    for ((line = 0; line < 16; ++line)); do
        level=low
        ((line == 7 || line == 3)) && level=high
        printf '<rect class="line-%s" x="%d" y="202" width="13" height="30" rx="2"/>' $level $((600 + line * 20))
        printf '<text class="pin-text" x="%d" y="250">%d</text>' $((606 + line * 20)) "$line"
    done
    printf '</svg><figcaption>The simulated board at the end, with the values that the steps found there.</figcaption></figure>'
}

# report_write FILE: the verdict and the arrays proved and unproved make the summary
report_write() {
    local claim
    {
        cat "$root/demo/report.html"
        printf '<header><h1>%s</h1><p>%s</p><p class="dim">%s</p></header>\n' "$verdict" \
            "ostdrv $version on a simulated board: the library at work, from a blank secure element to a verified chain." \
            "$(date '+%F %T'), $(command openssl version | sed 's/ (.*//' | escaped), $(uname -sm), $((SECONDS - started)) s for the steps"
        ((failures)) || report_board
        printf '<section class="summary"><div><h2>What was proved</h2><ul>'
        for claim in "${proved[@]}"; do printf '<li class="yes">%s</li>' "$(escaped <<< "$claim")"; done
        printf '</ul></div><div><h2>What was not</h2><ul>'
        for claim in "${unproved[@]}"; do printf '<li>%s</li>' "$(escaped <<< "$claim")"; done
        printf '</ul></div></section>\n%s' "$report_body"
        printf '<footer>A step opens to its commands and what they gave. Each line behind a $ is a command as it was run, in the '
        printf 'folder of its story; ostdrv-sim gives it the board.</footer></main></body></html>\n'
    } > "$1"
}
