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
expect 0 "root: $PWD/$board.*chip: atecc608a.*bus:  i2c" launcher
expect 0 'bus:  usb' launcher --usb
expect 0 'bus:  usb' launcher
expect 0 'USB kit' ostdrv info
expect 0 'bus:  i2c' launcher --i2c
expect 0 '^fail-from:3$' launcher --fail-from 3 -- printenv OSTDRV_SIM_FAULT
expect 7 '' launcher -- sh -c 'exit 7'
expect 127 'nonesuch: No such file' launcher -- nonesuch
expect 126 'Permission denied' launcher -- /etc
expect 1 'status' launcher --fail 1 -- "$tool" serial get
expect 137 '' launcher --kill 3 -- "$tool" serial get
for wrong in '--fail 0' '--fail 1 --kill 1' '--chip tpm' '--chip trustx --usb' 'command' '--'; do
    expect 2 '' launcher $wrong
done
expect 0 'OSTDRV' env OSTDRV_SIM_ROOT="$board" HOME=/nonexistent "$sim" -- sh -c 'echo OSTDRV; test -e /proc/device-tree/tpm-i2c-bus'

# Help, version, bad usage
for command in '' info provision key 'key sign' serial 'serial set' csr cert 'cert save' slot 'slot write'; do
    expect 0 'Usage: ' "$tool" $command --help
    expect 0 '^ostdrv [0-9]+\.[0-9]+\.[0-9]+$' "$tool" $command -v
done
for wrong in '' key 'key explode' 'serial set' 'csr' 'cert save signer' 'cert save root x' 'cert verify' 'slot read' \
    'slot read -1' 'slot read 0x10000' 'slot read 16' 'slot read 9 --length 0' 'slot write 9' 'slot write 9 --hex 1' \
    'slot write 9 --hex zz' 'slot write 9 f --hex 00' 'key sign' 'key sign --digest 00' 'info --bad' \
    'cert verify --ca x --signer x'; do
    expect 2 '' ostdrv $wrong
done

# An ATECC, from blank
expect 0 '"config_locked": false.*"layout_version": null' ostdrv info --json
expect 2 'say --yes' ostdrv provision
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
expect 0 '^$' ostdrv provision -y --config image.bin
expect 0 '^$' ostdrv provision -y --config image.hex
expect 0 'configuration +locked.*data zone +locked.*locked slots +none' ostdrv info
expect 0 '^$' ostdrv serial set ABC
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
expect 1 'neither' ostdrv key verify message -s raw -k message
openssl ecparam -name secp384r1 -genkey -noout | openssl ec -pubout -out p384.pem 2> /dev/null
expect 1 'not a P-256 key' ostdrv cert verify --ca p384.pem
expect 1 'cannot open' ostdrv cert verify --ca nonesuch

expect 0 '^$' ostdrv slot write 9 --hex '01 02:03'
expect 0 '^010203$' ostdrv slot read 9 -n 3
expect 0 '"slot": 9,.*"locked": false,.*"data": "01020300' ostdrv slot read 0x9 --json
expect 0 '^$' ostdrv slot read 9 --out slot.bin
expect 0 '^72$' stat -c %s slot.bin
expect 0 '^$' ostdrv slot write 10 slot.bin
expect 1 '73 bytes do not fit into slot 9, which takes 72' ostdrv slot write 9 --hex "$(printf '00%.0s' {1..73})"
expect 2 'say --yes' ostdrv slot lock 9
expect 0 '^$' ostdrv slot lock 9 --yes
expect 1 'cannot write slot 9: the slot is locked \(status 4\)' ostdrv slot write 9 --hex 00
expect 0 '^$' ostdrv csr request
expect 0 'CERTIFICATE REQUEST' ostdrv csr /dev/stdout
expect 1 'status 8' ostdrv csr /nonesuch/request
expect 1 'cannot write standard output' bash -c '"$@" > /dev/full' - "$sim" --root "$board" -- "$tool" info
for command in 'serial lock' 'cert lock signer' 'cert lock device'; do expect 2 'say --yes' ostdrv $command; done
expect 0 '' ostdrv slot write 7 --hex 414243
expect 0 '' ostdrv slot write 7 --hex "$(printf '00%.0s' {1..36})"
expect 2 '--signer and --device' ostdrv cert verify --ca key.pem
expect 1 'status 14' ostdrv cert export signer exported

# What a board keeps, and what it gets anew
expect 0 'locked slots +0 9' launcher --chip atecc608a -- "$tool" info
expect 0 'ATECC508A.*configuration +open' launcher --chip atecc508a -- "$tool" info
expect 0 '' ostdrv provision -y
expect 0 'ATECC508A.*configuration +open' launcher --reset -- "$tool" info
expect 1 'cannot read' launcher --chip none -- "$tool" slot read 9

# A Trust X
expect 0 'object 0xE0E1 +open, certificate, empty' launcher --chip trustx -- "$tool" info
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

((failures == 0))
