#!/bin/sh
# The sensor module's EEPROM through the command-line program.
# usage: eeprom.sh OSTDRV-SIM OSTDRV ODD_PART_LIBRARY
set -eu
sim=$1 ostdrv=$2 odd_part=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

ends() {  # STATUS TEXT COMMAND...: with this status, and the text somewhere in what it says
    wanted=$1 text=$2
    shift 2
    status=0
    said=$("$@" 2>&1) || status=$?
    [ $status = "$wanted" ] || { echo "$*: $said, status $status, not $wanted"; exit 1; }
    case $said in *"$text"*) ;; *) echo "$*: $said, not '$text'"; exit 1 ;; esac
}
erased() { head -c 4096 /dev/zero | tr '\0' '\377' >"$1"; }
eeprom() { "$ostdrv" eeprom "$@"; }
full() { "$@" >/dev/full; }
store() {  # FILE SERIAL-NUMBER OPTIONS...
    file=$1 sn=$2
    shift 2
    "$ostdrv" eeprom store "$file" --sensor S1 --lens L1 --sn "$sn" "$@"
}
both='--table gain=gain --table dark=dark'

seq 200 >gain && seq 9 >dark && seq 10 >bright
head -c 9 /dev/zero >zeros && : >empty && head -c 12289 gain gain /dev/zero >long
digest=$(cat gain dark | md5sum | cut -d ' ' -f 1)
erased module

# What a load would not give back is refused, and nothing is written.
ends 1 'zeros holds nothing but zeros' store module 42 --table a=zeros
ends 1 'empty is empty' store module 42 --table a=empty
ends 1 'long is too long' store module 42 --table a=long
ends 1 'at most 12288 bytes' store module 42 --table a=/dev/zero
ends 1 'cannot open nosuch: No such file' store module 42 --table a=nosuch
ends 2 'takes 1 to 31 characters' store module 12345678901234567890123456789012 --table a=gain
ends 2 'lens: the value is empty' eeprom store module --sensor S --lens '' --sn 1 --table a=gain
ends 2 's6l' store module 42 --table a=gain --version s6l
ends 2 'NAME=DATAFILE' store module 42 --table a=
ends 2 'table a is given twice' store module 42 --table a=gain --table a=dark
ends 2 'standard input can be read for one file only' store module 42 --table a=- --table b=- <gain
ends 2 '--table is missing' store module 42
ends 1 'do not fit' store module 42 $(for i in 1 2 3 4 5 6; do echo --table $i=gain; done)
ends 1 'cannot open nosuch: No such file' store nosuch 42 $both
ends 1 'is no EEPROM' store /dev/zero 42 $both
ends 1 'is no EEPROM' store dark 42 $both
erased fresh && cmp module fresh

# A store is quiet but for the digest; what is there is not replaced by accident.
ends 0 '"header": "erased"' eeprom list module --json
ends 1 'holds no table' eeprom load module --table gain --out loaded
[ "$(store module 42 $both 2>&1)" = "$digest" ]
ends 0 'Saving data to EEPROM' store module 42 $both --verbose
ends 1 'module holds 2 tables (692, 18 bytes) of the module with serial number 42; --overwrite' store module 42 --table gain=gain
ends 1 'overwrite' store module 43 $both
ends 0 '' store module 42 --table gain=gain --table dark=- --overwrite --json <bright
ends 0 "$digest" store module 42 $both --overwrite

# Loads, with the tables' number and digest seen to.
ends 1 'holds 2 tables (692, 18 bytes), not 1' eeprom load module --table gain --out loaded
ends 1 'No space left' full eeprom list module
ends 0 '{"table":"dark","slot":1,"file":"loaded/dark.bin","length":18}' eeprom load module --table gain --table dark \
    --out loaded --json
