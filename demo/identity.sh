# The factory's story: a blank secure element gets its identity from a certificate authority.

serial=OST-2026-00000001

on_trustx() {
    [[ $chip == trustx ]]
}

# info_holds TEXT...: every text is in the JSON that the device gives of itself
info_holds() {
    device info --json > info.json
    local text
    for text in "$@"; do
        grep -qF -- "$text" info.json || { echo "not in info: $text"; cat info.json; return 1; }
        value "$text"
    done
}

fit_blank_board() {
    ostdrv-sim --root board --chip "$chip" "$bus" "${shell[@]}"
    # A blank chip has no key to show.
    fails_with 1 device key public
}

start_up() {
    on_trustx && { info_holds '"chip": "Trust X"'; return; }
    local interface='I2C bus 2, address 0x60'
    [[ $bus == --i2c ]] || interface='USB kit'
    info_holds "\"model\": \"${chip^^}\"" "\"interface\": \"$interface\"" '"config_locked": false' \
        '"data_locked": false'
}

refuse_without_consent() {
    if on_trustx; then
        fails_with 2 device key generate < /dev/null
        fails_with 1 device key public
    else
        fails_with 2 device provision < /dev/null
        info_holds '"config_locked": false'
    fi
}

# locks_of BOARD: both zones, in $locks
locks_of() {
    local info
    info=$("$sim" --root "$1" -- "$tool" info --json)
    locks='configuration open'
    [[ $info != *'"config_locked": true'* ]] || locks='configuration locked'
    if [[ $info == *'"data_locked": true'* ]]; then locks+=', data zone locked'; else locks+=', data zone open'; fi
}

# The power goes at calls of a provisioning, each time on a blank chip of its own; then the same command is run again.
cut_power_while_provisioning() {
    local nth locks
    "$sim" --root blank --chip "$chip" "$bus" "${shell[@]}"
    : > states
    typed ostdrv-sim --root cut --kill N -- ostdrv provision --yes
    for ((nth = 1; nth < 1000; nth += stride)); do
        rm -rf cut
        cp -r blank cut
        cut_power $nth cut provision --yes || break
        locks_of cut
        echo "$locks" >> states
        "$sim" --root cut -- "$tool" provision --yes
        locks_of cut
        [[ $locks == 'configuration locked, data zone locked' ]]
    done
    value "N from 1 to $((nth - stride))$steps_of, each time on a blank chip; what the power cut left:"
    sort states | uniq -c | while read -r times locks; do value "$times times: $locks"; done
    # Somewhere between the two locks lies the state that only a second run can finish.
    ((stride > 1)) || grep -qx 'configuration locked, data zone open' states
    typed ostdrv provision --yes
    value 'run again after each: configuration locked, data zone locked'
    fact cuts "$(wc -l < states)"
    rm -rf cut cut.log blank states
}

# On a Trust X the key and the object that tells its public half are two writes.
cut_power_while_making_key() {
    local nth cuts=0 known=0
    typed ostdrv-sim --root cut --kill N -- ostdrv key generate --yes
    for ((nth = 1; nth < 1000; nth += stride)); do
        rm -rf cut
        cp -r board cut
        cut_power $nth cut key generate --yes || break
        ((++cuts))
        "$sim" --root cut -- "$tool" key public && ((++known))
        "$sim" --root cut -- "$tool" key generate --yes
        "$sim" --root cut -- "$tool" serial set "$serial"
        "$sim" --root cut -- "$tool" csr cut.csr
        command openssl req -in cut.csr -verify -noout
    done
    value "N from 1 to $((nth - stride))$steps_of; $known times a key was known afterwards, $((cuts - known)) times none"
    typed ostdrv key generate --yes
    typed openssl req -in cut.csr -verify -noout
    value 'run again after each, the new key signed a request that OpenSSL accepts'
    fact cuts $cuts
    rm -rf cut cut.log cut.csr
}

provision() {
    device provision --yes
    info_holds '"config_locked": true' '"data_locked": true'
}

store_serial_number() {
    if ((layout == 1)); then
        device serial set "$serial"
    else
        # The record of an older factory: the same serial number, and a layout version of 0 in its last byte.
        device slot write 7 --hex "$(printf '%s' "$serial" | od -An -v -tx1 | tr -d ' \n')$(printf '00%.0s' {1..19})"
    fi
    gives "$serial" device serial get
    on_trustx || info_holds "\"layout_version\": $layout"
}

make_key() {
    device key generate --yes --out device.point --pem > device.pub
    device key public --pem > device.pub
    openssl pkey -pubin -in device.pub -noout
    cmp device.point device.pub
    rm device.point
    fact key "$(fingerprint device.pub)"
    value "SHA-256 of the public key: $(fingerprint device.pub)…"
}

key_stays() {
    # On an ATECC the key is locked by now, so asking again needs no consent and changes nothing.
    device key generate --pem < /dev/null > again.pub
    value "SHA-256 of the public key: $(fingerprint again.pub)…"
    cmp device.pub again.pub
    rm again.pub
    fails_with 1 device slot write 0 --hex 00
}

sign_for_openssl() {
    echo 'calibrated, sealed and shipped' > note.txt
    device key sign note.txt --der --out note.sig
    gives 'Verified OK' openssl dgst -sha256 -verify device.pub -signature note.sig note.txt
    fails_with 3 device key verify device.pub --signature note.sig
}

verify_for_openssl() {
    echo 'made elsewhere' > letter.txt
    new_key letter.key
    command openssl pkey -in letter.key -pubout -out letter.pub
    openssl dgst -sha256 -sign letter.key -out letter.sig letter.txt
    gives verified device key verify letter.txt --signature letter.sig --key letter.pub
    fails_with 3 device key verify device.pub --signature letter.sig --key letter.pub
}

