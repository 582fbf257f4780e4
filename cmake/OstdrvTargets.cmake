# What every target of the project has in common, and what the shipped library has on top of it.

find_program(CCACHE ccache)
if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
  set(CMAKE_C_COMPILER_LAUNCHER ${CCACHE})
endif()

set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

set(ostdrv_warnings
  -Wall -Wextra -Wconversion -Wshadow -Wpointer-arith -Wcast-qual -Wcast-align -Wformat=2 -Wundef
  -Wdouble-promotion -Wvla -Wredundant-decls -Wimplicit-fallthrough
  $<$<COMPILE_LANGUAGE:C>:-Wstrict-prototypes> $<$<COMPILE_LANGUAGE:C>:-Wmissing-prototypes>
  $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast> $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
  $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual> $<$<COMPILE_LANGUAGE:CXX>:-Wextra-semi>
  $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond> $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-branches>
  $<$<CXX_COMPILER_ID:GNU>:-Wlogical-op>
  # GCC 12 sees overlapping copies in std::string's operator+ where there are none.
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)

# Warnings, sanitizers and the language level. Nothing of it reaches users of an installed target.
function(ostdrv_common target)
  set_target_properties(${target} PROPERTIES CXX_STANDARD 20 CXX_STANDARD_REQUIRED ON CXX_EXTENSIONS OFF
                                             C_STANDARD 11 C_STANDARD_REQUIRED ON)
  target_compile_options(${target} PRIVATE ${ostdrv_warnings})
  if(OSTDRV_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(OSTDRV_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${OSTDRV_SANITIZE} -fno-sanitize-recover=all
                                             -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=${OSTDRV_SANITIZE})
  endif()
endfunction()

# The shipped library: nothing of the C++ run-time library, hidden names, hardened.
function(ostdrv_freestanding_cxx target)
  target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti
                                           -fno-threadsafe-statics> -fstack-protector-strong -fstack-clash-protection)
  if(OSTDRV_COVERAGE)
    target_compile_options(${target} PRIVATE --coverage -fprofile-update=atomic)
    target_link_options(${target} PRIVATE --coverage)
  endif()
  if(NOT OSTDRV_SANITIZE)
    target_compile_options(${target} PRIVATE
      $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
    target_link_options(${target} PRIVATE -Wl,-z,defs)
  endif()
  set_target_properties(${target} PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  target_link_options(${target} PRIVATE -Wl,--as-needed -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
endfunction()
