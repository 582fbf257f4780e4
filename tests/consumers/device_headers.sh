# The library compiles for a device with nothing of this tree but the platform's own headers, copied elsewhere; and it
# needs nothing of the C++ run-time library, not even where nothing is optimised away.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp -r "$PREFIX/include/ostdrv-sim" "$work/sdk"
cp -r "$SOURCE/CMakeLists.txt" "$SOURCE/cmake" "$SOURCE/src" "$SOURCE/include" "$work"

find "$work/src" -name '*.cpp' | xargs -P 2 -I {} "$CXX" -std=c++20 -fno-exceptions -fno-rtti -fno-threadsafe-statics \
    -O0 -Wall -Wextra -Werror -I"$work/include" -I"$work/src" -I"$work/sdk" -c {} -o {}.o
"$CXX" -r -nostdlib -o "$work/library.o" $(find "$work/src" -name '*.o')
"$NM" -u "$work/library.o" | grep -E ' (_Z|__cxa_|__gxx_)' && { echo "needed of the C++ run-time library"; exit 1; }

# Without the platform, the message names what to set.
if "$CMAKE" -S "$work" -B "$work/lost" -G Ninja -DOSTDRV_PLATFORM=device -DCMAKE_C_COMPILER="$CC" \
    -DCMAKE_CXX_COMPILER="$CXX" ${TOOLCHAIN:+-DCMAKE_TOOLCHAIN_FILE="$TOOLCHAIN"} >"$work/log" 2>&1; then
    echo "configured without a platform"
    exit 1
fi
grep -q OSTDRV_KSET_LIBRARY "$work/log"
