# The library exports what the version script lists, and that is what the public header declares. The sweep of failing
# calls leaves no function out.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export LC_ALL=C

"$NM" -D --defined-only "$LIBDIR/libostdrv.so" | sed 's/.* //; s/@.*//' | grep -v '^OSTDRV_[0-9]*$' |
    sort >"$work/exported"
sed -n '/global:/,/local:/s/^ *\([a-z_][A-Za-z0-9_]*\);.*/\1/p' "$SOURCE/src/ostdrv.map" | sort >"$work/listed"

# The header's own declarations: types, bodies and inline functions dropped, one declaration a line, its name kept.
"$CC" -std=c11 -E -I"$PREFIX/include" -I"$PREFIX/include/ostdrv-sim" "$PREFIX/include/ostdrv.h" | awk '
    /^# [0-9]+ "/ { own = ($3 ~ /\/ostdrv\.h"$/); next }
    /^#/ { next }
    own {
        for (i = 1; i <= length($0); ++i) {
            c = substr($0, i, 1)
            if (c == "{") ++depth
            else if (c == "}") --depth
            else if (c == ";" && depth == 0) { print text; text = "" }
            else if (depth == 0) text = text c
        }
        text = text " "
    }' |
    grep -Ev '^ *(typedef|static|struct [a-z_]+ *$|enum *[a-z_]* *$|_Static_assert)' |
    sed 's/__attribute__ *((.*))//; s/(.*//; s/\[.*//; s/ *$//; s/.*[ *]//' | sort >"$work/declared"

test -s "$work/declared"
diff "$work/listed" "$work/exported" || { echo "<: in src/ostdrv.map, >: exported"; exit 1; }
diff "$work/declared" "$work/listed" || { echo "<: in ostdrv.h, >: in src/ostdrv.map"; exit 1; }

"$NM" -D --defined-only "$LIBDIR/libostdrv.so" | sed -n 's/.* [TW] \([a-z_0-9]*\).*/\1/p' | while read -r name; do
    grep -qw "$name" "$SOURCE/tests/sweep/sweep_test.cpp" || { echo "the sweep does not call $name"; exit 1; }
done
