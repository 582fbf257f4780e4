# The rooms of src/ include headers of those rooms alone that docs/architecture.md lets them use.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export LC_ALL=C
cd "$SOURCE/src"

ls -d */ | tr -d / | while read -r room; do
    echo "$room $room"
    sed -n "s/^| \`$room\` | \([^|]*\) |.*/\1/p" "$SOURCE/docs/architecture.md" | grep -o '[a-z_]*' | sed "s/^/$room /"
done | sort >"$work/allowed"
grep -o '^#include "[a-z_]*/' */*.?pp | sed 's|/[^:]*:#include "| |; s|/$||' | sort -u >"$work/included"
test "$(wc -l <"$work/included")" -gt 7
comm -13 "$work/allowed" "$work/included" >"$work/against"
sed 's/ / uses /' "$work/against"
test ! -s "$work/against"
# Nothing of the stand-ins either.
! grep -n 'sim/\|board\.hpp\|fault_plan' -r . | grep include
