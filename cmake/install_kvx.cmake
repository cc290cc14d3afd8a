# Installs the library for CMake's find_package(kvx) and for pkg-config. Component kvx.
include(CMakePackageConfigHelpers)

install(TARGETS kvx EXPORT kvx-targets COMPONENT kvx
    RUNTIME COMPONENT kvx
    LIBRARY COMPONENT kvx NAMELINK_COMPONENT kvx
    ARCHIVE COMPONENT kvx
    PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT kvx)
set(kvx_config_dir ${CMAKE_INSTALL_LIBDIR}/cmake/kvx)
install(EXPORT kvx-targets NAMESPACE kvx:: DESTINATION ${kvx_config_dir} COMPONENT kvx)

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/kvx-config.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/kvx-config.cmake
    INSTALL_DESTINATION ${kvx_config_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/kvx-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/kvx-config.cmake ${CMAKE_CURRENT_BINARY_DIR}/kvx-config-version.cmake
    DESTINATION ${kvx_config_dir} COMPONENT kvx)

configure_file(${CMAKE_CURRENT_LIST_DIR}/kvx.pc.in ${CMAKE_CURRENT_BINARY_DIR}/kvx.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/kvx.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT kvx)
