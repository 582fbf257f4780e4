# The README's first C program compiles as it stands, and does what the text says when run as it says.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export PKG_CONFIG_LIBDIR="$LIBDIR/pkgconfig"

awk '/^```c$/ { on = 1; next } on && /^```$/ { exit } on' "$SOURCE/README.md" >"$work/first.c"
test "$(grep -c . "$work/first.c")" -le 15
"$CC" -std=c11 -Wall -Wextra -Wpedantic -Werror -o "$work/first" "$work/first.c" $(pkg-config --cflags --libs ostdrv)
echo 80 >"$work/brightness"
$EMULATOR "$work/first" "$work/brightness"
test "$(cat "$work/brightness")" = 40
