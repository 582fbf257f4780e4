#!/usr/bin/env bash
# Builds and tests everything. Run "./test.sh --help".
set -uo pipefail
cd "$(dirname "$0")" || exit 2

usage() {
    cat <<'END'
Usage: ./test.sh [JOB...]

  --default    build and run all tests (the job when none is named)
  --asan       the same with AddressSanitizer and UndefinedBehaviorSanitizer
  --clang      the same with clang
  --aarch64    the same as AArch64 code, run by qemu-user
  --board      boot the virtual board and check the library on a real kernel's drivers: every family, edges counted and
               timed, power cuts in the middle of a store, the README's tasks on both chips
  --coverage   the same, and print how much of src/ the tests reach
  --fuzz SECONDS
               run each fuzz target for so long, from its seeds; what is learned and found stays in build/fuzz
  --format     check the formatting
  --abi        compare the interface of the library with the reference of version 1
  --analysis   --format, cppcheck, and clang-tidy on the library and the simulated board
  --tidy-tools clang-tidy on the tools, ten minutes and more
  --all        all of these, --fuzz with 5 seconds

Installs what is missing with apt-get on Debian 12, as root or through sudo. Each job builds in build/<preset>.
The last line counts the tests and checks of all jobs; the exit status is 0 when none failed.
END
}

jobs=$(nproc)
passed=0 failed=0 skipped=0
log=$(mktemp)
trap 'rm -f "$log"' EXIT

headline() { printf '\n== %s\n' "$*"; }

# One check that is no test of ctest: a headline, a command, one count.
check() {
    headline "$1"
    if "${@:2}"; then
        passed=$((passed + 1))
    else
        echo "FAILED: $1"
        failed=$((failed + 1))
    fi
}

build() { cmake --preset "$1" >"$log" 2>&1 || { cat "$log"; return 1; }; cmake --build --preset "$1" -j "$jobs"; }

# Adds ctest's own count to ours.
count_tests() {
    local failures total not_run
    read -r failures total < <(sed -n 's/.*tests passed, \([0-9]*\) tests\{0,1\} failed out of \([0-9]*\).*/\1 \2/p' "$log")
    not_run=$(grep -c '\*\*\*Skipped' "$log")
    if [[ -z ${total:-} || $total == 0 ]]; then
        echo "FAILED: no test ran"
        failed=$((failed + 1))
        return
    fi
    passed=$((passed + total - failures - not_run)) failed=$((failed + failures)) skipped=$((skipped + not_run))
}

# What the sweeps counted, which ctest keeps to itself.
print_sweeps() {
    awk '/^[0-9]+ faults injected$/ { faults += $1; ++scenarios }
         /^[a-z]+: [0-9]+ power cuts left [0-9]+ states/ { cuts += $2; states += $6 }
         END {
             printf "swept: %d faults injected in %d scenarios; %d power cuts left %d states, all finished\n",
                 faults, scenarios, cuts, states
         }' "build/$1/Testing/Temporary/LastTest.log"
}

suite() {
    headline "tests, preset $1"
    if build "$1"; then
        # Some tests only wait.
        ctest --preset "$1" -j $((2 * jobs)) 2>&1 | tee "$log"
        count_tests
        print_sweeps "$1"
    else
        echo "FAILED: preset $1 does not build"
        failed=$((failed + 1))
    fi
}

run_board() {
    headline "virtual board"
    board/test.sh 2>&1 | tee "$log"
    passed=$((passed + $(grep -c '^ok ' "$log"))) failed=$((failed + $(grep -c '^FAILED ' "$log")))
    if grep -q '^skipped: ' "$log"; then
        skipped=$((skipped + 1))
    elif ! grep -q '^ok ' "$log"; then
        failed=$((failed + 1))
    fi
}

sources() { git ls-files '*.c' '*.cpp' '*.h' '*.hpp'; }

