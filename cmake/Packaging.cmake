# Debian packages made by CPack (make deb): libkalvex0 (library and data),
# libkalvex-dev (header, pkg-config and CMake files), kalvex-tools (the
# programs). Dependencies on other libraries come from dpkg-shlibdeps.
# Configure with -DCMAKE_INSTALL_PREFIX=/usr -DKALVEX_DEB=ON.
option(KALVEX_DEB "Install the files Debian packages carry (copyright, changelog)" OFF)

set(KALVEX_DEB_MAINTAINER "QMB GmbH <kalvex@qmb.de>")
set(KALVEX_DEB_PACKAGES runtime libkalvex0 dev libkalvex-dev tools kalvex-tools)

# Each package's /usr/share/doc/<package>: copyright and changelog.
function(kalvex_install_deb_docs)
  string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
  if(DEFINED ENV{SOURCE_DATE_EPOCH})
    set(date "Thu, 01 Jan 2026 00:00:00 +0000")
  endif()
  file(WRITE ${CMAKE_BINARY_DIR}/deb/changelog.Debian
    "kalvex (${PROJECT_VERSION}-1) unstable; urgency=medium\n\n"
    "  * Release ${PROJECT_VERSION}.\n\n"
    " -- ${KALVEX_DEB_MAINTAINER}  ${date}\n")
  execute_process(COMMAND gzip -9n -f ${CMAKE_BINARY_DIR}/deb/changelog.Debian)
  set(packages ${KALVEX_DEB_PACKAGES})
  while(packages)
    list(POP_FRONT packages component package)
    install(FILES ${CMAKE_SOURCE_DIR}/packaging/copyright ${CMAKE_BINARY_DIR}/deb/changelog.Debian.gz
      DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
  endwhile()
endfunction()

if(KALVEX_DEB)
  kalvex_install_deb_docs()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kalvex)
set(CPACK_PACKAGE_VENDOR "QMB GmbH")
set(CPACK_PACKAGE_CONTACT ${KALVEX_DEB_MAINTAINER})
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev tools)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://docs.kalvex.de/")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libkalvex0)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# Qt loads its SQL drivers as plugins, which dpkg-shlibdeps cannot see: the
# default store needs SQLite's, the server stores their own.
# An old Access store is converted at the first start by kalvex-dbconvert
# (in this package), which reads it with mdbtools: without them the old
# mails could not be taken over.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "libqt6sql6-sqlite, mdbtools")
# The dictionaries for spell checking in the editors (without them it is off).
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS "xdg-utils, hunspell-de-de, hunspell-en-us")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SUGGESTS "kalvex-tools, libqt6sql6-mysql, libqt6sql6-odbc")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
# ldconfig runs through dpkg's trigger after the library came or went.
configure_file(${CMAKE_SOURCE_DIR}/packaging/libkalvex0.triggers ${CMAKE_BINARY_DIR}/deb/runtime/triggers COPYONLY)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${CMAKE_BINARY_DIR}/deb/runtime/triggers)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "mailing module for desktop business programs
Kalvex is the e-mail module that host programs load through a small C
interface: mails written once from templates filled with the host's data,
recipients from the host's address database or the module's own address
book, sent by SMTP or handed to the desktop's mail program, and kept in an
SQLite store.

This package holds the shared library, its translations and
kalvex-dbconvert, which takes over an old Access store at the first start.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libkalvex-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEV_DEPENDS runtime)
set(CPACK_COMPONENT_DEV_DESCRIPTION "mailing module for desktop business programs - development files
Kalvex is the e-mail module that host programs load through a small C
interface.

This package holds the C header kalvex/kalvex.h, the pkg-config file
kalvex.pc and the CMake package Kalvex (imported target Kalvex::kalvex).")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME kalvex-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION mail)
set(CPACK_COMPONENT_TOOLS_DEPENDS runtime)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS "xdg-utils")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "mailing module for desktop business programs - programs
Kalvex is the e-mail module that host programs load through a small C
interface.

This package holds the command line kalvex (send, store and list mails)
and kalvex-demo-host, a host program that drives the module through its C
interface.")

include(CPack)
