# What makes the library a module of Windows: what it shows, what it says of itself, how the loader treats it, and its
# debug symbols in a file of their own.

# The names that a list of exports holds and that fit a pattern.
function(lum_exported_names list pattern names_variable)
  file(STRINGS "${list}" lines REGEX "^  ${pattern}")
  list(TRANSFORM lines STRIP)
  list(TRANSFORM lines REPLACE " .*" "")
  set(${names_variable} "${lines}" PARENT_SCOPE)
endfunction()

# Whoever links the module takes the parts of the compiler's runtime that handle exceptions from it, so that there is one
# of them in the process. The compiler's own library comes too late then: these names are asked for first.
function(lum_share_exception_runtime target list)
  lum_exported_names("${list}" "(__cxa_|_Unwind_|__register_frame|__deregister_frame)" names)
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    list(TRANSFORM names PREPEND "_")
  endif()
  list(TRANSFORM names PREPEND "-Wl,-u,")
  target_link_options(${target} INTERFACE ${names})
  # The shared runtime would count exceptions on its own, and on 32 bits keep tables of handlers of its own too, so that
  # the first exception that passes between the module and the program ends the process.
  target_link_options(${target} INTERFACE -static-libgcc -static-libstdc++)
endfunction()

function(lum_add_version_resource target)
  configure_file("${CMAKE_CURRENT_FUNCTION_LIST_DIR}/module.rc.in" "${CMAKE_CURRENT_BINARY_DIR}/module.rc" @ONLY)
  # On its own, because the options of the sources are not the resource compiler's.
  add_library(${target}_resource OBJECT "${CMAKE_CURRENT_BINARY_DIR}/module.rc")
  target_sources(${target} PRIVATE $<TARGET_OBJECTS:${target}_resource>)
endfunction()

# The symbols go to FILE.debug, which a debugger finds by the link that stays in the module.
function(lum_separate_debug_symbols target)
  set(module "$<TARGET_FILE:${target}>")
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND "${CMAKE_OBJCOPY}" --only-keep-debug "${module}" "${module}.debug"
    COMMAND "${CMAKE_OBJCOPY}" --strip-unneeded "--add-gnu-debuglink=${module}.debug" "${module}"
    VERBATIM)
endfunction()

function(lum_windows_module target)
  lum_add_version_resource(${target})
  if(NOT MINGW)
    return() # MSVC's linker protects by itself, and keeps the symbols apart.
  endif()
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    set(exports "${PROJECT_SOURCE_DIR}/src/exports/windows-x86.def")
  else()
    set(exports "${PROJECT_SOURCE_DIR}/src/exports/windows-x64.def")
    target_link_options(${target} PRIVATE -Wl,--high-entropy-va)
  endif()
  target_sources(${target} PRIVATE "${exports}")
  set_target_properties(${target} PROPERTIES LUM_EXPORT_LIST "${exports}" LINK_DEPENDS "${exports}")
  target_link_options(${target} PRIVATE -Wl,--dynamicbase -Wl,--nxcompat)
  lum_share_exception_runtime(${target} "${exports}")
  lum_separate_debug_symbols(${target})
endfunction()
