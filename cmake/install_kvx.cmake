# SPDX-License-Identifier: Apache-2.0
# Installs the library for CMake's find_package(kvx) and for pkg-config. Component kvx.
include(CMakePackageConfigHelpers)

set(kvx_installed kvx)
if(BUILD_SHARED_LIBS)
    list(APPEND kvx_installed kvx_static)
endif()
install(TARGETS ${kvx_installed} EXPORT kvx-targets COMPONENT kvx
    RUNTIME COMPONENT kvx
    LIBRARY COMPONENT kvx NAMELINK_COMPONENT kvx
    ARCHIVE COMPONENT kvx
    PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT kvx)
set(kvx_config_dir ${CMAKE_INSTALL_LIBDIR}/cmake/kvx)
install(EXPORT kvx-targets NAMESPACE kvx:: DESTINATION ${kvx_config_dir} COMPONENT kvx)

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/kvx-config.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/kvx-config.cmake
    INSTALL_DESTINATION ${kvx_config_dir})
# Before version 1.0 a minor version may change the interface.
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/kvx-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/kvx-config.cmake ${CMAKE_CURRENT_BINARY_DIR}/kvx-config-version.cmake
    DESTINATION ${kvx_config_dir} COMPONENT kvx)

# The prefix is known only when the library is installed, and the directories may lie outside it. The paths have no
# "..", because pkg-config drops -I/usr/include and the like only if it recognises them.
set(cxx_runtime "-lstdc++ -lm")
if(BUILD_SHARED_LIBS)
    set(kvx_pc_private_libs ${cxx_runtime})
else()
    set(kvx_pc_libs " ${cxx_runtime}") # there is only the archive
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/write_kvx_pc.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/write_kvx_pc.cmake @ONLY)
install(SCRIPT ${CMAKE_CURRENT_BINARY_DIR}/write_kvx_pc.cmake COMPONENT kvx)
