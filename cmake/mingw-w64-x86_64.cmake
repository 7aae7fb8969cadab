# Cross-building kalvex.dll for 64-bit Windows.
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(KALVEX_MINGW_TRIPLE x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64-common.cmake)
