# CTest and the test explorers that stand on it see every test by its own name. A program is asked for its tests when they
# are listed or run, so that building asks nothing of an emulator.

include(GoogleTest)

if(CMAKE_CROSSCOMPILING)
  set(LUM_TEST_SERVER "${PROJECT_SOURCE_DIR}/build/linux-x64/tests/support/server/lum_test_server" CACHE FILEPATH
    "The native program that starts the servers of the tests; made by the preset linux-x64")
elseif(TARGET lum_test_server)
  set(LUM_TEST_SERVER "$<TARGET_FILE:lum_test_server>")
endif()

# lum_discover_tests(PROGRAM [SERVERS] [SCREEN]): with SERVERS they talk to servers, which each starts for itself. Where
# there are none, on Windows itself, CTest leaves these out. With SCREEN they show windows.
function(lum_discover_tests program)
  cmake_parse_arguments(PARSE_ARGV 1 arg "SERVERS;SCREEN" "" "")
  if(NOT TARGET ${program} OR (arg_SERVERS AND NOT LUM_TEST_SERVER))
    return()
  endif()
  set(launcher)
  if(arg_SERVERS)
    list(APPEND launcher "${LUM_TEST_SERVER}" --)
  endif()
  if(CMAKE_CROSSCOMPILING)
    list(APPEND launcher "${PROJECT_SOURCE_DIR}/tests/support/wine-test.sh")
    if(arg_SCREEN)
      list(APPEND launcher --screen)
    endif()
  endif()
  set_target_properties(${program} PROPERTIES CROSSCOMPILING_EMULATOR "${launcher}")
  # By numbers and not by values, of which some have the same text.
  gtest_discover_tests(${program} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120 NO_PRETTY_TYPES NO_PRETTY_VALUES
    PROPERTIES TIMEOUT 1200)
endfunction()
