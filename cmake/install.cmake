# What "cmake --install" puts where: the library, and the simulator beside it in folders of its own.

install(TARGETS vell vell_static LIBRARY ARCHIVE)
install(FILES include/vell.h TYPE INCLUDE)

# vell_pkg_config(name description cflags libs). The prefix is written when the tree is installed, so
# that it follows "cmake --install --prefix", and pkg-config prints paths as a person would. For a
# tree that was moved, pkg-config has --define-prefix.
function(vell_pkg_config name description cflags libs)
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
    list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${file}\")")
endfunction()

vell_pkg_config(vell "${PROJECT_DESCRIPTION}" "-I\${includedir}" "-L\${libdir} -lvell")

set(installed_targets vell vell_static)
if(VELL_SIM)
  set(platform_libraries nerb kyt qarnutils tlv tessel)
  set(simulator_libdir ${CMAKE_INSTALL_LIBDIR}/vell-sim)
  install(TARGETS ${platform_libraries} LIBRARY DESTINATION ${simulator_libdir})
  install(TARGETS vellsim vellfeed RUNTIME)
  list(APPEND installed_targets ${platform_libraries} vellsim vellfeed)
  list(APPEND installed_targets ${VELL_EXAMPLES})
  set_target_properties(
    vellfeed PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR};$ORIGIN/../${simulator_libdir}")
  set_target_properties(${platform_libraries} PROPERTIES INSTALL_RPATH "$ORIGIN")
  install(DIRECTORY platform/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vell-sim
          FILES_MATCHING PATTERN "*.h")
  install(FILES sim/kyt/kyt_sim.h sim/nerb/nerb_sim.h sim/qarnutils/qarnutils_sim.h sim/wire/protocol.h
                sim/wire/vell_sim.h
          DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vell-sim)

  # A client of the simulator starts from any prefix. Where libvell lies is in here too: on a switch
  # that is the platform's choice, so vell.pc sets no run path.
  list(JOIN platform_libraries " -l" simulator_links)
  string(CONCAT simulator_libs "-L\${libdir}/vell-sim"
                " -Wl,-rpath,\${libdir} -Wl,-rpath,\${libdir}/vell-sim"
                " -l${simulator_links}")
  vell_pkg_config(vell-sim "Simulator for clients of the vell service"
                  "-I\${includedir}/vell-sim" "${simulator_libs}")
endif()

# What "cmake --install" needs built, and the examples, to be tried at once: ./dev demo and ./dev
# install build this.
add_custom_target(installed DEPENDS ${installed_targets})
