# The programs that the stories run, each telling what it was called with.

ostdrv() {
    typed ostdrv "$@"
    "$tool" "$@"
}

ostdrv-sim() {
    typed ostdrv-sim "$@"
    "$sim" "$@"
}

# device ARGUMENTS...: ostdrv on the story's board
device() {
    typed ostdrv-sim --root board -- ostdrv "$@"
    "$sim" --root board -- "$tool" "$@"
}

openssl() {
    typed openssl "$@"
    command openssl "$@"
}

# cut_power NTH BOARD ARGUMENTS...: ostdrv on the board, whose power goes at the N-th system or chip call; false when
# the command had ended before.
cut_power() {
    local status=0
    { "$sim" --root "$2" --kill "$1" -- "$tool" "${@:3}" > /dev/null; } 2> cut.log || status=$?
    case $status in
        0) return 1 ;;
        137) return 0 ;;
        *) cat cut.log; exit 1 ;;
    esac
}

# fingerprint KEY.pub: the SHA-256 of a public key, the first 16 digits
fingerprint() {
    command openssl pkey -pubin -in "$1" -outform DER | sha256sum | cut -c 1-16
}