cmp gain loaded/gain.bin && cmp dark loaded/dark.bin
mkdir -p taken/dark.bin
ends 1 'taken/dark.bin' eeprom load module --table gain --table dark --out taken
[ ! -e taken/gain.bin ]
ends 0 "slot 1: 18 bytes, MD5 $(md5sum <dark | cut -c -32)" eeprom list module
ends 0 '"verified": true' eeprom check module --from loaded --json
ends 3 '"verified": false' eeprom check module --md5 00000000000000000000000000000000 --json
ends 2 '32 hexadecimal digits' eeprom check module --md5 00
ends 2 'the value is empty' eeprom check module --from ''

# A header that is right beside tables that are not.
cp module other && erased fresh && store fresh 7 $both >/dev/null
store fresh 7 --table gain=bright --overwrite >/dev/null
dd if=fresh of=other bs=256 skip=1 seek=1 conv=notrunc status=none
ends 3 'holds other tables' eeprom check other --md5 "$digest"
ends 1 'not that of the tables' eeprom load other --table gain --out mixed
ends 3 'not that of the tables' eeprom list other
[ ! -e mixed ]
ends 0 'warning: ' eeprom load other --table gain --out mixed --force
printf X | dd of=other bs=1 seek=300 conv=notrunc status=none
ends 3 'damaged' eeprom check other --md5 "$digest"
ends 1 'tables: damaged' eeprom list other
ends 1 'the tables of other cannot be read, as after a store that was cut off; --repair' store other 42 $both
ends 0 "$digest" store other 42 $both --repair
seq 5000 | head -c 4096 >foreign
ends 1 'reset it first' store foreign 42 $both --overwrite --repair
ends 2 'This erases all 4096 bytes of foreign' eeprom reset foreign </dev/null
ends 0 '' eeprom reset foreign --yes
ends 0 "$digest" store foreign 42 $both

# A part that acknowledges every byte and keeps its cells.
erased protected
odd_part="$(ldd "$ostdrv" | awk '/libasan/ { print $3 }') $odd_part" # the sanitizer insists on being first
guarded() { LD_PRELOAD=$odd_part "$@"; }
ends 1 'took table gain and gives back something else; is it write-protected?' guarded store protected 42 $both
cp module protected
ends 1 'write-protected?' guarded store protected 42 --table gain=bright --overwrite
ends 1 'took the header and gives back something else' guarded store protected 8 $both --overwrite
ends 1 'write-protected?' guarded "$ostdrv" eeprom reset protected --yes

# What takes seconds is shown on a terminal, and only there.
erased slow
script -qec "LD_PRELOAD='$odd_part' $ostdrv eeprom store slow --sensor S --lens L --sn 1 --table a=dark" /dev/null >shown
grep -q 'storing to slow ... 0.5 s' shown
cp module slow
ends 0 '' guarded "$ostdrv" eeprom reset slow --yes
[ -z "$said" ]

# The power goes at every third call of a store of other tables. Whatever it leaves, the tool says what helps, and it does.
"$sim" --root board --new >/dev/null
cut=0 repaired=0
while cp module cut && cut=$((cut + 3)) &&
    ! "$sim" --root board --kill $cut -- "$ostdrv" eeprom store cut --sensor S1 --lens L1 --sn 42 --table gain=bright \
        --overwrite >/dev/null 2>&1; do
    [ $cut -lt 1000 ] || { echo 'a store never ends'; exit 1; }
    said=$(store cut 42 --table gain=bright 2>&1) && continue
    case $said in
        *--overwrite*) store cut 42 --table gain=bright --overwrite ;;
        *--repair*) repaired=$((repaired + 1)) && store cut 42 --table gain=bright --repair ;;
        *) echo "after cut $cut: $said" && exit 1 ;;
    esac >/dev/null
    eeprom check cut --md5 "$(md5sum <bright | cut -c -32)" >/dev/null
done
[ $repaired -gt 0 ] || { echo "only $repaired of $cut cuts had to be repaired"; exit 1; }
