# SPDX-License-Identifier: MIT
# The install tree: both libraries, the public headers, a CMake package (find_package(sntr) defines sntr::sntr and
# sntr::oss) and a pkg-config file. The libraries that fail on demand, and their header, are for the tests alone.
if(NOT TARGET qx7sntr_install)
  return()
endif()
include(CMakePackageConfigHelpers)

install(TARGETS qx7osse_install qx7sntr_install EXPORT sntr-targets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/sntr" "${PROJECT_SOURCE_DIR}/include/oss"
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" FILES_MATCHING PATTERN "*.h" PATTERN "oss/fault.h" EXCLUDE)
install(FILES "${SNTR_GENERATED_INCLUDE_DIR}/sntr/result_codes.h" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/sntr")

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/sntr")
install(EXPORT sntr-targets NAMESPACE sntr:: DESTINATION "${package_dir}")
configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/sntr-config.cmake.in"
  "${PROJECT_BINARY_DIR}/sntr-config.cmake" INSTALL_DESTINATION "${package_dir}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/sntr-config-version.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/sntr-config.cmake" "${PROJECT_BINARY_DIR}/sntr-config-version.cmake"
  DESTINATION "${package_dir}")

# The directories are relative to the .pc file, so that the tree can be moved or staged.
file(RELATIVE_PATH SNTR_PC_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" SNTR_PC_PREFIX "${SNTR_PC_PREFIX}")
configure_file("${PROJECT_SOURCE_DIR}/cmake/sntr.pc.in" "${PROJECT_BINARY_DIR}/sntr.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/sntr.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
