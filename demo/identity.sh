# The factory's story: a blank secure element gets its identity from a certificate authority.

serial=OST-2026-00000001

device() {
    "$sim" --root board -- "$tool" "$@"
}

on_trustx() {
    [[ $chip == trustx ]]
}

# info_holds TEXT...: every text is in the JSON that the device gives of itself
info_holds() {
    device info --json > info.json
    local text
    for text in "$@"; do
        grep -qF -- "$text" info.json || { echo "not in info: $text"; cat info.json; return 1; }
    done
}

fit_blank_board() {
    local kit=--i2c
    ((usb)) && kit=--usb
    "$sim" --root board --chip "$chip" $kit
    # A blank chip has no key to show.
    fails_with 1 device key public
}

start_up() {
    on_trustx && { info_holds '"chip": "Trust X"'; return; }
    local interface='I2C bus 2, address 0x60'
    ((usb)) && interface='USB kit'
    info_holds "\"model\": \"${chip^^}\"" "\"interface\": \"$interface\"" '"config_locked": false' \
        '"data_locked": false'
}

refuse_without_consent() {
    fails_with 2 device provision < /dev/null
    info_holds '"config_locked": false'
}

provision() {
    device provision --yes
    on_trustx || info_holds '"config_locked": true' '"data_locked": true'
}

store_serial_number() {
    if ((layout == 1)); then
        device serial set "$serial"
    else
        # The record of an older factory: the same serial number, and a layout version of 0 in its last byte.
        device slot write 7 --hex "$(printf '%s' "$serial" | od -An -v -tx1)$(printf '00%.0s' {1..19})"
    fi
    same "$serial" "$(device serial get)"
    on_trustx || info_holds "\"layout_version\": $layout"
}

make_key() {
    device key generate --yes --out device.point --pem > device.pub
    device key public --pem > device.pub
    openssl pkey -pubin -in device.pub -noout
    cmp device.point device.pub
    rm device.point
}

key_stays() {
    # On an ATECC the key is locked by now, so asking again needs no consent and changes nothing.
    device key generate --pem < /dev/null > again.pub
    cmp device.pub again.pub
    rm again.pub
    fails_with 1 device slot write 0 --hex 00
}

sign_for_openssl() {
    echo 'calibrated, sealed and shipped' > note.txt
    device key sign note.txt --der --out note.sig
    openssl dgst -sha256 -verify device.pub -signature note.sig note.txt
    device key verify note.txt --signature note.sig
    fails_with 3 device key verify device.pub --signature note.sig
}

check_request() {
    device csr device.csr
    openssl req -in device.csr -verify -noout
    openssl req -in device.csr -noout -pubkey | cmp - device.pub
    openssl req -in device.csr -noout -subject -nameopt compat | grep -F "CN=$serial"
    echo valid > checked.csr
}

make_authorities() {
    make_authority authority
    make_authority stranger
}

save_certificates() {
    device cert save signer signercert.cert
    device cert save device devcert.cert
}

# The certificates that come out must be the bytes that the authority issued.
compare_certificates() {
    local which issued
    if ((layout == 0)); then
        fails_with 1 device cert export signer exported.cert
        [[ ! -e exported.cert ]]
        same "$(signature_of signercert.cert)" "$(device slot read 10 --length 64)"
        same "$(public_key_of signercert.cert)" "$(device slot read 11 --length 64)"
        same "$(signature_of devcert.cert)" "$(device slot read 9 --length 64)"
        return
    fi
    for which in signer device; do
        issued=signercert.cert
        [[ $which == device ]] && issued=devcert.cert
        device cert export "$which" "exported-$which.cert"
        cmp <(der "$issued") <(der "exported-$which.cert")
    done
}

chain_verifies() {
    local paths=()
    ((layout == 0)) && paths=(--signer signercert.cert --device devcert.cert)
    device cert verify --ca authority.cert "${paths[@]}"
    openssl pkey -in authority.key -pubout -out authority.pub
    device cert verify --ca authority.pub "${paths[@]}"
    fails_with 3 device cert verify --ca stranger.cert "${paths[@]}"
}

# With the kit the templates lie in its EEPROM: the files may be gone.
chain_verifies_without_files() {
    device cert verify --ca authority.cert --signer gone/signercert.cert --device gone/devcert.cert
}

openssl_verifies() {
    local signer=signercert.cert device=devcert.cert
    ((layout == 1)) && signer=exported-signer.cert device=exported-device.cert
    openssl verify -x509_strict -CAfile authority.cert "$signer"
    openssl verify -x509_strict -CAfile authority.cert -untrusted "$signer" "$device"
    openssl x509 -in "$device" -noout -pubkey | cmp - device.pub
    echo 2 valid > checked.certificates
}

lock_everything() {
    device serial lock --yes
    device cert lock signer --yes
    device cert lock device --yes
}

refuse_writes() {
    fails_with 1 device serial set OTHER
    fails_with 1 device cert save signer signercert.cert
    fails_with 1 device cert save device devcert.cert
    on_trustx && fails_with 1 device key generate --yes
    same "$serial" "$(device serial get)"
}

# identity_story CHIP LAYOUT USB: ends with a line for the table in $row.
identity_story() {
    chip=$1 layout=$2 usb=$3
    local title="${chip^^}, certificate layout $layout" name=$chip-layout$layout bus=I2C
    on_trustx && title='Trust X' name=trustx
    ((usb)) && title+=', on the USB kit' name+=-usb bus=USB
    story "Factory provisioning: $title" "$out/$name"

    step 'A new board with a blank secure element is made' fit_blank_board
    step 'The chip starts up and tells what it is' start_up
    if ! on_trustx; then
        step 'Nothing permanent is done without consent' refuse_without_consent
    fi
    step 'The configuration is written, both zones are locked' provision
    step "The serial number $serial is stored" store_serial_number
    step 'The device key is made inside the chip' make_key
    if ! on_trustx; then
        step 'The key is locked: no other takes its place' key_stays
        step 'OpenSSL accepts a signature by the device key, the device refuses a wrong one' sign_for_openssl
    fi
    step 'The certificate signing request is accepted by openssl req -verify' check_request
    step 'An OpenSSL certificate authority is set up' make_authorities
    step 'The authority issues the signer certificate' issue_signer authority
    step 'The signer issues the device certificate for the request' issue_device
    step 'Both certificates are saved in the chip' save_certificates
    if ((layout == 1)); then
        step 'Both are exported again, byte for byte what was issued' compare_certificates
    else
        step 'The compressed certificates hold what was issued; an export is refused' compare_certificates
    fi
    step 'The library verifies the chain, and not under another authority' chain_verifies
    if ((usb && layout == 0)); then
        step "The chain verifies from the kit's EEPROM alone" chain_verifies_without_files
    fi
    step 'openssl verify accepts the chain' openssl_verifies
    step 'Serial number and certificates are locked' lock_everything
    step 'Writes after the lock are refused' refuse_writes
    step 'The locked chain still verifies' chain_verifies
    step 'The device describes itself' info_holds "\"serial_number\": \"$serial\""
    end_story
    on_trustx && layout=-
    row=$(printf '%-10s  %-6s  %-3s  %5s  %-13s  %s' "$chip" "$layout" "$bus" "$story_done/$story_steps" \
        "$(cat "$folder/checked.certificates" 2> /dev/null || echo not)" \
        "$(cat "$folder/checked.csr" 2> /dev/null || echo not)")
}
