# Cross-building kalvex.dll for 32-bit Windows hosts.
set(CMAKE_SYSTEM_PROCESSOR i686)
set(KALVEX_MINGW_TRIPLE i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64-common.cmake)
