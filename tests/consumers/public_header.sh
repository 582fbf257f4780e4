# The public header compiles alone, without a warning, as C11 and as C++17.
warnings="-Wall -Wextra -Wpedantic -Werror -fsyntax-only"
includes="-I$PREFIX/include -I$PREFIX/include/ostdrv-sim"
"$CC" -std=c11 -Wstrict-prototypes $warnings $includes -x c "$PREFIX/include/ostdrv.h"
"$CXX" -std=c++17 $warnings $includes -x c++ "$PREFIX/include/ostdrv.h"
