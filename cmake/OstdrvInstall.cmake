# What is installed: the library with its header, pkg-config file and CMake package. On the simulated platform the
# stand-ins and their headers come along, in directories of their own: a workstation may have the platform's real
# libraries, and nothing but libostdrv and the launcher should ever find these.

include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/ostdrv)
set(installed ostdrv)
install(FILES ${PROJECT_SOURCE_DIR}/include/ostdrv.h TYPE INCLUDE COMPONENT development)

if(on_sim)
  set(stand_ins ostdrv_platform_atecc ostdrv_platform_trustx ostdrv_platform_kset ostdrv_sim_core)
  foreach(name atecc trustx kset)
    set_target_properties(ostdrv_platform_${name} PROPERTIES EXPORT_NAME platform_${name})
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/sim/${name}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ostdrv-sim
            COMPONENT development)
  endforeach()
  set_target_properties(ostdrv_sim_core PROPERTIES EXPORT_NAME sim_core)
  set_target_properties(ostdrv PROPERTIES INSTALL_RPATH "$ORIGIN/ostdrv-sim")
  set_target_properties(${stand_ins} ostdrv_board PROPERTIES INSTALL_RPATH "$ORIGIN")
  install(TARGETS ${stand_ins} EXPORT ostdrv LIBRARY DESTINATION ${OSTDRV_SIM_LIBDIR} COMPONENT simulator)
  install(TARGETS ostdrv_board ostdrv_board_led LIBRARY DESTINATION ${OSTDRV_SIM_LIBDIR} COMPONENT simulator)
else()
  install(FILES ${CMAKE_CURRENT_LIST_DIR}/OstdrvDevicePlatform.cmake DESTINATION ${package_dir} COMPONENT development)
endif()

install(TARGETS ostdrv EXPORT ostdrv
        LIBRARY COMPONENT runtime NAMELINK_COMPONENT development)
install(EXPORT ostdrv NAMESPACE ostdrv:: FILE ostdrvTargets.cmake DESTINATION ${package_dir} COMPONENT development)

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/ostdrvConfig.cmake.in
  ${PROJECT_BINARY_DIR}/ostdrvConfig.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ostdrvConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ostdrvConfig.cmake ${PROJECT_BINARY_DIR}/ostdrvConfigVersion.cmake
        DESTINATION ${package_dir} COMPONENT development)

# The pkg-config file finds its prefix from its own place, so that an installed tree can be moved.
function(ostdrv_pc_directory variable directory)
  if(IS_ABSOLUTE ${directory})
    set(${variable} ${directory} PARENT_SCOPE)
  else()
    set(${variable} "\${prefix}/${directory}" PARENT_SCOPE)
  endif()
endfunction()

if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
  set(pc_prefix ${CMAKE_INSTALL_PREFIX})
else()
  file(RELATIVE_PATH up /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
  string(REGEX REPLACE "/$" "" up "${up}")
  set(pc_prefix "\${pcfiledir}/${up}")
endif()
ostdrv_pc_directory(pc_libdir ${CMAKE_INSTALL_LIBDIR})
ostdrv_pc_directory(pc_includedir ${CMAKE_INSTALL_INCLUDEDIR})

if(on_sim)
  # A simulated board is tried from wherever it was installed, so programs remember where that was.
  set(pc_cflags "-I\${includedir}/ostdrv-sim")
  set(pc_libs "-Wl,-rpath,\${libdir}")
  set(pc_private "-L\${libdir}/ostdrv-sim -lcryptoauth -ltrustx -lkset -lm")
else()
  set(pc_cflags "")
  set(pc_libs "")
  set(pc_private "")
  set(directories "${OSTDRV_ATECC_INCLUDE_DIR}")
  list(REMOVE_ITEM directories ${CMAKE_C_IMPLICIT_INCLUDE_DIRECTORIES})
  foreach(directory IN LISTS directories)
    string(APPEND pc_cflags "-I${directory}")
  endforeach()
  foreach(library IN LISTS OSTDRV_ATECC_LIBRARY OSTDRV_TRUSTX_LIBRARY OSTDRV_KSET_LIBRARY OSTDRV_PLATFORM_LIBRARIES)
    get_filename_component(directory "${library}" DIRECTORY)
    get_filename_component(name "${library}" NAME)
    string(REGEX REPLACE "^lib(.*)\\.(so|a).*$" "-l\\1" name "${name}")
    if(directory AND NOT directory IN_LIST CMAKE_C_IMPLICIT_LINK_DIRECTORIES)
      string(PREPEND name "-L${directory} ")
    endif()
    string(APPEND pc_private "${name} ")
  endforeach()
  string(APPEND pc_private "-lm")
  if(CMAKE_SYSROOT)  # pkg-config puts it in front again
    string(REPLACE "${CMAKE_SYSROOT}" "" pc_cflags "${pc_cflags}")
    string(REPLACE "${CMAKE_SYSROOT}" "" pc_private "${pc_private}")
  endif()
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/ostdrv.pc.in ${PROJECT_BINARY_DIR}/ostdrv.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/ostdrv.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
