# The platform's own libraries on a device. For each of ATECC, TRUSTX and KSET these can be set on the command line:
#
#   OSTDRV_<one>_NAME          name of the library, without "lib" and ".so"
#   OSTDRV_<one>_LIBRARY       the library's file, when it should not be searched for
#   OSTDRV_<one>_INCLUDE_DIR   the directory of its header

function(ostdrv_platform_library target library header)
  string(TOUPPER ${target} prefix)
  set(OSTDRV_${prefix}_NAME ${library} CACHE STRING "Name of the platform library behind ${header}")
  find_path(OSTDRV_${prefix}_INCLUDE_DIR ${header} PATH_SUFFIXES ${OSTDRV_${prefix}_NAME} cryptoauthlib
            DOC "Directory of ${header}")
  find_library(OSTDRV_${prefix}_LIBRARY NAMES ${OSTDRV_${prefix}_NAME} DOC "Platform library behind ${header}")
  add_library(ostdrv_platform_${target} UNKNOWN IMPORTED GLOBAL)
  foreach(what IN ITEMS INCLUDE_DIR LIBRARY)
    if(NOT OSTDRV_${prefix}_${what})
      set_property(GLOBAL APPEND PROPERTY ostdrv_platform_missing OSTDRV_${prefix}_${what})
    endif()
  endforeach()
  set_target_properties(ostdrv_platform_${target} PROPERTIES
    IMPORTED_LOCATION "${OSTDRV_${prefix}_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${OSTDRV_${prefix}_INCLUDE_DIR}")
endfunction()

ostdrv_platform_library(atecc cryptoauth cryptoauthlib.h)
ostdrv_platform_library(trustx trustx trustx.h)
ostdrv_platform_library(kset kset kset.h)

get_property(ostdrv_platform_missing GLOBAL PROPERTY ostdrv_platform_missing)
if(ostdrv_platform_missing)
  list(JOIN ostdrv_platform_missing ", " ostdrv_platform_missing)
  message(FATAL_ERROR "the platform's headers or libraries were not found; set ${ostdrv_platform_missing}")
endif()
