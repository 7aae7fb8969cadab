# What both Windows cross-builds share, after the including toolchain file
# set CMAKE_SYSTEM_PROCESSOR and KALVEX_MINGW_TRIPLE: Debian's mingw-w64
# with posix threads, as the Qt for Windows was made with. The Qt for
# Windows comes in through CMAKE_PREFIX_PATH; moc, rcc and uic through
# QT_HOST_PATH.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_C_COMPILER ${KALVEX_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${KALVEX_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${KALVEX_MINGW_TRIPLE}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${KALVEX_MINGW_TRIPLE} ${CMAKE_PREFIX_PATH})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
