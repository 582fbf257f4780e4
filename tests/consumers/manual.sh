# The installed manual: every exported name and every command has a page, every reference leads to one, and the pages
# are well-formed. What the header says arrives in them. The same of the reference for a browser.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export LC_ALL=C
cd "$MANUAL"

sed -n '/global:/,/local:/s/^ *\([a-z_][A-Za-z0-9_]*\);.*/man3\/\1.3/p' "$SOURCE/src/ostdrv.map" >"$work/wanted"
test "$(wc -l <"$work/wanted")" -gt 100
echo man7/libostdrv.7 >>"$work/wanted"
if test -e "$PREFIX/bin/ostdrv"; then
    $EMULATOR "$PREFIX/bin/ostdrv" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/man1\/ostdrv-\1.1/p' >"$work/commands"
    test "$(wc -l <"$work/commands")" -gt 10
    cat "$work/commands" >>"$work/wanted"
    printf 'man1/%s.1\n' ostdrv ostdrv-sim >>"$work/wanted"
fi
# Where a page refers to: "Xr NAME VOLUME".
grep -Rho 'Xr [A-Za-z_0-9-]* [137]' . | sed 's/Xr \(.*\) \(.\)/man\2\/\1.\2/' | sort -u >"$work/references"
test -s "$work/references"
cat "$work/wanted" "$work/references" | while read -r page; do
    test -s "$page" || { echo "there is no $page"; exit 1; }
done

# mandoc looks for what is referred to where the system's own pages are.
find . -type f | xargs mandoc -T lint | grep -v 'referenced manual not found' && exit 1

# In the reference every link leads somewhere: to a file, and to a place in it.
"$CMAKE" --build "$BUILD" --target reference >"$work/log" || { cat "$work/log"; exit 1; }
(
    cd "$BUILD/docs/reference"
    for file in *.html; do
        grep -o 'href="[^"]*"' $file | sed "s/href=\"#/href=\"$file#/; s/href=\"\(.*\)\"/\1/" >>"$work/links"
        { echo "$file"; grep -o ' id="[^"]*"' $file | sed "s/ id=\"\(.*\)\"/$file#\1/"; } >>"$work/places"
    done
)
test "$(wc -l <"$work/links")" -gt 500
sort -u "$work/links" >"$work/sorted-links"
sort "$work/places" | uniq -d | grep . && exit 1
sort "$work/places" | comm -23 "$work/sorted-links" - | grep . && exit 1

page() { mandoc -T ascii "$1" | sed 's/.\x08//g'; }
page man3/x_sysfs_contains.3 | grep -q '^ *0  *none does$'
page man3/tpm_read_slot.3 | grep -q '^ *TPM_ERR_LOCKED (4)$'
page man3/g_csr_template.3 | grep -q 'uint8_t g_csr_template\[237\];'
page man7/libostdrv.7 | grep -q '^ *X_SHELL_DEBUG$'
if test -e man1/ostdrv.1; then
    page man1/ostdrv-gpio.1 | grep -q 'ostdrv gpio edge \[--json\] LINE\[=falling|rising|both\] \.\.\.'
    page man1/ostdrv-eeprom.1 | grep -q '{--md5 HEX | --from DIR}'
    page man1/ostdrv-sim.1 | grep -q '^ *OSTDRV_SIM_ROOT$'
fi
