# The README's table of build options has every option, and no other.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
sed -En 's/^(cmake_dependent_)?option\((OSTDRV_[A-Z_]+) .*/\2/p; s/^set\((OSTDRV_[A-Z_]+) .* CACHE .*/\1/p' \
    "$SOURCE/CMakeLists.txt" | sort >"$work/options"
sed -n '/^## Build/,/^| Preset/s/^| `\(OSTDRV_[A-Z_]*\)` |.*/\1/p' "$SOURCE/README.md" | sort >"$work/table"
test -s "$work/options"
diff "$work/options" "$work/table" || { echo "<: in CMakeLists.txt, >: in README.md"; exit 1; }
