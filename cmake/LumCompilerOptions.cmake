# What every target of the project is compiled with: standard C++17, all warnings, warnings as errors. None of it is
# handed on to a host's targets.

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

set(LUM_SANITIZER "" CACHE STRING "Sanitizer to build with: empty, address, thread or fuzzer")
set_property(CACHE LUM_SANITIZER PROPERTY STRINGS "" address thread fuzzer)
option(LUM_COVERAGE "Count which lines and branches run" OFF)
# On in the presets whose compilers are known here. Other compilers and versions warn of other things.
option(LUM_WARNINGS_AS_ERRORS "A warning ends the build" OFF)

# Log records carry the path of their source file: keep the build machine's folders out of it.
function(lum_target_options target)
  if(MSVC)
    target_compile_options(${target} PRIVATE /W4 $<$<BOOL:${LUM_WARNINGS_AS_ERRORS}>:/WX> /utf-8 /permissive-)
    # The narrow runtime calls are part of what the library promises.
    target_compile_definitions(${target} PRIVATE _CRT_SECURE_NO_WARNINGS)
    return()
  endif()
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast -Wnon-virtual-dtor
    -Woverloaded-virtual -Wnull-dereference -Wformat=2
    $<$<BOOL:${LUM_WARNINGS_AS_ERRORS}>:-Werror>
    "-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=")
  if(MINGW)
    target_link_options(${target} PRIVATE -static) # no library of the compiler is needed beside it
  endif()
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    # It also warns of a format whose values come as a list, which is how finished formats are handed on.
    target_compile_options(${target} PRIVATE -Wno-format-nonliteral)
  endif()
  if(LUM_SANITIZER STREQUAL "address" OR LUM_SANITIZER STREQUAL "fuzzer")
    # The check of vptr needs descriptors of its own, which the tests of a want of them do not leave it.
    target_compile_options(${target} PRIVATE -fsanitize=address,undefined -fno-sanitize=vptr -fno-sanitize-recover=all
      -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=address,undefined)
    if(LUM_SANITIZER STREQUAL "fuzzer")
      # What the fuzzer learns its way by. Only its own programs have its main function.
      target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
    endif()
  elseif(LUM_SANITIZER STREQUAL "thread")
    target_compile_options(${target} PRIVATE -fsanitize=thread -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=thread)
  endif()
  if(LUM_COVERAGE)
    # Threads count too, none may be lost. Much optimised lines would be counted where nobody wrote them.
    target_compile_options(${target} PRIVATE --coverage -fprofile-update=atomic -Og)
    target_link_options(${target} PRIVATE --coverage)
  endif()
endfunction()
