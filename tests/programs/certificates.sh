#!/bin/bash
# What the certificate commands refuse, on each way of storing the chain; the demonstration shows what they do.
# usage: certificates.sh OSTDRV-SIM OSTDRV
set -u
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
cd "$root" || exit 1
failures=0 sim=$1 tool=$2

ostdrv() { "$sim" --root "$board" -- "$tool" "$@"; }
# expect STATUS PATTERN ARGUMENTS...: of "ostdrv cert ARGUMENTS", device.pem being its standard input
expect() {
    local status output wanted=$1 pattern=$2
    shift 2
    output=$(ostdrv cert "$@" 2>&1 < device.pem)
    status=$?
    [[ $status == "$wanted" && $output =~ $pattern ]] && return
    printf 'FAILED on %s: cert %s\n  status %s, not %s\n  %s\n' "$board" "$*" "$status" "$wanted" "$output"
    ((++failures))
}
# No time for reading the machine's own authorities.
export SSL_CERT_FILE=/dev/null SSL_CERT_DIR=/dev/null
new_key() { openssl ecparam -name prime256v1 -genkey -noout -out "$1"; }
# issue REQUEST ISSUER CERTIFICATE [OPTIONS...]
issue() { openssl x509 -req -in "$1" -CA "$2.pem" -CAkey "$2.key" -days 30 -set_serial 1 -out "$3" "${@:4}" 2> /dev/null; }
# new_signer NAME SUBJECT
new_signer() {
    new_key "$1.key"
    openssl req -new -key "$1.key" -subj "$2" -out "$1.csr"
    issue "$1.csr" ca "$1.pem"
}
new_key ca.key
openssl req -x509 -new -key ca.key -subj '/CN=Factory CA/O=Ostravel' -days 30 -out ca.pem
new_signer signer '/CN=Intermediate Signer/O=Ostravel'
new_signer near '/CN=Signer 0001/O=Ostravel'
new_signer long "/CN=$(printf 'n%.0s' {1..64})/O=$(printf 'o%.0s' {1..64})/OU=$(printf 'u%.0s' {1..64})/L=$(printf 'l%.0s' {1..64})"
openssl x509 -in signer.pem -outform DER -out signer.der
printf '%1100s\n' '' | cat - signer.pem > padded.pem

for board in atecc608a atecc508a-layout-0 trustx; do
    "$sim" --root "$board" --chip "${board%%-*}" > /dev/null
    cp signer.pem device.pem
    if [[ $board != trustx ]]; then
        expect 1 "not provisioned" save signer signer.pem
        ostdrv provision --yes
        expect 1 "'ostdrv serial set' comes first" save signer signer.pem
    fi
    if [[ $board == *layout-0 ]]; then ostdrv slot write 7 --hex "41$(printf '00%.0s' {1..35})"; else ostdrv serial set OSTRAVEL000000042; fi
    ostdrv key generate --yes > /dev/null
    ostdrv csr device.csr 2> /dev/null
    issue device.csr signer device.pem
    issue device.csr signer sha384.pem -sha384
    files=()

    # What cannot be used is said before the chip is blamed, and changes nothing.
    expect 1 'nosuch: No such file' save signer nosuch
    expect 1 'ca.key holds "EC PRIVATE KEY", not a certificate' save signer ca.key
    expect 1 'issued for another key' save device signer.pem
    expect 1 'signed with ecdsa-with-SHA384' save device sha384.pem
    case $board in
        *layout-0)
            expect 1 'has no export \(status 14\)' export signer -
            expect 1 'the PEM file is a part' save signer signer.der
            expect 1 'padded.pem has [0-9]+ bytes, this chip takes 1024' save signer padded.pem
            expect 2 'give the PEM files by --signer and --device' verify --ca ca.pem
            files=(--signer signer.pem --device device.pem)
            ;;
        trustx)
            expect 1 'public key [0-9]+ bytes into .* looks from 164 to 180' save signer near.pem
            ;;&
        atecc608a)
            expect 1 'part of long.pem has [0-9]+ bytes, this chip takes 416' save signer long.pem
            ;;&
        *)
            for which in signer device; do expect 1 "$which certificate is not stored yet" export $which -; done
            expect 2 '--signer and --device are for certificate layout 0' \
                verify --ca ca.pem --signer signer.pem --device device.pem
            ;;
    esac
    expect 1 'force does it all the same' lock device --ca ca.pem --yes "${files[@]}"

    # Stored, whatever the form of the file.
    if [[ $board == *layout-0 ]]; then
        expect 0 '^$' save signer signer.pem
        expect 0 '^$' save device device.pem
        expect 1 'nosuch: No such file' verify --ca ca.pem --signer nosuch --device device.pem
    else
        expect 0 '^$' save signer signer.der
        expect 0 '^$' save device -
        expect 0 '^$' export device exported.pem
        [[ $(openssl x509 -in exported.pem -outform DER | sha256sum) == $(openssl x509 -in device.pem -outform DER | sha256sum) ]] ||
            expect 0 'the same certificate' export device -
    fi
    expect 0 '^verified$' verify --ca ca.pem "${files[@]}"
    expect 3 'does not lead' verify --ca signer.pem "${files[@]}"

    # Locked only when the chain leads to this device.
    expect 1 'without --ca nobody knows' lock device --yes
    expect 1 'does not lead from this authority' lock device --ca signer.pem --yes "${files[@]}"
    expect 2 'say --yes' lock device --ca ca.pem "${files[@]}"
    expect 0 '^This locks (slot|object).*, the device certificate.* for good.*Dry run' \
        lock device --ca ca.pem --dry-run "${files[@]}"
    if [[ $board == trustx ]]; then
        cp "$board/trustx.state" kept
        ostdrv key generate --yes > /dev/null
        expect 1 'does not hold the key' lock device --ca ca.pem --yes
        cp kept "$board/trustx.state"
    fi
    expect 0 '^$' save device device.pem
    expect 0 '^$' lock device --ca ca.pem --yes "${files[@]}"
    expect 0 'locked already, nothing changed' lock device --ca ca.pem "${files[@]}"
    expect 1 'is locked for good, so the device certificate stays' save device device.pem
    expect 0 'warning: without --ca' lock signer --yes --force
    expect 0 '^verified$' verify --ca ca.pem "${files[@]}"
done
((failures == 0))
