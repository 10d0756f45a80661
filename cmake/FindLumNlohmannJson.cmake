# Finds nlohmann json 3.11.3 or newer in 3.11, which is used as headers only, and defines the target LumNlohmannJson.
# `./dev` puts it below build/deps where the system has an older one; set LUM_DEPS_DIR to look elsewhere.

set(LUM_DEPS_DIR "${PROJECT_SOURCE_DIR}/build/deps" CACHE PATH "Where ./dev puts what the system does not have")

function(lum_nlohmann_version header version_variable)
  file(STRINGS "${header}" lines REGEX "#define NLOHMANN_JSON_VERSION_(MAJOR|MINOR|PATCH)")
  string(REGEX REPLACE "[^0-9;]" "" numbers "${lines}")
  string(REPLACE ";" "." version "${numbers}")
  set(${version_variable} "${version}" PARENT_SCOPE)
endfunction()

foreach(candidate "${LUM_DEPS_DIR}/usr/include" "/usr/include" "/usr/local/include")
  set(header "${candidate}/nlohmann/detail/abi_macros.hpp")
  if(NOT EXISTS "${header}")
    continue()
  endif()
  lum_nlohmann_version("${header}" version)
  if(version VERSION_GREATER_EQUAL 3.11.3 AND version VERSION_LESS 3.12)
    set(LumNlohmannJson_INCLUDE_DIR "${candidate}")
    set(LumNlohmannJson_VERSION "${version}")
    break()
  endif()
endforeach()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(LumNlohmannJson
  REQUIRED_VARS LumNlohmannJson_INCLUDE_DIR
  VERSION_VAR LumNlohmannJson_VERSION)

if(LumNlohmannJson_FOUND AND NOT TARGET LumNlohmannJson)
  # A link, because the system's whole include folder must not reach a cross build.
  file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/nlohmann-include")
  file(CREATE_LINK "${LumNlohmannJson_INCLUDE_DIR}/nlohmann" "${PROJECT_BINARY_DIR}/nlohmann-include/nlohmann" SYMBOLIC)
  add_library(LumNlohmannJson INTERFACE IMPORTED)
  target_include_directories(LumNlohmannJson SYSTEM INTERFACE "${PROJECT_BINARY_DIR}/nlohmann-include")
endif()
