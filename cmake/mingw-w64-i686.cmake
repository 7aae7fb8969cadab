# Cross-building kalvex.dll for 32-bit Windows hosts with Debian's mingw-w64
# (posix threads, as the prebuilt Qt was made with). The Qt for Windows
# comes in through CMAKE_PREFIX_PATH; moc, rcc and uic through QT_HOST_PATH.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR i686)

set(KALVEX_MINGW_TRIPLE i686-w64-mingw32)
set(CMAKE_C_COMPILER ${KALVEX_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${KALVEX_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${KALVEX_MINGW_TRIPLE}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${KALVEX_MINGW_TRIPLE} ${CMAKE_PREFIX_PATH})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
