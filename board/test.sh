#!/usr/bin/env bash
# What ./test.sh --board runs: the library as AArch64 code on the kernel's own drivers. A line "ok ..." or "FAILED ..."
# for each check, and what a failed one printed.
set -u
source=$(cd "$(dirname "$0")/.." && pwd)
place=$(mktemp -d)
helper=''
trap '[[ -z $helper ]] || kill "$helper" 2> /dev/null; wait; rm -rf "$place"' EXIT
trap 'exit 130' INT TERM HUP

board() { "$source/board.sh" --root "$place/$1" "${@:2}"; }

# The status that is wanted, a name, a command; its output goes to a file of the name's first word.
expect() {
    local log=$place/${2%% *}.log
    "${@:3}" > "$log" 2>&1 < /dev/null
    local status=$?
    if ((status == $1)); then
        echo "ok $2"
        return
    fi
    echo "FAILED $2: status $status, not $1"
    tail -n 25 "$log"
}

# The library's own tests, as far as a kernel can make them come out otherwise.
cat > "$place/suite" << 'END'
cp /work/ostdrv_tests /tmp/ && cd /tmp || exit 1
export LD_LIBRARY_PATH=/usr/lib/ostdrv-sim
./ostdrv_tests --gtest_list_tests | awk '/^[^ ]/ { suite = $1 } /^ / { print suite $1 }' |
    grep -E '^(Attributes|Shell|Edges|Regions|Template|PemReader|Md5)\.' > names
failed=0
while read -r name; do
    timeout 60 ./ostdrv_tests --gtest_filter="$name" > log 2>&1 < /dev/null || {
        failed=1
        echo "$name"
        tail -n 12 log
    }
done < names
echo "suite: $(wc -l < names) of the library's tests"
[ -s names ] && [ $failed = 0 ]
END

# The README's tasks as they stand. The launcher is played: a command runs right here, and what comes from outside is
# asked of the host.
mkdir "$place/bin"
cat > "$place/bin/ostdrv-sim" << 'END'
#!/bin/sh
while [ "$1" != -- ] && [ "$1" != line ] && [ "$1" != adc ]; do shift; done
if [ "$1" = -- ]; then
    shift
    exec "$@"
fi
echo "$*" > /work/asking && mv /work/asking /work/asked
while [ -e /work/asked ]; do sleep 0.1; done
END
chmod +x "$place/bin/ostdrv-sim"
awk '/^## Tasks/ { tasks = 1 } /^## Build/ { tasks = 0 }
     tasks && /^```sh$/ { on = 1; next } /^```$/ { on = 0 } on' "$source/README.md" > "$place/tasks"
cat > "$place/identity" << 'END'
export PATH=/work/bin:$PATH
mkdir /tmp/tasks && cd /tmp/tasks && sh -eu /work/tasks && grep -q ' 3=1 rising$' edge &&
    openssl verify -x509_strict -CAfile ca.pem -untrusted signer.pem exported.pem
END

answer() {
    local asked=$place/$1/work/asked
    while sleep 0.1; do
        [[ -e $asked ]] || continue
        board "$1" $(< "$asked")
        rm -f "$asked"
    done
}

identity() { # CHIP SHELL
    answer "$1" &
    local answering=$!
    [[ $1 != trustx ]] || sed -i '/ provision /d' "$place/tasks"
    expect 0 "$1, the README's tasks under $2" board "$1" --chip "$1" --sh "$2" --with "$place/bin" \
        --with "$place/tasks" --with "$place/identity" -- sh identity
    kill $answering
    wait $answering 2> /dev/null
}

power_cuts() {
    local bytes
    for bytes in 1 40 80 120 150 175; do
        expect 125 "cut-$bytes in the middle of a store" board main --steady-clock -- board_checks cut "$bytes"
    done
    expect 0 'cut-0 what the last one left' board main --steady-clock -- board_checks cut 0
    grep -ah '^found: ' "$place"/cut-*.log | sort | uniq -c
}

arm=$source/build/aarch64
"$source/board.sh" --prepare > "$place/build.log" 2>&1
case $? in
    0) ;;
    77)
        echo "skipped: $(tail -n 1 "$place/build.log")"
        exit
        ;;
    *)
        tail -n 30 "$place/build.log"
        echo 'FAILED the board cannot be built'
        exit 1
        ;;
esac
"$source/tools/install-packages.sh" build || exit 1
cmake --build "$arm" --target ostdrv_tests > "$place/build.log" 2>&1 &&
    aarch64-linux-gnu-strip -o "$place/ostdrv_tests" "$arm/tests/ostdrv_tests" || {
    tail -n 30 "$place/build.log"
    echo 'FAILED the tests do not build'
    exit 1
}

# Two boards at once, one for each of two processors.
{
    identity atecc608a dash
    identity trustx busybox
    expect 0 "suite, the library's own tests" board trustx --with "$place/ostdrv_tests" --with "$place/suite" -- sh suite
} > "$place/identities" &
helper=$!
expect 0 'families, the library on every driver' board main --new --steady-clock -- board_checks
grep -ahE '^edges: |checks, ' "$place/families,.log"
# On a board of their own: they leave cells in the EEPROM that no store made.
expect 0 'observations, the same as when they were recorded' board observed --new \
    --with "$source/board/observations.sh" --with "$source/board/observations.txt" -- \
    sh -c 'sh observations.sh board_observe board_checks line > seen; diff observations.txt seen'
power_cuts
wait $helper
helper=''
cat "$place/identities"
grep -ah '^suite: ' "$place/suite,.log"
