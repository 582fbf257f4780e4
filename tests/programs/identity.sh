#!/bin/bash
# Every option of the identity commands and of the launcher; the demonstration is the test of the whole road.
# usage: identity.sh OSTDRV-SIM OSTDRV
set -u
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
cd "$root" || exit 1
failures=0 board="board of: a 'test'"
sim=$1 tool=$2

launcher() { "$sim" --root "$board" "$@"; }
ostdrv() { launcher -- "$tool" "$@"; }
# expect STATUS PATTERN COMMAND...: exit status, and a pattern somewhere in the output; usage errors hint at --help.
expect() {
    local status output wanted=$1 pattern=$2
    shift 2
    output=$("$@" 2>&1 < /dev/null)
    status=$?
    [[ $status == "$wanted" && $output =~ $pattern ]] &&
        [[ $status != 2 || $output =~ Try\ \'ostdrv.*\ --help\' ]] && return
    printf 'FAILED: %s\n  status %s, not %s\n  %s\n' "$*" "$status" "$wanted" "$output"
    ((++failures))
}
at_terminal() { printf '%s\n' "$1" | script -qec "'$sim' --root \"$board\" -- '$tool' ${*:2}" /dev/null; }

# The launcher
expect 1 'there is no board in .*--new or --chip makes one' launcher
expect 0 "root: $PWD/$board.*chip: atecc608a.*bus:  i2c" launcher --new
expect 0 '"chip": "atecc608a",.*"silent": false,.*"marker": null' launcher --json
expect 2 'not for a command' launcher --json -- true
expect 1 'there is a board in .* already' launcher --new
expect 1 "no board in .*, did you mean 'board of: a 'test''" "$sim" --root 'board of a test' -- true
expect 1 'holds other files' "$sim" --root / --chip trustx
expect 0 'bus:  usb.*dash, where &> is & and >: the USB kit is never chosen' launcher --usb --shell dash
expect 1 'no ATECC at I2C bus 2, address 0x60' ostdrv info
expect 1 'no shell nosuch' launcher --shell nosuch
expect 0 'bus:  usb.*bash, where &> is a redirection' launcher --shell bash
expect 0 'USB kit' ostdrv info
expect 0 'answers nobody.*bus:  i2c.*marker: none' launcher --i2c --silent --marker none
ostdrv info > missed 2>&1
expect 0 'chip: atecc608a.bus.*marker: trustx' launcher --answering
expect 1 'no Trust X; the marker /mnt/settings/trustx decided' ostdrv info
expect 0 'ATECC608A' launcher --marker none -- "$tool" info
expect 0 'marker: atecc' launcher
expect 0 '^fail-from:3$' launcher --fail-from 3 -- printenv OSTDRV_SIM_FAULT
expect 7 '' launcher -- sh -c 'exit 7'
expect 127 'nonesuch: No such file' launcher -- nonesuch
expect 126 'Permission denied' launcher -- /etc
expect 1 'not provisioned' launcher --fail 1 -- "$tool" serial get
expect 137 '' launcher --kill 3 -- "$tool" serial get
expect 2 "no command 'lnie', did you mean 'line'" launcher lnie 3 high
expect 2 '--root: the value is empty' "$sim" --root ''
for wrong in '--fail 0' '--fail 1 --kill 1' '--chip tpm' '--chip trustx --usb' '--marker none --marker atecc' 'command' '--' '--new=1' '--usb --i2c'; do
    expect 2 '' launcher $wrong
done
expect 0 'OSTDRV' env OSTDRV_SIM_ROOT="$board" HOME=/nonexistent "$sim" -- sh -c 'echo OSTDRV; test -e /proc/device-tree/tpm-i2c-bus'

# Help, version, bad usage
for command in '' info doctor provision key 'key sign' serial 'serial set' csr cert 'cert save' slot 'slot write'; do
    expect 0 'Usage: ' "$tool" $command --help
    expect 0 '^ostdrv [0-9]+\.[0-9]+\.[0-9]+ \(sim\)$' "$tool" $command -v
done
for wrong in '' key 'key explode' 'serial set' 'csr' 'cert save signer' 'cert save root x' 'cert verify' 'slot read' \
    'slot read -1' 'slot read 0x10000' 'slot read 16' 'slot read 9 --length 0' 'slot write 9' 'slot write 9 --hex 1' \
    'slot write 9 --hex zz' 'slot write 9 f --hex 00' 'key sign' 'key sign --digest 00' 'info --bad' \
    'cert verify --ca x --signer x'; do
    expect 2 '' ostdrv $wrong
done

for words in "key sgin:no command 'sgin', did you mean 'sign'" "info --jsno:no option '--jsno', did you mean '--json'" \
    "--json info:it goes behind 'ostdrv info'" 'key:a command is missing: generate' 'info x:one argument too many' \
    'csr:FILE is missing' 'key sign --digest:--digest wants a value' 'info --json=3:--json takes no value' \
    'key sign --digest= --json:--digest: the value is empty' 'csr -- -a -b:-b. is one argument too many' \
    'key sign a -o b -o c:--out is given twice' 'cert verify --ca x --signer y:--signer is given without --device' \
    "cert save signr x:CERTIFICATE: 'signr' is none of signer, device, did you mean 'signer'"; do
    expect 2 "${words#*:}" ostdrv ${words%%:*}
done
for named in 'slot read 9 --out' 'key sign' 'key verify a -s' 'key verify a -s b -k' 'csr' 'cert save signer' 'attr read' \
    'cert verify --ca' 'provision --config' 'eeprom load' 'eeprom load f --table t --out' 'eeprom check f --from'; do
    expect 2 'the value is empty' ostdrv $named ''
done

# An ATECC, from blank
expect 0 '"config_locked": false.*"layout_version": null' ostdrv info --json
expect 2 'say --yes' ostdrv provision
for command in 'serial get' 'serial lock' 'key public' 'slot read 9' 'csr request'; do
    expect 1 "not provisioned[:,] run 'ostdrv provision'" ostdrv $command
done
expect 0 'the built-in configuration and locks .*Dry run: nothing was changed' ostdrv provision --dry-run --yes
expect 0 'nothing was done' at_terminal n provision '; true'
expect 1 'not a configuration' ostdrv provision --yes --config /etc/passwd
expect 0 'configuration +open' ostdrv info
# The built-in image as a file, in hexadecimal: plain slots that can be locked, a key in slot 0.
{
    printf '00%.0s' {1..16}
    printf 'c0000000 8f2f 0f0f 0f0f 0000'
    printf '0f0f%.0s' {1..12}
    printf '00%.0s' {1..16}
    printf 'ff%.0s' {1..16}
    printf '0000 5555 ffff 0000 00000000 3300'
    printf '3c00%.0s' {1..15}
} > image.hex
printf "$(tr -d ' \n' < image.hex | sed 's/../\\x&/g')" > image.bin
patch() { { head -c $1 image.bin; printf "\x$2"; tail -c +$(($1 + 2)) image.bin; } > patched.bin; }  # OFFSET BYTE
for wrong in '96 3c:slot 0 is not for a private P-256 key' '20 0f:private P-256' '21 0f:no key can be made' '20 8e:cannot sign' \
    '96 31:public half' '96 13:cannot be locked' '88 fe:locked before it has a key' '18 55:byte 18 is nothing' \
    '16 d4:moves to I2C address 0x6A, and .* at 0x60' '16 00:0x00 is no I2C address' '13 c0:from another model'; do
    patch ${wrong%%:*}
    expect 1 "can never work: .*${wrong#*:}.*; --force" ostdrv provision -y --config patched.bin
    expect 0 "warning: .*${wrong#*:}.*Dry run" ostdrv provision --dry-run --force --config patched.bin
done
expect 0 'configuration +open.*state +not provisioned' ostdrv info

# The data zone cannot be locked: half the way.
for ((n = 20; n < 99; ++n)); do
    "$sim" --root half --chip atecc608a --fail $n -- "$tool" provision -y 2> /dev/null
    [[ $("$sim" --root half -- "$tool" info 2> /dev/null) != *'half provisioned'* ]] || break
    rm -r half
done
patch 22 00
half() { "$sim" --root half -- "$tool" provision "$@"; }
expect 1 'another configuration \(byte 22\); --force' half -y --config patched.bin
expect 0 'data zone for good; the configuration zone is locked already' half --dry-run
expect 0 '^$' half -y
expect 0 'already locked, nothing changed' half

expect 0 '^$' ostdrv provision -y --config image.bin
expect 0 'already locked, nothing changed' ostdrv provision --config image.hex
expect 0 'already locked, nothing changed' ostdrv provision
expect 1 'another configuration \(byte 22\), nothing changed' ostdrv provision -y --force --config patched.bin
expect 0 'configuration +locked.*data zone +locked.*serial number +none yet.*locked slots +none' ostdrv info
for command in 'serial get' 'serial lock -y' 'csr request'; do
    expect 1 "no serial number yet: 'ostdrv serial set'" ostdrv $command
done
expect 1 'slot 0 holds nothing' ostdrv slot lock 0 -y
expect 0 '^$' ostdrv serial set OSTRAVEL000000042
for command in 'csr request' 'key public' 'key sign image.bin'; do
    expect 1 "no device key yet: 'ostdrv key generate'" ostdrv $command
done
expect 0 "18 characters, .* 'OSTRAVEL000000042'" ostdrv serial set OSTRAVEL0000000427
expect 0 '3 characters, .* 14 zero bytes' ostdrv serial set ABC
expect 1 'status 12' ostdrv serial set "$(printf '%035d' 0)"
expect 0 '^ABC$' ostdrv serial get
expect 0 '"serial_number": "ABC".*"hex": "414243".*"layout_version": 1' ostdrv serial get --json
expect 2 'say --yes' ostdrv key generate
expect 0 '[0-9a-f]{128}' at_terminal y key generate
expect 0 '^[0-9a-f]{128}$' ostdrv key generate
expect 0 'BEGIN PUBLIC KEY' ostdrv key public --pem --json
expect 0 '^$' ostdrv key public --out point
expect 0 '^$' ostdrv key public --pem --out key.pem
same() { [[ $1 == "$2" ]]; }
expect 0 '' same "$(ostdrv key public)" "$(od -An -v -tx1 point | tr -d ' \n')"

# Files: what cannot be read or written says so, and leaves nothing behind
expect 1 'No space left' ostdrv key public --out /dev/full
expect 1 'cannot write standard output: No space left' bash -c '"$@" > /dev/full' - "$sim" --root "$board" -- "$tool" info
head -c 65536 /dev/zero | tr '\0' '\377' > eeprom
seq 1000 > table
expect 0 '^[0-9a-f]{32}$' ostdrv eeprom store eeprom --sensor S --lens L --sn 1 --table t=table
expect 0 'Saving data to EEPROM.*[0-9a-f]{32}$' ostdrv eeprom store eeprom --sensor S --lens L --sn 1 --table t=table --verbose
expect 1 'cannot write loaded/t.bin: File too large' \
    bash -c 'trap "" XFSZ; ulimit -f 1; "$0" eeprom load eeprom --table t --out loaded' "$tool"
expect 0 '' test ! -e loaded
expect 1 'configuration|too long' timeout 10 "$sim" --root "$board" -- "$tool" provision --yes --config /dev/zero
expect 1 'it has no end' ostdrv key sign /dev/zero
expect 1 '\.: Is a directory' ostdrv cert verify --ca .
expect 2 'standard input can be read for one file only' ostdrv key verify - -s -

echo message > message
digest=$(sha256sum message | cut -d ' ' -f 1)
ostdrv key sign message --out raw
ostdrv key sign --digest "$digest" > hex
ostdrv key sign message --der -o der
ostdrv key sign message --der > der.hex
for signature in raw hex der der.hex; do
    expect 0 'verified' ostdrv key verify message --signature $signature
    expect 0 '"verified": true' ostdrv key verify --digest "$digest" -s $signature -k key.pem --json
done
expect 3 'does not match' ostdrv key verify key.pem -s raw
expect 3 '"verified": false' ostdrv key verify key.pem -s raw --json
expect 1 'neither' ostdrv key verify message -s message
expect 1 'message is neither PEM nor DER, neither' ostdrv key verify message -s raw -k message
expect 0 'verified' ostdrv key verify message -s raw -k point
expect 0 'verified' bash -c '"$@" < message' - "$sim" --root "$board" -- "$tool" key verify - -s raw -k point
openssl ecparam -name prime256v1 -genkey -noout -out private.pem
openssl req -x509 -key private.pem -subj /CN=x -outform DER | LC_ALL=C sed 's/\xce\x3d\x02\x01/\xce\x3d\x02\x7f/' > odd.der
expect 1 'odd.der holds a key of an unknown kind' ostdrv cert verify --ca odd.der
expect 1 'private.pem holds "EC PRIVATE KEY"' ostdrv cert verify --ca private.pem
openssl ecparam -name secp384r1 -genkey -noout | openssl ec -pubout -out p384.pem 2> /dev/null
expect 1 'secp384r1 key, which is not a P-256 key' ostdrv cert verify --ca p384.pem
expect 1 'cannot open' ostdrv cert verify --ca nonesuch

expect 0 '^$' ostdrv slot write 9 --hex '01 02:03'
expect 0 '^010203$' ostdrv slot read 9 -n 3
expect 0 '"slot": 9,.*"locked": false,.*"data": "01020300' ostdrv slot read 0x9 --json
expect 0 '^$' ostdrv slot read 9 --out slot.bin
expect 0 '^72$' stat -c %s slot.bin
expect 0 '^$' ostdrv slot write 10 slot.bin
expect 1 '73 bytes do not fit into slot 9, which takes 72' ostdrv slot write 9 --hex "$(printf '00%.0s' {1..73})"
expect 2 'say --yes' ostdrv slot lock 9
expect 0 'locks slot 9 for good.*Dry run' ostdrv slot lock 9 --yes --dry-run
expect 1 'slot 8 holds nothing' ostdrv slot lock 8 --yes
expect 0 '^$' ostdrv slot lock 9 --yes
expect 0 'locked already, nothing changed' ostdrv slot lock 9
expect 1 'cannot write slot 9: the slot is locked \(status 4\)' ostdrv slot write 9 --hex 00
expect 0 '14 zero bytes' ostdrv csr request
expect 0 'CERTIFICATE REQUEST' ostdrv csr /dev/stdout
expect 1 '/nonesuch/request: No such file' ostdrv csr /nonesuch/request
expect 2 'say --yes' ostdrv serial lock
expect 0 '' ostdrv slot write 7 --hex 414243
expect 0 '' ostdrv slot write 7 --hex "$(printf '00%.0s' {1..36})"
expect 2 '--signer and --device' ostdrv cert verify --ca key.pem
expect 1 'are stored in layout 0: they could not be read any more; --force' ostdrv serial set OSTRAVEL000000042
expect 1 'status 14' ostdrv cert export signer exported

# What a board keeps, and what it gets anew
expect 0 'warning: .*layout 0' ostdrv serial set --force OSTRAVEL000000042
expect 0 "'OSTRAVEL000000042' and certificate layout 1 for good" ostdrv serial lock --dry-run
expect 0 '^$' ostdrv serial lock --yes
expect 0 'locked already, nothing changed' ostdrv serial lock
expect 1 "locked: it stays 'OSTRAVEL000000042'" ostdrv serial set OTHER
expect 0 'locked slots +0 7 9' launcher --chip atecc608a -- "$tool" info
expect 0 'ATECC508A.*configuration +open' launcher --chip atecc508a -- "$tool" info
expect 0 '' ostdrv provision -y
expect 0 'ATECC508A.*configuration +open' launcher --reset -- "$tool" info
tried='no chip answers: no Trust X'
expect 1 "$tried, and no ATECC either; a probe of I2C bus 2, address 0x60" launcher --chip none -- "$tool" slot read 9
expect 1 "which does not answer.*$tried; the marker /mnt/settings/trustx" ostdrv info
launcher -- touch /mnt/settings/atecc
expect 1 'no ATECC at I2C bus 2, address 0x60; the marker /mnt/settings/atecc' ostdrv serial get

# A Trust X
expect 0 'object 0xE0E1 +open, certificate, empty' launcher --chip trustx -- "$tool" info
expect 1 'Trust X, which comes provisioned' ostdrv provision --yes
expect 1 'object 0xE0F1 holds nothing' ostdrv slot lock 0xE0F1 --yes
expect 1 'cannot be told whether object 0xE0F2 holds anything; --force' ostdrv slot lock 0xE0F2 --yes
expect 0 'warning: it cannot be told' ostdrv slot lock 0xE0F2 --yes --force
expect 2 'say --yes' ostdrv key generate
expect 0 '"public_key": "[0-9a-f]{128}"' ostdrv key generate --yes --json
expect 1 'Trust X signs requests only' ostdrv key sign message
openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-256 -out other.key 2> /dev/null
openssl dgst -sha256 -sign other.key -out other.sig message
openssl pkey -in other.key -pubout -outform DER -out other.der
expect 0 'verified' ostdrv key verify message -s other.sig -k other.der
expect 3 'does not match' ostdrv key verify message -s other.sig
expect 0 '^$' ostdrv slot write 0xE0E1 message
expect 0 '"object": "0xE0E1",.*"length": 8' ostdrv info --json
expect 1 '1025 bytes do not fit' ostdrv slot write 0xE0E1 --hex "$(printf '00%.0s' {1..1025})"
expect 0 '^$' ostdrv slot lock 0xE0E1 -y
expect 1 'object 0xE0E1: the slot is locked' ostdrv slot write 0xE0E1 message

# The doctor, around the chip. It decides nothing and leaves nothing.
board=examined
fs=$board/fs settings=$board/fs/mnt/settings tree=$board/fs/proc/device-tree
# finds STATUS STATE CHECK PATTERN [FAMILIES]
finds() { expect $1 "(^|"$'\n'")$2 +$3 +$4" ostdrv doctor ${5-chip cert}; }
cell() { printf "$2" > "$tree/tpm-$1"; }
launcher --chip atecc608a > made
finds 0 ok shell.pgrep 'pgrep finds' ''
finds 0 ok chip.answer 'something answers at I2C bus 2, address 0x60: the first program'
finds 0 ok cert.openssl '/usr/bin/openssl'
finds 0 ok cert.tmp '/tmp can'
expect 0 'marker: none' launcher
for place in '\0\0:has 2 bytes: less than a cell' '\0\0\1\0:holds 256, more than 255'; do
    cell i2c-bus "${place%%:*}"
    finds 1 fault chip.place ".*tpm-i2c-bus ${place#*:}"
done
cell i2c-bus '\0\0\0\3'
finds 1 ok chip.place 'an ATECC is expected at I2C bus 3'
finds 1 fault chip.answer '.* bus 2, address 0x60, and is then driven at I2C bus 3'
launcher --silent > made
finds 1 fault chip.answer '.*where the first program looks: it takes the chip for a Trust X'
cell i2c-bus '\0\0\0\2'
finds 0 absent chip.answer 'nothing answers at I2C bus 2, address 0x60 \(Connection timed out\): the first'
launcher --marker atecc > made
finds 1 fault chip.answer 'nothing answers .*with a Trust X instead, remove /mnt/settings/atecc'
launcher --marker trustx --answering > made
finds 1 fault chip.answer '.*but the marker says Trust X'
finds 1 fault cert.openssl 'openssl is not asked for'
touch $settings/atecc
finds 1 fault chip.settings 'there are both markers'
rm -r $settings/* && chmod 500 $settings
[[ $(id -u) != 0 ]] || expect 1 'fault +chip.settings +cannot write in /mnt/settings: Permission' launcher -- \
    setpriv --bounding-set=-dac_override,-dac_read_search "$tool" doctor chip
chmod 700 $settings && rm $fs/dev/i2c-2
finds 1 fault chip.bus 'cannot open /dev/i2c-2: No such'
rm $tree/*
finds 0 absent chip.place 'there is no marker .* no /dev/i2c-2' ''
finds 1 fault chip.place 'there is no marker'
expect 0 '' launcher --reset --usb --shell bash
finds 0 ok chip.usb_kit 'i2cget decides'
finds 0 absent chip.answer 'nothing answers at I2C bus 2'
launcher --shell dash > made
finds 1 fault chip.usb_kit ".*: the USB kit is never taken"
# A shell in which a command is missing, or that is missing itself.
for missing in 'command -v i2cget:chip.usb_kit' 'openssl:cert.openssl' 'command -v pgrep:shell.pgrep' 'pgrep -xl:shell.pgrep'; do
    printf '#!/bin/bash\n[[ $* != *"%s"* ]] || exit 127\nexec /bin/bash "$@"\n' "${missing%:*}" > shell
    chmod +x shell
    launcher --shell "$PWD/shell" > made
    finds 1 fault ${missing#*:} '' 'shell chip cert'
done
rm shell
finds 1 fault shell.sh '/bin/sh does not run' shell
launcher --reset --i2c --shell /bin/sh > made
# What lies outside the board is hidden from it where that is allowed.
hiding() { unshare -rm sh -c "mount --bind $1 && $2 exec \"\$@\"" - "$sim" --root "$board" -- "$tool" doctor chip cert; }
if unshare -rm mount --bind /dev/null /bin/touch 2> /dev/null; then
    expect 1 'fault +chip.commands +there is no /bin/touch:' hiding '/dev/null /bin/touch' ''
    expect 1 'fault +cert.tmp +cannot write in /tmp: Read-only' hiding '/tmp /tmp' 'mount -o remount,bind,ro /tmp &&'
fi

((failures == 0))
