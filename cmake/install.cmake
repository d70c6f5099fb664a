# What "cmake --install" puts where, in four components:
#
#   runtime  the shared object
#   dev      what a client is built with: header, archive, vell.pc, find_package(vell), and the
#            platform's headers in a folder of their own, since a switch brings its own
#   sim      the simulator, vellfeed, and find_package(vell-sim); to build with it needs dev too
#   doc      manual pages, examples and texts
include(CMakePackageConfigHelpers)

install(TARGETS vell LIBRARY COMPONENT runtime NAMELINK_COMPONENT dev)
install(TARGETS vell_static ARCHIVE COMPONENT dev)
install(FILES include/vell.h TYPE INCLUDE COMPONENT dev)
install(DIRECTORY platform/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vell-platform COMPONENT dev
        FILES_MATCHING PATTERN "*.h")
install(FILES README.md CHANGELOG.md SECURITY.md LICENSE TYPE DOC COMPONENT doc)
install(DIRECTORY examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT doc
        FILES_MATCHING PATTERN "*.c")

# vell_pkg_config(name component description cflags libs). The prefix is written when the tree is
# installed, so that it follows "cmake --install --prefix", and pkg-config prints paths as a person
# would. For a tree that was moved, pkg-config has --define-prefix.
function(vell_pkg_config name component description cflags libs)
  set(template ${CMAKE_BINARY_DIR}/${name}.pc.in)
  file(
    WRITE ${template}
    "prefix=@prefix@
libdir=\${prefix}/${CMAKE_INSTALL_LIBDIR}
includedir=\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}

Name: ${name}
Description: ${description}
Version: ${PROJECT_VERSION}
Cflags: ${cflags}
Libs: ${libs}
")
  install(
    CODE "
    get_filename_component(prefix \"\${CMAKE_INSTALL_PREFIX}\" ABSOLUTE)
    set(file \"\${prefix}/${CMAKE_INSTALL_LIBDIR}/pkgconfig/${name}.pc\")
    message(STATUS \"Installing: \$ENV{DESTDIR}\${file}\")
    configure_file(\"${template}\" \"\$ENV{DESTDIR}\${file}\" @ONLY NO_SOURCE_PERMISSIONS)
    list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${file}\")"
    COMPONENT ${component})
endfunction()

# vell_cmake_package(name component): find_package(name), from cmake/<name>-config.cmake.in.
function(vell_cmake_package name component)
  set(destination ${CMAKE_INSTALL_LIBDIR}/cmake/${name})
  configure_package_config_file(
    cmake/${name}-config.cmake.in ${CMAKE_BINARY_DIR}/${name}-config.cmake
    INSTALL_DESTINATION ${destination} PATH_VARS CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_INCLUDEDIR
    NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
  write_basic_package_version_file(${CMAKE_BINARY_DIR}/${name}-config-version.cmake
                                   COMPATIBILITY SameMajorVersion)
  install(FILES ${CMAKE_BINARY_DIR}/${name}-config.cmake
                ${CMAKE_BINARY_DIR}/${name}-config-version.cmake
          DESTINATION ${destination} COMPONENT ${component})
endfunction()

vell_pkg_config(vell dev "${PROJECT_DESCRIPTION}" "-I\${includedir}" "-L\${libdir} -lvell")
vell_cmake_package(vell dev)

set(installed_targets vell vell_static)
if(VELL_SIM)
  set(platform_libraries nerb kyt qarnutils tlv tessel)
  set(simulator_libdir ${CMAKE_INSTALL_LIBDIR}/vell-sim)
  install(TARGETS ${platform_libraries} LIBRARY DESTINATION ${simulator_libdir} COMPONENT sim)
  install(TARGETS vellsim vellfeed RUNTIME COMPONENT sim)
  # Bash looks for a file of the program's name.
  foreach(program vellsim vellfeed)
    install(FILES completions/vellsim.bash RENAME ${program} COMPONENT sim
            DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  endforeach()
  list(APPEND installed_targets ${platform_libraries} vellsim vellfeed)
  list(APPEND installed_targets ${VELL_EXAMPLES})
  set_target_properties(
    vellfeed PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR};$ORIGIN/../${simulator_libdir}")
  set_target_properties(${platform_libraries} PROPERTIES INSTALL_RPATH "$ORIGIN")
  install(FILES sim/kyt/kyt_sim.h sim/nerb/nerb_sim.h sim/qarnutils/qarnutils_sim.h sim/wire/protocol.h
                sim/wire/vell_sim.h
          DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vell-sim COMPONENT sim)

  # A client of the simulator starts from any prefix. Where libvell lies is in here too: on a switch
  # that is the platform's choice, so vell.pc sets no run path.
  list(JOIN platform_libraries " -l" simulator_links)
  string(CONCAT simulator_libs "-L\${libdir}/vell-sim"
                " -Wl,-rpath,\${libdir} -Wl,-rpath,\${libdir}/vell-sim"
                " -l${simulator_links}")
  vell_pkg_config(vell-sim sim "Simulator for clients of the vell service"
                  "-I\${includedir}/vell-sim -I\${includedir}/vell-platform" "${simulator_libs}")
  vell_cmake_package(vell-sim sim)
endif()

# What "cmake --install" needs built, and the examples, to be tried at once: ./dev demo and ./dev
# install build this.
add_custom_target(installed DEPENDS ${installed_targets})
