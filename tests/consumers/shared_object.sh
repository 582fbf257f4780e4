# What the shipped file promises to the dynamic loader.
library=$LIBDIR/libostdrv.so
failed=0
fail() {
    echo "$*"
    failed=1
}
dynamic=$("$READELF" -dW "$library")
segments=$("$READELF" -lW "$library")
sections=$("$READELF" -SW "$library")

echo "$dynamic" | grep -q 'SONAME.*\[libostdrv\.so\.1\]' || fail "soname is not libostdrv.so.1"
needed=$(echo "$dynamic" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
for name in $needed; do
    case $name in
        libc.so.6 | libm.so.6 | ld-linux*.so.* | libcryptoauth.so | libtrustx.so | libkset.so) ;;
        *) fail "needs $name" ;;
    esac
done

# The compiler's own start-up files put one pointer there; a static constructor would add another.
size=$(echo "$sections" | sed -n 's/.* \.init_array *INIT_ARRAY *[0-9a-f]* [0-9a-f]* \([0-9a-f]*\) .*/\1/p')
test "$size" = 000008 || fail "static constructors: .init_array has 0x$size bytes"
echo "$sections" | grep -q ' \.ctors ' && fail "has .ctors"

echo "$segments" | grep 'GNU_STACK' | grep -q ' RW  *0x' || fail "the stack is executable"
echo "$segments" | grep -q 'GNU_RELRO' || fail "no RELRO"
echo "$dynamic" | grep -q 'BIND_NOW' || fail "not bound at load time, so RELRO is partial"
echo "$dynamic" | grep -q 'TEXTREL' && fail "relocations in code"
# A program that refers to exported data gets a copy of it, which the library must then use too.
echo "$dynamic" | grep -q 'SYMBOLIC' && fail "binds its exported data to itself"
exit $failed
