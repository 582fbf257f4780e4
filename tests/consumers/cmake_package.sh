# A CMake project that knows find_package(ostdrv) and nothing else.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$CMAKE" -S "$(dirname "$0")/project" -B "$work/build" -G Ninja -DCMAKE_PREFIX_PATH="$PREFIX" -DCMAKE_C_COMPILER="$CC" \
    ${TOOLCHAIN:+-DCMAKE_TOOLCHAIN_FILE="$TOOLCHAIN"} >"$work/log" || { cat "$work/log"; exit 1; }
"$CMAKE" --build "$work/build"
: >"$work/attribute"
test "$($EMULATOR "$work/build/program" "$work/attribute")" = -42

# Only libostdrv itself needs the platform's libraries.
"$READELF" -dW "$work/build/program" | grep NEEDED | grep -Ev '\[lib(ostdrv\.so\.1|c\.so\.6)\]' && exit 1
exit 0
