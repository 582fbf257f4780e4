# How everything in this directory and below is compiled: language level, warnings, sanitizers. Nothing of it reaches
# users of an installed target, nor the rest of a larger project that this one is a part of.

find_program(CCACHE ccache)
if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
  set(CMAKE_C_COMPILER_LAUNCHER ${CCACHE})
endif()

set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)

add_compile_options(
  -Wall -Wextra -Wconversion -Wshadow -Wpointer-arith -Wcast-qual -Wcast-align -Wformat=2 -Wundef
  -Wdouble-promotion -Wvla -Wredundant-decls -Wimplicit-fallthrough
  "$<$<COMPILE_LANGUAGE:C>:-Wstrict-prototypes;-Wmissing-prototypes>"
  "$<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast;-Wnon-virtual-dtor;-Woverloaded-virtual;-Wextra-semi>"
  # GCC 12 sees overlapping copies in std::string's operator+ where there are none.
  "$<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond;-Wduplicated-branches;-Wlogical-op;-Wno-restrict>")
# CMAKE_UNITY_BUILD, as some presets have it, halves the time of the stand-ins and the tests. Files compiled together see
# each other's names, and gcc takes their types for types of a header.
set(together $<BOOL:$<TARGET_PROPERTY:UNITY_BUILD>>)
add_compile_options(
  $<${together}:-Wno-shadow> $<$<AND:${together},$<COMPILE_LANG_AND_ID:CXX,GNU>>:-Wno-subobject-linkage>)
# Around the library line numbers are enough where code is optimised or sanitized, and they compile a fifth faster.
set(line_numbers_are_enough $<CONFIG:RelWithDebInfo>)
if(OSTDRV_SANITIZE)
  set(line_numbers_are_enough 1)
endif()
add_compile_options($<${line_numbers_are_enough}:-g1>)
if(OSTDRV_WERROR)
  add_compile_options(-Werror)
endif()
if(OSTDRV_SANITIZE)
  add_compile_options(-fsanitize=${OSTDRV_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${OSTDRV_SANITIZE})
endif()
