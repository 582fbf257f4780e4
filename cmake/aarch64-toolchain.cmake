# Cross-compiles for AArch64 on Debian: g++-aarch64-linux-gnu, and the arm64 packages that `dpkg --add-architecture
# arm64` lets stand beside the host's. What is built runs under qemu-user, the tests too: the emulator passes system
# calls on, so programs find the arm64 loader and libraries where Debian puts them and need no root of their own.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

# Libraries are searched for in /usr/lib/aarch64-linux-gnu and never in the host's directory. Headers are shared.
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/aarch64-linux-gnu/pkgconfig:/usr/share/pkgconfig)

# zlib's arm64 development package would bring the arm64 C library's along, and that replaces packages of the host. The
# header is the host's anyway.
if(NOT EXISTS /usr/lib/aarch64-linux-gnu/libz.so)
  set(ZLIB_LIBRARY /usr/lib/aarch64-linux-gnu/libz.so.1 CACHE FILEPATH "zlib for AArch64")
endif()

find_program(OSTDRV_QEMU_AARCH64 NAMES qemu-aarch64 qemu-aarch64-static)
if(OSTDRV_QEMU_AARCH64)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${OSTDRV_QEMU_AARCH64})
endif()
