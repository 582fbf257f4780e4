# The platform's own libraries on a device. Every name and place can be overridden on the command line.

function(ostdrv_platform_library target library header)
  string(TOUPPER ${target} prefix)
  set(OSTDRV_${prefix}_NAME ${library} CACHE STRING "Name of the platform library behind ${header}")
  find_path(OSTDRV_${prefix}_INCLUDE_DIR ${header} PATH_SUFFIXES ${library} cryptoauthlib REQUIRED)
  find_library(OSTDRV_${prefix}_LIBRARY ${OSTDRV_${prefix}_NAME} REQUIRED)
  add_library(ostdrv_platform_${target} UNKNOWN IMPORTED GLOBAL)
  set_target_properties(ostdrv_platform_${target} PROPERTIES
    IMPORTED_LOCATION ${OSTDRV_${prefix}_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${OSTDRV_${prefix}_INCLUDE_DIR})
endfunction()

ostdrv_platform_library(atecc cryptoauth cryptoauthlib.h)
ostdrv_platform_library(trustx trustx trustx.h)
ostdrv_platform_library(kset kset kset.h)
