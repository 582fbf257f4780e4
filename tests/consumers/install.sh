# Installs to one place and moves the result to another. Each file is in one of the components, and in no other.
rm -rf "$PREFIX" "$PREFIX-stage" "$PREFIX-component"
"$CMAKE" --install "$BUILD" --prefix "$PREFIX-stage" >"$PREFIX.log"
mv "$PREFIX-stage" "$PREFIX"

for component in runtime development tools simulator; do
    mkdir "$PREFIX-component"
    "$CMAKE" --install "$BUILD" --prefix "$PREFIX-component" --component $component >"$PREFIX.log"
    (cd "$PREFIX-component" && find . ! -type d)
    rm -rf "$PREFIX-component"
done | sort >"$PREFIX.components"
(cd "$PREFIX" && find . ! -type d) | sort | diff - "$PREFIX.components" || { echo "<: all, >: in a component"; exit 1; }
