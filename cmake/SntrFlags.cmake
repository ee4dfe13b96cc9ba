# SPDX-License-Identifier: MIT
# Compiler settings in three layers: for every target (language level, sanitizers, position independence), for every
# target of this project (sntr_warnings), and for the libraries only (sntr_library_flags).

set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

find_program(SNTR_CCACHE ccache)
mark_as_advanced(SNTR_CCACHE)
if(SNTR_CCACHE AND NOT DEFINED CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_C_COMPILER_LAUNCHER "${SNTR_CCACHE}")
  set(CMAKE_CXX_COMPILER_LAUNCHER "${SNTR_CCACHE}")
endif()

# Sanitizers apply to every target: a sanitized library in a plain program does not load.
if(SNTR_SANITIZE)
  set(sntr_sanitize_flags -fsanitize=${SNTR_SANITIZE} -fno-omit-frame-pointer)
  if(SNTR_SANITIZE MATCHES "undefined")
    # A report must fail its test; the vptr check needs the type information that this build omits.
    list(APPEND sntr_sanitize_flags -fno-sanitize-recover=all -fno-sanitize=vptr)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
      # Also needs type information, and a part of the runtime that a C program does not link.
      list(APPEND sntr_sanitize_flags -fno-sanitize=function)
    endif()
  endif()
  if(SNTR_SANITIZE MATCHES "thread" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # gcc warns of each fence that it cannot follow. Those here order stores against a process's death, not for threads.
    list(APPEND sntr_sanitize_flags -Wno-tsan)
  endif()
  add_compile_options(${sntr_sanitize_flags})
  add_link_options(${sntr_sanitize_flags})
endif()

add_library(sntr_warnings INTERFACE)
target_compile_options(sntr_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wcast-qual -Wformat=2 -Wundef -Wvla
  -Wdouble-promotion -Wimplicit-fallthrough
  $<$<COMPILE_LANGUAGE:C>:-Wstrict-prototypes>
  $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
  $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>
  $<$<BOOL:${SNTR_WARNINGS_AS_ERRORS}>:-Werror>)

add_library(sntr_library_flags INTERFACE)
target_compile_options(sntr_library_flags INTERFACE
  -fvisibility=hidden -fno-plt -Wmissing-declarations
  $<$<COMPILE_LANGUAGE:CXX>:-fvisibility-inlines-hidden>
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions>
  $<$<COMPILE_LANGUAGE:CXX>:-fno-rtti>)
target_link_libraries(sntr_library_flags INTERFACE sntr_warnings)

# The shared libraries of this project name every library that they need and no other. clang leaves the sanitizer's
# symbols to the program, so there --no-undefined works for an unsanitized build only.
add_library(sntr_shared_flags INTERFACE)
target_link_options(sntr_shared_flags INTERFACE -Wl,--as-needed)
if(NOT (SNTR_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang"))
  target_link_options(sntr_shared_flags INTERFACE -Wl,--no-undefined)
endif()
