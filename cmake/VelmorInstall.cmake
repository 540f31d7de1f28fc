# Installs the library, its headers, the doubles for hosts' tests, and what find_package(VelmorSDK) needs.

include(CMakePackageConfigHelpers)

install(TARGETS velmor EXPORT VelmorSDKTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS velmor_testing EXPORT VelmorSDKTargets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
set_target_properties(velmor_testing PROPERTIES EXPORT_NAME testing)
install(DIRECTORY include/Velmor DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.hpp")

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/VelmorSDK)
install(EXPORT VelmorSDKTargets NAMESPACE Velmor:: DESTINATION ${package_dir})
configure_package_config_file(cmake/VelmorSDKConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/VelmorSDKConfig.cmake
    INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/VelmorSDKConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/VelmorSDKConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/VelmorSDKConfigVersion.cmake
    DESTINATION ${package_dir})
