# SPDX-License-Identifier: MIT
# Generates the public header sntr/result_codes.h from the table of result codes, so that a C program compares results
# by name and each number is in one place. Runs at configure time, and again whenever the table changes.

# NullNode -> NULL_NODE
function(sntr_upper_snake name out)
  string(REGEX REPLACE "([a-z0-9])([A-Z])" "\\1_\\2" name "${name}")
  string(REGEX REPLACE "([A-Z])([A-Z][a-z])" "\\1_\\2" name "${name}")
  string(TOUPPER "${name}" name)
  set(${out} "${name}" PARENT_SCOPE)
endfunction()

# Reads the lines `SNTR_RC(Name, 0x900000de, "text")` of `table`. Stops the configuration at an unreadable line of this
# form, or at a name on two lines: otherwise only a user would find the missing code.
function(sntr_generate_result_codes table header)
  if(NOT EXISTS "${table}")
    message(STATUS "sntr: no ${table} yet, result_codes.h not generated")
    return()
  endif()
  set_property(DIRECTORY "${PROJECT_SOURCE_DIR}" APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${table}")

  # These three characters would split or join the elements of a list; texts may contain them.
  file(READ "${table}" lines)
  string(REPLACE "[" "<sntr:open>" lines "${lines}")
  string(REPLACE "]" "<sntr:close>" lines "${lines}")
  string(REPLACE ";" "<sntr:semicolon>" lines "${lines}")
  # An entry that the formatter broke over two lines counts as one.
  string(REGEX REPLACE ",[ \t]*\n[ \t]*" ", " lines "${lines}")
  string(REGEX REPLACE "\"[ \t]*\n[ \t]*\"" "" lines "${lines}")
  string(REPLACE "\n" ";" lines "${lines}")

  set(defines "")
  set(seen "")
  set(entry "^[ \t]*SNTR_RC\\([ \t]*([A-Za-z0-9_]+)[ \t]*,[ \t]*(0x[0-9a-fA-F]+|0)[uU]?[ \t]*,[ \t]*\"(.*)\"[ \t]*\\)")
  foreach(line IN LISTS lines)
    if(line MATCHES "${entry}")
      set(value "${CMAKE_MATCH_2}")
      set(text "${CMAKE_MATCH_3}")
      sntr_upper_snake("${CMAKE_MATCH_1}" name)
      if(name IN_LIST seen)
        message(FATAL_ERROR "${table}: two entries become SNTR_RC_${name}")
      endif()
      list(APPEND seen "${name}")
      string(REPLACE "*/" "* /" text "${text}")
      string(REPLACE "\\\"" "\"" text "${text}")
      string(APPEND defines "/** ${text} */\n#define SNTR_RC_${name} UINT32_C(${value})\n\n")
    elseif(line MATCHES "^[ \t]*SNTR_RC\\(")
      message(FATAL_ERROR "${table}: cannot read the entry: ${line}")
    endif()
  endforeach()
  if(NOT seen)
    message(FATAL_ERROR "${table}: holds no entry of the form SNTR_RC(Name, 0x..., \"text\")")
  endif()
  string(REPLACE "<sntr:open>" "[" defines "${defines}")
  string(REPLACE "<sntr:close>" "]" defines "${defines}")
  string(REPLACE "<sntr:semicolon>" ";" defines "${defines}")

  # Written only if it changes, so that a reconfigure does not rebuild everything.
  file(CONFIGURE OUTPUT "${header}" CONTENT [=[/*
 * Every result code by name. Generated from the library's own table of codes; do not edit.
 *
 * A function that succeeds returns 0. sntrPrintrc() renders a code as its macro, number and text at run time.
 */
#ifndef SNTR_RESULT_CODES_H
#define SNTR_RESULT_CODES_H

#include <stdint.h>

@defines@#endif /* SNTR_RESULT_CODES_H */
]=] @ONLY NEWLINE_STYLE UNIX)
endfunction()
