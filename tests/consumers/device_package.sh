# A device build needs nothing of this tree but the library, binds to whatever libraries have the platform's names,
# installs without them, and serves consumers on any machine: what is installed knows no directory of this one.
# In a place that stays the same, so that a compiler cache knows what it sees.
work=$BUILD/tests/consumers/device
rm -rf "$work"
here=$(dirname "$0")
mkdir -p "$work/sdk/include"
cp -r "$PREFIX/include/ostdrv-sim" "$work/sdk/include/cryptoauthlib"
cp -r "$LIBDIR/ostdrv-sim" "$work/sdk/lib"
ln -s libkset.so "$work/sdk/lib/libsettings.so"
mkdir "$work/tree"
cp -r "$SOURCE/CMakeLists.txt" "$SOURCE/cmake" "$SOURCE/src" "$SOURCE/include" "$work/tree"

configure() {
    "$CMAKE" "$@" -G Ninja -DCMAKE_C_COMPILER="$CC" -DCMAKE_CXX_COMPILER="$CXX" \
        ${TOOLCHAIN:+-DCMAKE_TOOLCHAIN_FILE="$TOOLCHAIN"} >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
}
# Without the platform, the message names what to set.
if (configure -S "$work/tree" -B "$work/lost" -DOSTDRV_PLATFORM=device) >/dev/null; then
    echo "configured without a platform"
    exit 1
fi
grep -q OSTDRV_KSET_LIBRARY "$work/log"

configure -S "$work/tree" -B "$work/build" -DOSTDRV_PLATFORM=device -DCMAKE_PREFIX_PATH="$work/sdk" \
    -DOSTDRV_KSET_NAME=settings -DOSTDRV_BUILD_TOOLS=OFF -DOSTDRV_BUILD_EXAMPLES=OFF -DOSTDRV_BUILD_MANUAL=OFF \
    -DCMAKE_INSTALL_LIBDIR=lib -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-O0
"$CMAKE" --build "$work/build" >"$work/log" || { cat "$work/log"; exit 1; }
"$CMAKE" --install "$work/build" --prefix "$work/device" >"$work/log"
test "$(ls "$work/device/include" "$work/device/lib")" = "$work/device/include:
ostdrv.h

$work/device/lib:
cmake
libostdrv.so
libostdrv.so.1
libostdrv.so.1.0.0
pkgconfig"
grep -rF "$work" "$work/device/lib/cmake" "$work/device/lib/pkgconfig" && exit 1
# An unoptimised build does without the C++ run-time library as well.
"$READELF" -dW "$work/device/lib/libostdrv.so" | grep -E 'RPATH|RUNPATH|libstdc|libgcc' && exit 1
"$NM" -uD "$work/device/lib/libostdrv.so" | grep -E ' (_Z|__cxa_[^f]|__gxx_)' && exit 1

runs() {
    : >"$work/attribute"
    test "$(LD_LIBRARY_PATH="$work/device/lib:$work/sdk/lib" $EMULATOR "$1" "$work/attribute")" = -42
}

# Where the platform is not installed, a program that uses lines is compiled and linked all the same.
mv "$work/sdk" "$work/elsewhere"
export PKG_CONFIG_LIBDIR="$work/device/lib/pkgconfig"
"$CC" -DOSTDRV_WITHOUT_CRYPTOAUTHLIB -o "$work/lines" "$here/program.c" $(pkg-config --cflags --libs ostdrv)
test "$(pkg-config --libs --static ostdrv)" = "$(pkg-config --libs ostdrv)"
configure -S "$here/project" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$work/device" \
    -DCMAKE_C_FLAGS=-DOSTDRV_WITHOUT_CRYPTOAUTHLIB
"$CMAKE" --build "$work/consumer" >"$work/log" || { cat "$work/log"; exit 1; }
mv "$work/elsewhere" "$work/sdk"
runs "$work/lines"
runs "$work/consumer/program"

# Where it is, its header is found: on CMake's search path, and by pkg-config beside the library's own.
rm -rf "$work/consumer"
configure -S "$here/project" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$work/device;$work/sdk"
"$CMAKE" --build "$work/consumer" >"$work/log" || { cat "$work/log"; exit 1; }
runs "$work/consumer/program"
cp -r "$work/sdk/include/cryptoauthlib" "$work/device/include"
"$CC" -o "$work/chip" "$here/program.c" $(pkg-config --cflags --libs ostdrv)
runs "$work/chip"
