# GoogleTest and its mocks, as a package; from sources where FETCHCONTENT_SOURCE_DIR_GOOGLETEST says so, as the presets do
# for compilers for which no distribution has the package.
if(FETCHCONTENT_SOURCE_DIR_GOOGLETEST)
  include(FetchContent)
  set(INSTALL_GTEST OFF CACHE BOOL "Install GoogleTest with the project")
  FetchContent_Declare(googletest SOURCE_DIR "${FETCHCONTENT_SOURCE_DIR_GOOGLETEST}")
  FetchContent_GetProperties(googletest)
  if(NOT googletest_POPULATED)
    FetchContent_Populate(googletest)
    add_subdirectory("${googletest_SOURCE_DIR}" "${googletest_BINARY_DIR}" EXCLUDE_FROM_ALL)
  endif()
else()
  find_package(GTest 1.12 CONFIG QUIET)
endif()
if(NOT TARGET GTest::gmock)
  message(FATAL_ERROR
    "The tests need GoogleTest 1.12 or newer with its mocks, and find_package(GTest) finds none. Install it (Debian: "
    "libgtest-dev and libgmock-dev; vcpkg: gtest), set CMAKE_PREFIX_PATH or GTest_DIR, or set "
    "FETCHCONTENT_SOURCE_DIR_GOOGLETEST to its sources. Without tests: -DLUM_BUILD_TESTS=OFF.")
endif()
