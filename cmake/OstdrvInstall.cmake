# What is installed, each file in one of four components: runtime, the library; development, what programs are built
# with; tools, the command-line tool; simulator, the simulated board and its launcher. The stand-ins and their headers
# go into directories of their own: a workstation may have the platform's real libraries, and nothing but libostdrv and
# the launcher should ever find these.

include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/ostdrv)
install(FILES ${PROJECT_SOURCE_DIR}/include/ostdrv.h TYPE INCLUDE COMPONENT development)
install(TARGETS ostdrv LIBRARY COMPONENT runtime NAMELINK_COMPONENT development)

if(on_sim)
  set(simulator ostdrv_platform_atecc ostdrv_platform_trustx ostdrv_platform_kset ostdrv_sim_core ostdrv_board
                ostdrv_board_led)
  foreach(name atecc trustx kset)
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/sim/${name}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ostdrv-sim
            COMPONENT development)
  endforeach()
  set_target_properties(ostdrv PROPERTIES INSTALL_RPATH "$ORIGIN/ostdrv-sim")
  set_target_properties(${simulator} PROPERTIES INSTALL_RPATH "$ORIGIN")
  install(TARGETS ${simulator} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/ostdrv-sim COMPONENT simulator)
endif()

# Installed programs find the libraries from their own place, but for one that the loader finds by itself.
set(system_libdir OFF)
if(CMAKE_INSTALL_FULL_LIBDIR IN_LIST CMAKE_C_IMPLICIT_LINK_DIRECTORIES)
  set(system_libdir ON)
endif()
if(OSTDRV_BUILD_TOOLS)
  file(RELATIVE_PATH to_libraries ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
  if(on_sim AND NOT system_libdir)
    set_target_properties(ostdrv_tool PROPERTIES INSTALL_RPATH "$ORIGIN/${to_libraries}")
  endif()
  install(TARGETS ostdrv_tool COMPONENT tools)
  if(on_sim)
    set_target_properties(ostdrv-sim PROPERTIES INSTALL_RPATH "$ORIGIN/${to_libraries}/ostdrv-sim")
    install(TARGETS ostdrv-sim COMPONENT simulator)
    install(PROGRAMS ${PROJECT_SOURCE_DIR}/demo.sh DESTINATION ${CMAKE_INSTALL_DATADIR}/ostdrv-sim
            COMPONENT simulator)
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/demo DESTINATION ${CMAKE_INSTALL_DATADIR}/ostdrv-sim
            COMPONENT simulator)
  endif()
endif()

if(TARGET manual)
  # A cross build may be without the pages of the commands, the virtual board's is without all.
  set(manual ${PROJECT_BINARY_DIR}/docs/manual)
  install(DIRECTORY ${manual}/man3 ${manual}/man7 TYPE MAN COMPONENT development OPTIONAL)
  install(DIRECTORY ${manual}/man1 TYPE MAN COMPONENT tools OPTIONAL PATTERN ostdrv-sim.1 EXCLUDE)
  install(FILES ${manual}/man1/ostdrv-sim.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT simulator OPTIONAL)
endif()
if(TARGET completions)
  set(completions ${PROJECT_BINARY_DIR}/docs/completions)
  # A Debian package has a directory of its own there.
  set(zsh_dir zsh/site-functions)
  if(CMAKE_INSTALL_PREFIX STREQUAL "/usr" AND EXISTS /etc/debian_version)
    set(zsh_dir zsh/vendor-completions)
  endif()
  foreach(pair tools,ostdrv simulator,ostdrv-sim)
    string(REPLACE "," ";" pair ${pair})
    list(POP_FRONT pair component program)
    install(FILES ${completions}/bash/${program} DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
            COMPONENT ${component} OPTIONAL)
    install(FILES ${completions}/zsh/_${program} DESTINATION ${CMAKE_INSTALL_DATADIR}/${zsh_dir}
            COMPONENT ${component} OPTIONAL)
  endforeach()
endif()

# Neither of the two that follow names a directory of this machine: they find the installed tree from their own place,
# so that it can be moved, and the platform is searched for where a program is built.
set(OSTDRV_ATECC_INCLUDE_SUFFIXES ${OSTDRV_ATECC_NAME} cryptoauthlib)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/ostdrvConfig.cmake.in
  ${PROJECT_BINARY_DIR}/ostdrvConfig.cmake INSTALL_DESTINATION ${package_dir}
  PATH_VARS CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_INCLUDEDIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ostdrvConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ostdrvConfig.cmake ${PROJECT_BINARY_DIR}/ostdrvConfigVersion.cmake
        DESTINATION ${package_dir} COMPONENT development)

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

set(pc_cflags "")
set(pc_rpath "")
if(on_sim)
  set(pc_cflags "-I\${includedir}/ostdrv-sim")
  # A simulated board is tried from wherever it was installed, so programs remember where that was.
  if(NOT system_libdir)
    set(pc_rpath "-Wl,-rpath,\${libdir}")
  endif()
else()
  # Headers in a directory of their own are in the one of that name where programs are built.
  get_filename_component(directory "${OSTDRV_ATECC_INCLUDE_DIR}" NAME)
  if(directory IN_LIST OSTDRV_ATECC_INCLUDE_SUFFIXES)
    set(pc_cflags "-I\${includedir}/${directory}")
  endif()
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/ostdrv.pc.in ${PROJECT_BINARY_DIR}/ostdrv.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/ostdrv.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
