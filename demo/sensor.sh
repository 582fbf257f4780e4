# The sensor module's EEPROM: calibration tables go in, come out in another process, and damage is caught.

tables=(dark-current gain-map lens-shading hot-pixels)
eeprom_options=(--version s5l --sensor OSV-20 --lens W6-4 --sn S20-000123)
eeprom_bytes=65536

# table_options DIRECTORY: the four tables with their files
table_options() {
    local table
    for table in "${tables[@]}"; do printf '%s\n' --table "$table=$1$table.dat"; done
}

# digest_of DIRECTORY SUFFIX: the MD5 of the four tables' files
digest_of() {
    local files=("${tables[@]/#/$1}")
    cat "${files[@]/%/$2}" | md5sum | cut -d ' ' -f 1
}

# make_tables DIRECTORY
make_tables() {
    local table bytes=300
    for table in "${tables[@]}"; do
        # No line ends: grep shall find a place in them.
        tr -d '\n' < /dev/urandom | head -c $bytes > "$1$table.dat"
        bytes=$((bytes * 3))
    done
}

make_calibration() {
    make_tables ''
    # A new part is erased: every byte is 0xFF.
    head -c $eeprom_bytes /dev/zero | tr '\0' '\377' > eeprom.bin
    value "$eeprom_bytes bytes erased; tables of $(stat -c %s "${tables[@]/%/.dat}" | paste -s -d ' ') bytes"
    fails_with 1 ostdrv eeprom header eeprom.bin
}

store_calibration() {
    local options
    mapfile -t options < <(table_options '')
    fact digest "$(digest_of '' .dat)"
    gives "$(digest_of '' .dat)" ostdrv eeprom store eeprom.bin "${eeprom_options[@]}" "${options[@]}"
}

load_calibration() {
    local table
    ostdrv eeprom load eeprom.bin "${tables[@]/#/--table=}" --out loaded
    for table in "${tables[@]}"; do cmp "$table.dat" "loaded/$table.bin"; done
    value "MD5 of what was loaded: $(digest_of loaded/ .bin)"
}

check_header() {
    local digest
    digest=$(cat fact-digest)
    ostdrv eeprom header eeprom.bin > header.txt
    value "$(cat header.txt)"
    grep -qF "$digest" header.txt
    ostdrv eeprom check eeprom.bin --md5 "$digest"
    ostdrv eeprom check eeprom.bin --from loaded
    fails_with 3 ostdrv eeprom check eeprom.bin --md5 00000000000000000000000000000000
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
    value "byte $place of eeprom.bin made another in damaged.bin"
    fails_with 1 ostdrv eeprom load damaged.bin --table "${tables[0]}" --table "${tables[1]}" --out from-damaged
    [[ ! -e from-damaged ]]
}

# The power goes at calls of a store of other tables; whatever the EEPROM then gives is the old tables or the new ones,
# whole.
cut_power_while_storing() {
    local nth options old new which result='' repaired=0 step=$((3 * stride))
    mkdir new
    make_tables new/
    old=$(digest_of '' .dat)
    new=$(digest_of new/ .dat)
    mapfile -t options < <(table_options new/)
    "$sim" --root board --chip atecc608a
    options+=(--overwrite)
    typed ostdrv-sim --root board --kill N -- ostdrv eeprom store cut.bin "${eeprom_options[@]}" "${options[@]}"
    for ((nth = 1; nth < 2000; nth += step)); do
        cp eeprom.bin cut.bin
        cut_power $nth board eeprom store cut.bin "${eeprom_options[@]}" "${options[@]}" || break
        which=refused
        rm -rf after
        if "$tool" eeprom load cut.bin "${tables[@]/#/--table=}" --out after; then
            case $(digest_of after/ .bin) in
                "$old") which=old ;;
                "$new") which=new ;;
                *) return 1 ;;
            esac
        fi
        result+=${which::1}
        if ! "$tool" eeprom store cut.bin "${eeprom_options[@]}" "${options[@]}"; then
            ((++repaired))
            "$tool" eeprom store cut.bin "${eeprom_options[@]}" "${options[@]}" --repair
        fi
        "$tool" eeprom check cut.bin --md5 "$new"
    done
    [[ $result == o*n ]]
    value "N from 1 to $((nth - step)) in steps of $step; loaded afterwards: $(count_of o "$result") times the old tables, $(
        count_of n "$result") times the new ones, $(count_of r "$result") times refused: damaged, or not what the header says"
    value "stored again after each, $repaired times with --repair, the new tables were there"
    fact cuts "$result"
    rm -rf new after cut.bin cut.log board
}

# count_of LETTER TEXT
count_of() {
    local others=${2//[!$1]/}
    echo ${#others}
}

erase() {
    fails_with 2 ostdrv eeprom reset eeprom.bin < /dev/null
    ostdrv eeprom reset eeprom.bin --yes
    fails_with 1 ostdrv eeprom header eeprom.bin
    fails_with 1 ostdrv eeprom load eeprom.bin --table "${tables[0]}" --out after-erase
}

sensor_story() {
    story "The sensor module's EEPROM" "$out/sensor"
    step 'A calibration of four tables and an erased EEPROM are at hand' make_calibration
    step 'The tables are stored, under the digest that md5sum finds' store_calibration
    step 'Another process loads them, byte for byte' load_calibration
    step 'The header alone tells whether the EEPROM holds these tables' check_header
    step 'One flipped byte is caught, and nothing is delivered' catch_flipped_byte
    step 'The power is cut in the middle of a store: old tables, new ones, or a refusal' cut_power_while_storing
    step 'The EEPROM is erased, with consent' erase
    ((story_failed)) || report_cuts
    end_story "Sensor EEPROM: tables come back byte for byte in another process; a flipped byte is refused" \
        "Sensor EEPROM: $(fact cuts | tr -d '\n' | wc -c) power cuts in the middle of a store gave no wrong table"
}
