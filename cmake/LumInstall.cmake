# What `cmake --install` gives: headers, both libraries, and what finds them for CMake and pkg-config.

include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(LUM_INSTALLED_HEADERS "${CMAKE_INSTALL_INCLUDEDIR}/liblumutilsWinCli")
set(LUM_INSTALLED_PACKAGE "${CMAKE_INSTALL_LIBDIR}/cmake/lumutilsWinCli")

# The headers that hosts include, and those that these include.
function(lum_public_headers target)
  if(WIN32)
    set(platform_header platform/windows/WindowsPlatform.h)
  else()
    set(platform_header platform/posix/PosixPlatform.h)
  endif()
  target_sources(${target} PUBLIC FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}/src" FILES
    common/networking/HttpMethod.h
    common/networking/HttpRequestResult.h
    common/networking/HttpResponse.h
    common/networking/ILumAsynchronousHttpClient.h
    common/networking/ILumAsynchronousTransaction.h
    common/networking/ILumUrlRequest.h
    common/networking/LumAsynchronousHttpClientBase.h
    common/networking/LumNetworkingError.h
    common/networking/LumWinHttpErrorNumber.h
    common/networking/UrlComponents.h
    common/storage/ILumFilesystemWrapper.h
    common/storage/LumFileManager.h
    common/storage/LumStdFilesystemWrapper.h
    common/storage/LumStorageError.h
    common/utils/ILumError.h
    common/utils/ILumUtilsLoggerDelegate.h
    common/utils/LumAscii.h
    common/utils/LumBase64.h
    common/utils/LumDebuggerUtilsBase.h
    common/utils/LumError.h
    common/utils/LumErrorNames.h
    common/utils/LumFormattingLoggerDelegate.h
    common/utils/LumMemoryUtils.h
    common/utils/LumPlatformErrorNumber.h
    common/utils/LumTextUtils.h
    common/utils/LumTimeUtils.h
    common/utils/LumUuidUtils.h
    Windows/Cli/LumCliAbi.h
    Windows/Cli/networking/HttpClientCliAdapter.h
    Windows/Cli/networking/SocksHttpClientCliAdapter.h
    Windows/Cli/networking/socks/LumAsynchronousSocksHttpClient.h
    Windows/Cli/utils/HostGate.h
    Windows/Cli/utils/LumUtilsLoggerDelegateCliAdapter.h
    Windows/Cli/utils/ManagedException.h
    Windows/Cli/utils/ManagedHandle.h
    Windows/networking/LibLumNetworkingWinUtils.h
    Windows/networking/WinHttpClientAsync.h
    Windows/storage/LumStorageErrorUtilsWin.h
    Windows/utils/LumDebuggerUtils.h
    platform/LumPlatform.h
    ${platform_header})
endfunction()

function(lum_install_package)
  set(config "${CMAKE_CURRENT_BINARY_DIR}/lumutilsWinCliConfig.cmake")
  set(version "${CMAKE_CURRENT_BINARY_DIR}/lumutilsWinCliConfigVersion.cmake")
  configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/lumutilsWinCliConfig.cmake.in" "${config}"
    INSTALL_DESTINATION "${LUM_INSTALLED_PACKAGE}")
  # Before version 1 a minor version may change the interface. The check of the pointers' width is part of it.
  write_basic_package_version_file("${version}" COMPATIBILITY SameMinorVersion)
  install(FILES "${config}" "${version}" DESTINATION "${LUM_INSTALLED_PACKAGE}")
  install(EXPORT lumutilsWinCli NAMESPACE lumutilsWinCli:: FILE lumutilsWinCliTargets.cmake
    DESTINATION "${LUM_INSTALLED_PACKAGE}")
endfunction()

function(lum_install_pkg_config shared)
  get_target_property(link_options ${shared} INTERFACE_LINK_OPTIONS)
  if(link_options)
    list(JOIN link_options " " LUM_PC_LINK_OPTIONS)
  endif()
  if(WIN32)
    # By its file, as with a static runtime the linker would take the static library.
    set(LUM_PC_LIBRARY "-l:$<TARGET_LINKER_FILE_NAME:${shared}>")
  else()
    set(LUM_PC_LIBRARY -llumutilsWinCli)
    set(LUM_PC_PRIVATE "Requires.private: libcurl >= 7.87\nLibs.private: -pthread -ldl")
  endif()
  file(RELATIVE_PATH LUM_PC_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
  set(file "${CMAKE_CURRENT_BINARY_DIR}/lumutilsWinCli.pc")
  configure_file("${PROJECT_SOURCE_DIR}/cmake/lumutilsWinCli.pc.in" "${file}.in" @ONLY)
  file(GENERATE OUTPUT "${file}" INPUT "${file}.in" TARGET ${shared})
  install(FILES "${file}" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
endfunction()

function(lum_install static shared)
  lum_public_headers(${static})
  lum_public_headers(${shared})
  set_target_properties(${static} PROPERTIES EXPORT_NAME static)
  set_target_properties(${shared} PROPERTIES EXPORT_NAME shared)
  install(TARGETS ${static} ${shared} EXPORT lumutilsWinCli
    RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    FILE_SET HEADERS DESTINATION "${LUM_INSTALLED_HEADERS}"
    INCLUDES DESTINATION "${LUM_INSTALLED_HEADERS}")
  if(MINGW)
    install(FILES "$<TARGET_FILE:${shared}>.debug" DESTINATION "${CMAKE_INSTALL_BINDIR}")
  endif()
  lum_install_package()
  lum_install_pkg_config(${shared})
endfunction()
