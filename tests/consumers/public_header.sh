# The public header compiles alone, without a warning, as C11 and as C++17.
warnings="-Wall -Wextra -Wpedantic -Werror -fsyntax-only"
includes="-I$PREFIX/include -I$PREFIX/include/ostdrv-sim"
"$CC" -std=c11 -Wstrict-prototypes $warnings $includes -x c "$PREFIX/include/ostdrv.h"
# A program's own macros do not get into it.
"$CC" -std=c11 -Dformat=own -Dprintf=own_print $warnings $includes -x c "$PREFIX/include/ostdrv.h"
"$CXX" -std=c++17 $warnings $includes -x c++ "$PREFIX/include/ostdrv.h"

# Who needs none of its types can do without the ATECC library's header; who says nothing gets it.
echo 'int main(void) { return x_gpio_util_set(5, 1) + tpm_cert_lock_device_cert(); }' |
    "$CC" -std=c11 $warnings -DOSTDRV_WITHOUT_CRYPTOAUTHLIB -I"$PREFIX/include" -include ostdrv.h -x c -
echo 'int main(void) { return (int)sizeof(ATCAIfaceCfg) + atcab_init(g_atca_iface_cfg); }' |
    "$CC" -std=c11 $warnings $includes -include ostdrv.h -x c -
