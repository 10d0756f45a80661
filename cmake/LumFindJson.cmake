# nlohmann json, headers only. A host that already has its target keeps that one.
if(NOT TARGET nlohmann_json::nlohmann_json)
  find_package(nlohmann_json 3.11 QUIET)
endif()
if(NOT TARGET nlohmann_json::nlohmann_json)
  message(FATAL_ERROR
    "liblumutilsWinCli needs nlohmann json 3.11 or newer (headers only), and find_package(nlohmann_json 3.11) finds none. "
    "Install it (Debian 13 and Ubuntu 24.04: nlohmann-json3-dev; Fedora: json-devel; vcpkg: nlohmann-json; Conan: "
    "nlohmann_json), or set CMAKE_PREFIX_PATH or nlohmann_json_DIR to the one that you have. "
    "On Debian 12 `./dev run` or `./dev test` fetches it into build/deps, where the presets look.")
endif()

# The headers of the system that builds must not reach a compiler for another one.
if(CMAKE_CROSSCOMPILING)
  get_target_property(lum_json_folders nlohmann_json::nlohmann_json INTERFACE_INCLUDE_DIRECTORIES)
  if("/usr/include" IN_LIST lum_json_folders)
    message(FATAL_ERROR
      "nlohmann json was found in /usr/include, whose other headers are not for ${CMAKE_SYSTEM_NAME}. Set "
      "nlohmann_json_DIR to a copy in a folder of its own; `./dev` makes one in build/deps.")
  endif()
endif()
