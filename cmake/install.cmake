# What "cmake --install" puts where: the library on its own, and the desk beside it under names of its own.

install(TARGETS vell vell_static LIBRARY ARCHIVE)
install(FILES include/vell.h TYPE INCLUDE)

# From where the .pc files lie back to the prefix, so that an installed tree may be moved.
file(RELATIVE_PATH pc_to_prefix /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)

# vell_pkg_config(name description cflags libs)
function(vell_pkg_config name description cflags libs)
  file(
    GENERATE
    OUTPUT ${CMAKE_BINARY_DIR}/${name}.pc
    CONTENT
      "prefix=\${pcfiledir}/${pc_to_prefix}
libdir=\${prefix}/${CMAKE_INSTALL_LIBDIR}
includedir=\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}

Name: ${name}
Description: ${description}
Version: ${PROJECT_VERSION}
Cflags: ${cflags}
Libs: ${libs}
")
  install(FILES ${CMAKE_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()

vell_pkg_config(vell "${PROJECT_DESCRIPTION}" "-I\${includedir}" "-L\${libdir} -lvell")

if(VELL_DESK)
  set(desk_libdir ${CMAKE_INSTALL_LIBDIR}/vell-desk)
  install(TARGETS nerb kyt qarnutils tlv tessel LIBRARY DESTINATION ${desk_libdir})
  install(TARGETS vellsim vellfeed RUNTIME)
  set_target_properties(
    vellsim vellfeed PROPERTIES INSTALL_RPATH
                                "$ORIGIN/../${CMAKE_INSTALL_LIBDIR};$ORIGIN/../${desk_libdir}")
  set_target_properties(nerb kyt qarnutils tlv tessel PROPERTIES INSTALL_RPATH "$ORIGIN")
  install(DIRECTORY platform/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vell-desk FILES_MATCHING PATTERN "*.h")
  install(FILES sim/kyt/kyt_desk.h sim/nerb/nerb_desk.h sim/qarnutils/qarnutils_desk.h
          DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vell-desk)
  vell_pkg_config(vell-desk "Desk platform for clients of the vell service" "-I\${includedir}/vell-desk"
                  "-L\${libdir}/vell-desk -lnerb -lkyt -lqarnutils -ltlv -ltessel")
endif()
