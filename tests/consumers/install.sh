# Installs to one place and moves the result to another.
rm -rf "$PREFIX" "$PREFIX-stage"
"$CMAKE" --install "$BUILD" --prefix "$PREFIX-stage" >"$PREFIX.log"
mv "$PREFIX-stage" "$PREFIX"
