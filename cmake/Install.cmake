# The installation a host vendor finds with the usual tools: the library with
# its SONAME, the header, the programs, the module's data under
# share/kalvex, a pkg-config file and a CMake package (Kalvex::kalvex).
# Components: runtime (library and data), dev (for building hosts), tools.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(KALVEX_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Kalvex)

install(TARGETS kalvex EXPORT KalvexTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES ${KALVEX_TRANSLATIONS_DB} DESTINATION ${CMAKE_INSTALL_DATADIR}/kalvex COMPONENT runtime)
install(FILES ${CMAKE_SOURCE_DIR}/include/kalvex/kalvex.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kalvex
  COMPONENT dev)

foreach(program kalvex-cli kalvex-demo-host)
  if(TARGET ${program})
    install(TARGETS ${program} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  endif()
endforeach()
# The whole command line, which kalvex hands every command but list and
# show: beside it, so that both find the site's Regpath.ini in one folder.
if(TARGET kalvex-full)
  install(TARGETS kalvex-full RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
endif()
# The library runs the converter of old Access stores itself: it comes with it.
if(TARGET kalvex-dbconvert)
  install(TARGETS kalvex-dbconvert RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
endif()

# pkg-config
configure_file(${CMAKE_CURRENT_LIST_DIR}/kalvex.pc.in ${CMAKE_BINARY_DIR}/kalvex.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/kalvex.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)

# find_package(Kalvex): relocatable, it finds itself from its own folder.
install(EXPORT KalvexTargets NAMESPACE Kalvex:: DESTINATION ${KALVEX_CMAKE_DIR} COMPONENT dev)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/KalvexConfig.cmake.in
  ${CMAKE_BINARY_DIR}/KalvexConfig.cmake INSTALL_DESTINATION ${KALVEX_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/KalvexConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/KalvexConfig.cmake ${CMAKE_BINARY_DIR}/KalvexConfigVersion.cmake
  DESTINATION ${KALVEX_CMAKE_DIR} COMPONENT dev)

# The programs' man pages (compressed, as Debian keeps them) and the
# command line's bash completion.
foreach(page kalvex-dbconvert/kalvex-dbconvert demo-host/kalvex-demo-host)
  get_filename_component(name ${page} NAME)
  add_custom_command(OUTPUT ${CMAKE_BINARY_DIR}/man/${name}.1.gz
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/man
    COMMAND gzip -9n -c ${CMAKE_SOURCE_DIR}/apps/${page}.1 > ${CMAKE_BINARY_DIR}/man/${name}.1.gz
    DEPENDS ${CMAKE_SOURCE_DIR}/apps/${page}.1)
  list(APPEND KALVEX_MAN_PAGES ${CMAKE_BINARY_DIR}/man/${name}.1.gz)
endforeach()
add_custom_target(kalvex_program_manpages ALL DEPENDS ${KALVEX_MAN_PAGES})
install(FILES ${CMAKE_BINARY_DIR}/man/kalvex-dbconvert.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT runtime)
install(FILES ${CMAKE_BINARY_DIR}/man/kalvex-demo-host.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
if(TARGET kalvex-cli)
  install(FILES ${CMAKE_BINARY_DIR}/apps/kalvex/kalvex.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
  if(TARGET kalvex-full)   # the same command line, the same page
    install(FILES ${CMAKE_BINARY_DIR}/apps/kalvex/kalvex.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
      RENAME kalvex-full.1.gz COMPONENT tools)
  endif()
  install(FILES ${CMAKE_SOURCE_DIR}/apps/kalvex/kalvex.bash-completion
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME kalvex COMPONENT tools)
endif()
