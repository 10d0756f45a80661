# `cpack` makes the package of a build: a .deb on Linux, a zip for Windows. NuGet's is made by `./dev package`.

if(WIN32)
  set(LUM_SYSTEM_NAME windows)
  set(LUM_SYSTEM_WIDTH x86)
else()
  string(TOLOWER "${CMAKE_SYSTEM_NAME}" LUM_SYSTEM_NAME)
  set(LUM_SYSTEM_WIDTH x86)
endif()
if(CMAKE_SIZEOF_VOID_P EQUAL 8)
  set(LUM_SYSTEM_WIDTH x64)
endif()

# What is in the package, for people and for tools.
set(lum_package_name "liblumutilsWinCli-${PROJECT_VERSION}-${LUM_SYSTEM_NAME}-${LUM_SYSTEM_WIDTH}")
string(UUID LUM_SPDX_ID NAMESPACE 6ba7b811-9dad-11d1-80b4-00c04fd430c8 NAME "${lum_package_name}" TYPE SHA1)
string(TIMESTAMP LUM_SPDX_CREATED UTC)
set(LUM_JSON_VERSION "${nlohmann_json_VERSION}")
if(NOT LUM_JSON_VERSION)
  set(LUM_JSON_VERSION NOASSERTION)
endif()
configure_file("${PROJECT_SOURCE_DIR}/packaging/liblumutilsWinCli.spdx.in"
  "${PROJECT_BINARY_DIR}/liblumutilsWinCli.spdx" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/liblumutilsWinCli.spdx" "${PROJECT_SOURCE_DIR}/packaging/THIRD-PARTY-NOTICES.md"
  "${PROJECT_SOURCE_DIR}/README.md" "${PROJECT_SOURCE_DIR}/CHANGELOG.md"
  DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/liblumutilsWinCli")

# The targets of the library are enough.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
set(CPACK_PACKAGE_NAME liblumutilswincli-dev)
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_CONTACT "The developers of liblumutilsWinCli")
set(CPACK_PACKAGE_VENDOR "${CPACK_PACKAGE_CONTACT}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Client-side utilities: HTTP, files, logging, and the boundary to .NET")
set(CPACK_PACKAGE_FILE_NAME "${lum_package_name}")
set(CPACK_VERBATIM_VARIABLES ON)
if(WIN32)
  set(CPACK_GENERATOR ZIP)
else()
  set(CPACK_GENERATOR DEB)
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_SECTION libdevel)
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6, libstdc++6 (>= 12), libcurl4-openssl-dev (>= 7.87) | libcurl4-gnutls-dev (>= 7.87)")
endif()
include(CPack)
