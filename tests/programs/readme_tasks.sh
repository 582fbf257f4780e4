# The README's tasks run as they stand, one after the other, in sh and in bash and on every chip.
set -eu
source=$1 tools=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
PATH=$tools/ostdrv:$tools/ostdrv-sim:$PATH
cd "$work"
awk '/^## Tasks/ { tasks = 1 } /^## Build/ { tasks = 0 }
     tasks && /^```sh$/ { on = 1; next } /^```$/ { on = 0 } on' "$source/README.md" >tasks.sh
[ "$(grep -c . tasks.sh)" -gt 20 ]

run() (  # CHIP SHELL
    mkdir "$1" && cd "$1"
    sed "s/atecc608a/$1/" ../tasks.sh | if [ "$1" = trustx ]; then grep -v ' provision '; else cat; fi >tasks.sh
    "$2" -eu tasks.sh >log 2>&1 || { cat log; echo "$1: a task failed"; exit 1; }
    grep -q ' 3=1 rising$' edge
    openssl verify -x509_strict -CAfile ca.pem -untrusted signer.pem exported.pem
)
run atecc508a sh & first=$!
run trustx bash & second=$!
run atecc608a bash
wait $first
wait $second
