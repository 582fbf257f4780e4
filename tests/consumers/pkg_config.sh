# A program built with what pkg-config says, and nothing else.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
here=$(dirname "$0")
export PKG_CONFIG_LIBDIR="$LIBDIR/pkgconfig"

"$CC" -std=c11 -Wall -Wextra -Werror -o "$work/program" "$here/program.c" $(pkg-config --cflags --libs ostdrv)
: >"$work/attribute"
test "$($EMULATOR "$work/program" "$work/attribute")" = -42

version=$(sed -n 's/^project(ostdrv VERSION \([0-9.]*\).*/\1/p' "$SOURCE/CMakeLists.txt")
pkg-config --exact-version="$version" ostdrv
