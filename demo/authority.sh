# A certificate authority as a factory has one, with nothing but the openssl command.
#
# A secure element has little room. Common names and serial numbers are short, so that the signed part of each
# certificate is 256 to 360 bytes long and the signer's public key lies where a Trust X looks for it.

# The machine's own authorities take no part.
export SSL_CERT_FILE=/dev/null SSL_CERT_DIR=/dev/null

# new_key FILE
new_key() {
    openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-256 -out "$1"
}

serial_number_of_certificate() {
    printf '0x4%s' "$(command openssl rand -hex 8 | cut -c 2-)"
}

# make_authority NAME: NAME.key, NAME.cert
make_authority() {
    new_key "$1.key"
    openssl req -new -x509 -key "$1.key" -out "$1.cert" -days 7300 -sha256 \
        -set_serial "$(serial_number_of_certificate)" -subj "/CN=Factory CA/O=Ostravel" \
        -addext 'basicConstraints=critical,CA:TRUE' -addext 'keyUsage=critical,keyCertSign'
}

# issue REQUEST AUTHORITY CERTIFICATE EXTENSIONS
issue() {
    printf '%s\n' "$4" 'subjectKeyIdentifier=hash' 'authorityKeyIdentifier=keyid' > extensions.cnf
    openssl x509 -req -in "$1" -CA "$2.cert" -CAkey "$2.key" -out "$3" -days 3650 -sha256 \
        -set_serial "$(serial_number_of_certificate)" -extfile extensions.cnf
    rm extensions.cnf
    value "$(certificate_field "$3" subject) issued by $(certificate_field "$3" issuer)"
}

# issue_signer AUTHORITY: signercert.key, signercert.cert
issue_signer() {
    new_key signercert.key
    openssl req -new -key signercert.key -subj "/CN=Signer 0001/O=Ostravel" -out signer.csr
    issue signer.csr "$1" signercert.cert $'basicConstraints=critical,CA:TRUE,pathlen:0\nkeyUsage=critical,keyCertSign'
    rm signer.csr
}

# issue_device: devcert.cert, from the device's own request
issue_device() {
    issue device.csr signercert devcert.cert $'basicConstraints=critical,CA:FALSE\nkeyUsage=critical,digitalSignature'
}

# certificate_field CERTIFICATE subject|issuer|serial|enddate
certificate_field() {
    command openssl x509 -in "$1" -noout "-$2" -nameopt RFC2253 | sed 's/^[^=]*=//'
}

# key_of_certificate CERTIFICATE: PEM
key_of_certificate() {
    command openssl x509 -in "$1" -noout -pubkey
}

# der FILE: the certificate's bytes
der() {
    command openssl x509 -in "$1" -outform DER
}

# signature_of CERTIFICATE: r and s in hexadecimal, 64 digits each
signature_of() {
    local place
    place=$(der "$1" | command openssl asn1parse -inform DER | awk -F: '/BIT STRING/ { print $1 + 0 }' | tail -n 1)
    der "$1" | command openssl asn1parse -inform DER -strparse "$place" |
        awk -F: '/INTEGER/ { printf "%064s", $NF }' | tr ' A-F' '0a-f'
}

# public_key_of CERTIFICATE: X and Y in hexadecimal
public_key_of() {
    key_of_certificate "$1" | command openssl pkey -pubin -outform DER | tail -c 64 | od -An -v -tx1 | tr -d ' \n'
}
