# The library compiles for a device with nothing of this tree but the platform's own headers, copied elsewhere.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/sdk"
cp -r "$PREFIX/include/ostdrv-sim" "$work/sdk/include"
mkdir "$work/tree"
cp -r "$SOURCE/CMakeLists.txt" "$SOURCE/cmake" "$SOURCE/src" "$SOURCE/include" "$work/tree"

"$CMAKE" -S "$work/tree" -B "$work/build" -G Ninja -DOSTDRV_PLATFORM=device -DOSTDRV_PLATFORM_HEADERS_ONLY=ON \
    -DCMAKE_BUILD_TYPE=Debug -DCMAKE_PREFIX_PATH="$work/sdk" -DCMAKE_C_COMPILER="$CC" -DCMAKE_CXX_COMPILER="$CXX" \
    ${TOOLCHAIN:+-DCMAKE_TOOLCHAIN_FILE="$TOOLCHAIN"} >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
"$CMAKE" --build "$work/build"

# Without the platform, the message names what to set.
if "$CMAKE" -S "$work/tree" -B "$work/lost" -G Ninja -DOSTDRV_PLATFORM=device -DCMAKE_C_COMPILER="$CC" \
    -DCMAKE_CXX_COMPILER="$CXX" ${TOOLCHAIN:+-DCMAKE_TOOLCHAIN_FILE="$TOOLCHAIN"} >"$work/log" 2>&1; then
    echo "configured without a platform"
    exit 1
fi
grep -q OSTDRV_KSET_LIBRARY "$work/log"
