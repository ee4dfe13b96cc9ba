# SPDX-License-Identifier: MIT
# Test binaries from test folders.

set(SNTR_SANITIZED 0)
if(SNTR_SANITIZE)
  set(SNTR_SANITIZED 1)
endif()

# sntr_add_support(<folder>): makes the static library sntr_test_support, which several test binaries share. It precedes
# GoogleTest's main and the code under test on the link line, so it may replace the one and use the other.
function(sntr_add_support folder)
  file(GLOB sources CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/${folder}/*.cpp")
  if(sources)
    add_library(sntr_test_support STATIC ${sources})
    target_link_libraries(sntr_test_support PRIVATE sntr_warnings)
    set(scope PUBLIC)
  else()
    add_library(sntr_test_support INTERFACE)
    set(scope INTERFACE)
  endif()
  target_include_directories(sntr_test_support ${scope} "${CMAKE_CURRENT_SOURCE_DIR}")
  # Random runs, and waits too short for a slow build, adapt to builds that check every memory access.
  target_compile_definitions(sntr_test_support ${scope} SNTR_SANITIZED=${SNTR_SANITIZED})
  # GoogleTest's macros contain an else; gcc warns if one follows an if without braces.
  target_compile_options(sntr_test_support ${scope} -Wno-dangling-else)
  target_link_libraries(sntr_test_support ${scope} sntr_includes GTest::gtest)
endfunction()

# sntr_add_test(<folder> [ROOMS <room>...] [PRODUCT [FAULTY]] [TIMEOUT <seconds>] [SOURCES <file>...])
#
# Makes the binary test_<folder> from tests/<folder>/*.cpp (or SOURCES) and registers each of its cases as
# "<folder>/Suite.Case" with the label <folder>. ROOMS links static rooms over the faulty services layer. PRODUCT links
# the shared libraries as a user would; with FAULTY, the pair whose services layer fails on demand. Skips a folder
# without sources, or one whose libraries do not exist yet.
function(sntr_add_test folder)
  cmake_parse_arguments(PARSE_ARGV 1 arg "PRODUCT;FAULTY" "TIMEOUT" "ROOMS;SOURCES")
  if(NOT arg_SOURCES)
    file(GLOB arg_SOURCES CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/${folder}/*.cpp")
  endif()
  if(NOT arg_SOURCES OR NOT TARGET qx7osse_faulty OR (arg_PRODUCT AND NOT TARGET qx7sntr_install))
    return()
  endif()

  if(arg_PRODUCT)
    # The layout room is data and inline helpers only; linking it again beside the product makes the names available.
    set(suffix install)
    if(arg_FAULTY)
      set(suffix faulty)
    endif()
    set(under_test sntr_layout qx7sntr_${suffix} qx7osse_${suffix})
  else()
    list(TRANSFORM arg_ROOMS PREPEND sntr_ OUTPUT_VARIABLE under_test)
    list(APPEND under_test qx7osse_faulty)
  endif()

  add_executable(test_${folder} ${arg_SOURCES})
  target_link_libraries(test_${folder} PRIVATE sntr_warnings sntr_test_support ${under_test} GTest::gtest_main)

  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 90)
  endif()
  if(SNTR_SANITIZE OR CMAKE_CROSSCOMPILING)
    math(EXPR arg_TIMEOUT "${arg_TIMEOUT} * 3")
  endif()
  gtest_discover_tests(test_${folder} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60 TEST_PREFIX "${folder}/"
    PROPERTIES TIMEOUT ${arg_TIMEOUT} LABELS ${folder})
endfunction()