check_request() {
    device csr device.csr
    openssl req -in device.csr -verify -noout
    openssl req -in device.csr -noout -pubkey | cmp - device.pub
    local subject
    subject=$(openssl req -in device.csr -noout -subject -nameopt RFC2253)
    value "$subject"
    grep -qF "CN=$serial" <<< "$subject"
    echo valid > checked.csr
}

make_authorities() {
    make_authority authority
    make_authority stranger
    value "$(certificate_field authority.cert subject), serial number $(certificate_field authority.cert serial)"
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
        gives "$(signature_of signercert.cert)" device slot read 10 --length 64
        gives "$(public_key_of signercert.cert)" device slot read 11 --length 64
        gives "$(signature_of devcert.cert)" device slot read 9 --length 64
        return
    fi
    for which in signer device; do
        issued=signercert.cert
        [[ $which == device ]] && issued=devcert.cert
        device cert export "$which" "exported-$which.cert"
        cmp <(der "$issued") <(der "exported-$which.cert")
        value "SHA-256 of $issued and of exported-$which.cert: $(der "exported-$which.cert" | sha256sum | cut -c 1-16)…"
    done
}

chain_verifies() {
    local paths=()
    ((layout == 0)) && paths=(--signer signercert.cert --device devcert.cert)
    gives verified device cert verify --ca authority.cert "${paths[@]}"
    command openssl pkey -in authority.key -pubout -out authority.pub
    gives verified device cert verify --ca authority.pub "${paths[@]}"
    fails_with 3 device cert verify --ca stranger.cert "${paths[@]}"
}

# With the kit the templates lie in its EEPROM: the files may be gone.
chain_verifies_without_files() {
    gives verified \
        device cert verify --ca authority.cert --signer gone/signercert.cert --device gone/devcert.cert
}

openssl_verifies() {
    local signer=signercert.cert device=devcert.cert
    ((layout == 1)) && signer=exported-signer.cert device=exported-device.cert
    gives "$device: OK" openssl verify -x509_strict -CAfile authority.cert -untrusted "$signer" "$device"
    key_of_certificate "$device" | cmp - device.pub
    value "SHA-256 of the certificate's key: $(fingerprint device.pub)…"
    echo 2 valid > checked.certificates
}

lock_everything() {
    device serial lock --yes
    local paths=()
    ((layout == 0)) && paths=(--signer signercert.cert --device devcert.cert)
    fails_with 1 device cert lock signer --ca stranger.cert "${paths[@]}" --yes
    device cert lock signer --ca authority.cert "${paths[@]}" --yes
    device cert lock device --ca authority.cert "${paths[@]}" --yes
}

refuse_writes() {
    fails_with 1 device serial set OTHER
    fails_with 1 device cert save signer signercert.cert
    fails_with 1 device cert save device devcert.cert
    on_trustx && fails_with 1 device key generate --yes
    gives "$serial" device serial get
}

# identity_story CHIP LAYOUT USB: ends with a line for the table in $row.
identity_story() {
    chip=$1 layout=$2 bus=--i2c shell=()
    # With --all, one of the eight roads of an ATECC is enough.
    local cuts=$((!all))
    [[ $* == 'atecc608a 1 0' || $* == 'trustx 1 0' ]] && cuts=1
    local title="${chip^^}, certificate layout $layout" name=$chip-layout$layout
    on_trustx && title='Trust X' name=trustx
    # A device finds the USB kit only when its shell takes &> for a redirection.
    (($3)) && title+=', on the USB kit' name+=-usb bus=--usb shell=(--shell bash)
    story "Factory provisioning: $title" "$out/$name"

    step 'A new board with a blank secure element is made' fit_blank_board
    step 'The chip starts up and tells what it is' start_up
    step 'Nothing permanent is done without consent' refuse_without_consent
    if on_trustx; then
        step 'The power is cut in the middle of making a key, and the key made again' cut_power_while_making_key
    else
        if ((cuts)); then
            step 'The power is cut in the middle of a provisioning, and the command run again' cut_power_while_provisioning
        fi
        step 'The configuration is written, both zones are locked' provision
    fi
    step "The serial number $serial is stored" store_serial_number
    step 'The device key is made inside the chip' make_key
    if ! on_trustx; then
        step 'The key is locked: no other takes its place' key_stays
        step 'OpenSSL accepts a signature by the device key, the device refuses a wrong one' sign_for_openssl
    fi
    step 'The chip accepts a signature that OpenSSL made, and not for another text' verify_for_openssl
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
    if [[ $bus == --usb && $layout == 0 ]]; then
        step "The chain verifies from the kit's EEPROM alone" chain_verifies_without_files
    fi
    step 'openssl verify accepts the chain' openssl_verifies
    step 'Serial number and certificates are locked' lock_everything
    step 'Writes after the lock are refused' refuse_writes
    step 'The locked chain still verifies' chain_verifies
    step 'The device describes itself' info_holds "\"serial_number\": \"$serial\""
    ((story_failed)) || report_chain
    local possession="the device's key answered a fresh challenge for its certificate"
    on_trustx && possession="the device's key signed the request for its certificate"
    end_story "$title: from blank to a locked chain that the library and OpenSSL verify; $possession"
    if ((cuts && !story_failed)); then
        proved+=("$title: $(fact cuts) power cuts left nothing that the same command did not finish")
    fi
    on_trustx && layout=-
    row=$(printf '%-10s  %-6s  %-3s  %5s  %-13s  %s' "$chip" "$layout" "${bus#--}" "$story_done/$story_steps" \
        "$(cat "$folder/checked.certificates" 2> /dev/null || echo not)" \
        "$(cat "$folder/checked.csr" 2> /dev/null || echo not)")
}
