# A device build binds to whatever libraries have the platform's names, installs without them, and serves a consumer.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/sdk"
cp -r "$PREFIX/include/ostdrv-sim" "$work/sdk/include"
cp -r "$LIBDIR/ostdrv-sim" "$work/sdk/lib"
ln -s libkset.so "$work/sdk/lib/libsettings.so"

configure() {
    "$CMAKE" "$@" -G Ninja -DCMAKE_C_COMPILER="$CC" -DCMAKE_CXX_COMPILER="$CXX" \
        ${TOOLCHAIN:+-DCMAKE_TOOLCHAIN_FILE="$TOOLCHAIN"} >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
}
configure -S "$SOURCE" -B "$work/build" -DOSTDRV_PLATFORM=device -DCMAKE_PREFIX_PATH="$work/sdk" \
    -DOSTDRV_KSET_NAME=settings -DOSTDRV_BUILD_TOOLS=OFF -DOSTDRV_BUILD_EXAMPLES=OFF -DCMAKE_INSTALL_LIBDIR=lib \
    -DCMAKE_BUILD_TYPE=Debug
"$CMAKE" --build "$work/build" >"$work/log" || { cat "$work/log"; exit 1; }
"$CMAKE" --install "$work/build" --prefix "$work/device" >"$work/log"
test "$(ls "$work/device")" = "include
lib"
test "$(ls "$work/device/include")" = ostdrv.h
grep -q '^Libs.private:.* -lsettings' "$work/device/lib/pkgconfig/ostdrv.pc"
# An unoptimised build does without the C++ run-time library as well.
"$READELF" -dW "$work/device/lib/libostdrv.so" | grep -E 'RPATH|RUNPATH|libstdc|libgcc' && exit 1

configure -S "$(dirname "$0")/project" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$work/device;$work/sdk" \
    -DOSTDRV_KSET_NAME=settings
"$CMAKE" --build "$work/consumer"
: >"$work/attribute"
test "$(LD_LIBRARY_PATH="$work/sdk/lib" $EMULATOR "$work/consumer/program" "$work/attribute")" = -42
