set(LUM_MINGW_PROCESSOR x86_64)
include("${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake")