check_format() { sources | xargs clang-format --dry-run -Werror; }

check_tidy() {
    build default >/dev/null &&
        git ls-files "$@" | xargs -P "$jobs" -n 4 clang-tidy -p build/default --quiet --warnings-as-errors='*' 2>"$log" ||
        { cat "$log"; false; }
}

# No suppressions: what cppcheck gets wrong is said beside the line, with the reason.
check_cppcheck() {
    build default >/dev/null &&
        cppcheck --project=build/default/compile_commands.json --file-filter='src/*' --file-filter='sim/*' \
            --file-filter='tools/*' -j "$jobs" --enable=warning,performance,portability --inline-suppr \
            --error-exitcode=1 --quiet
}

check_abi() { build default >/dev/null && packaging/abi/compare.sh build/default/src/libostdrv.so.1; }

run_coverage() {
    find build/coverage -name '*.gcda' -delete 2>/dev/null
    suite coverage
    gcovr --root . --filter src/ --exclude-throw-branches --exclude-unreachable-branches --sort-uncovered \
        --gcov-ignore-parse-errors build/coverage
}

run_fuzz() {
    headline "fuzz targets"
    if ! build fuzz; then
        echo "FAILED: preset fuzz does not build"
        failed=$((failed + 1))
        return
    fi
    # A target keeps one processor busy.
    local target targets
    local -A runs=()
    mapfile -t targets < <(ls fuzz/seeds)
    for target in "${targets[@]}"; do
        while (($(jobs -rp | wc -l) >= jobs)); do wait -n; done
        fuzz/run.sh "$target" "$fuzz_seconds" >"build/fuzz/$target.log" 2>&1 &
        runs[$target]=$!
    done
    for target in "${targets[@]}"; do check "fuzz target $target" ended "${runs[$target]}" "build/fuzz/$target.log"; done
}

# The status of a process that ran in the background, and what it printed.
ended() {
    wait "$1"
    local status=$?
    cat "$2"
    return $status
}

selected=()
fuzz_seconds=5
while [[ $# -gt 0 ]]; do
    option=$1
    shift
    case $option in
        --default | --asan | --clang | --aarch64 | --board | --coverage | --format | --abi | --analysis | --tidy-tools)
            selected+=("${option#--}")
            ;;
        --fuzz)
            [[ ${1:-} =~ ^[1-9][0-9]{0,5}$ ]] || { usage >&2; exit 2; }
            selected+=(fuzz) fuzz_seconds=$1
            shift
            ;;
        --all) selected=(default asan clang aarch64 board coverage fuzz abi analysis tidy-tools) ;;
        -h | --help) usage && exit 0 ;;
        *) usage >&2 && exit 2 ;;
    esac
done
[[ ${#selected[@]} -gt 0 ]] || selected=(default)

needs=(build)
for job in "${selected[@]}"; do
    case $job in
        clang | coverage | aarch64 | fuzz | abi) needs+=("$job") ;;
        format | analysis | tidy-tools) needs+=(analysis) ;;
    esac
done
tools/install-packages.sh "${needs[@]}" || exit 2

times=''
for job in "${selected[@]}"; do
    started=$SECONDS
    case $job in
        board) run_board ;;
        coverage) run_coverage ;;
        fuzz) run_fuzz ;;
        format) check formatting check_format ;;
        abi) check "interface of the library" check_abi ;;
        analysis)
            check formatting check_format
            check clang-tidy check_tidy 'src/*.cpp' 'sim/*.cpp'
            check cppcheck check_cppcheck
            ;;
        tidy-tools) check "clang-tidy on the tools" check_tidy 'tools/*.cpp' ;;
        *) suite "$job" ;;
    esac
    times+=", $job $((SECONDS - started)) s"
done

printf '\ntime: %s\n%d passed, %d failed, %d skipped\n' "${times#, }" "$passed" "$failed" "$skipped"
[[ $failed == 0 ]]
