# The sensor module's EEPROM: calibration tables go in, come out in another process, and damage is caught.

tables=(dark-current gain-map lens-shading hot-pixels)
eeprom_options=(--version s5l --sensor OSV-20 --lens W6-4 --sn S20-000123)

eeprom() {
    "$tool" eeprom "$@"
}

make_calibration() {
    local table bytes=300
    for table in "${tables[@]}"; do
        # No line ends: grep shall find a place in them.
        tr -d '\n' < /dev/urandom | head -c $bytes > "$table.dat"
        bytes=$((bytes * 3))
    done
    # A new part is erased: every byte is 0xFF.
    head -c 65536 /dev/zero | tr '\0' '\377' > eeprom.bin
}

store_calibration() {
    local table arguments=()
    for table in "${tables[@]}"; do arguments+=(--table "$table=$table.dat"); done
    eeprom store eeprom.bin "${eeprom_options[@]}" "${arguments[@]}" > stored.md5
    same "$(cat "${tables[@]/%/.dat}" | md5sum | cut -d ' ' -f 1)" "$(cat stored.md5)"
}

load_calibration() {
    local table arguments=()
    for table in "${tables[@]}"; do arguments+=(--table "$table"); done
    eeprom load eeprom.bin "${arguments[@]}" --out loaded
    for table in "${tables[@]}"; do cmp "$table.dat" "loaded/$table.bin"; done
}

check_header() {
    eeprom header eeprom.bin | grep -F "$(cat stored.md5)"
    eeprom check eeprom.bin --md5 "$(cat stored.md5)"
    eeprom check eeprom.bin --from loaded
    fails_with 3 eeprom check eeprom.bin --md5 00000000000000000000000000000000
}

# A byte in the middle of the second table, found by its neighbours.
catch_flipped_byte() {
    local place
    place=$(LC_ALL=C grep -obUaP "$(tail -c +401 gain-map.dat | head -c 8 | od -An -v -tx1 | tr -d '\n' |
        sed 's/ /\\x/g')" eeprom.bin | cut -d : -f 1)
    cp eeprom.bin damaged.bin
    tail -c +$((place + 1)) eeprom.bin | head -c 1 | tr '\000-\377' '\001-\377\000' |
        dd of=damaged.bin bs=1 seek="$place" conv=notrunc status=none
    same 1 "$(cmp -l eeprom.bin damaged.bin | wc -l)"
    fails_with 1 eeprom load damaged.bin --table "${tables[0]}" --table "${tables[1]}" --out from-damaged
    [[ ! -e from-damaged ]]
}

erase() {
    fails_with 2 eeprom reset eeprom.bin < /dev/null
    eeprom reset eeprom.bin --yes
    fails_with 1 eeprom header eeprom.bin
    fails_with 1 eeprom load eeprom.bin --table "${tables[0]}" --out after-erase
}

sensor_story() {
    story "The sensor module's EEPROM" "$out/sensor"
    step 'A calibration of four tables and an erased EEPROM are at hand' make_calibration
    step 'The tables are stored, under the digest that md5sum finds' store_calibration
    step 'Another process loads them, byte for byte' load_calibration
    step 'The header alone tells whether the EEPROM holds these tables' check_header
    step 'One flipped byte is caught, and nothing is delivered' catch_flipped_byte
    step 'The EEPROM is erased, with consent' erase
    end_story
}
