# What `cmake --install` puts where. Two components: "programs" is what users need, "development" what clients in C++
# are built against.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# --- The library for clients
set(packageDirectory ${CMAKE_INSTALL_LIBDIR}/cmake/TarnelCore)
install(TARGETS TarnelCore EXPORT TarnelCoreTargets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY Sources/TarnelCore DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
    FILES_MATCHING PATTERN "*.h")
install(EXPORT TarnelCoreTargets NAMESPACE TarnelCore:: DESTINATION ${packageDirectory} COMPONENT development)
configure_package_config_file(cmake/TarnelCoreConfig.cmake.in ${PROJECT_BINARY_DIR}/TarnelCoreConfig.cmake
    INSTALL_DESTINATION ${packageDirectory})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/TarnelCoreConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/TarnelCoreConfig.cmake ${PROJECT_BINARY_DIR}/TarnelCoreConfigVersion.cmake
    DESTINATION ${packageDirectory} COMPONENT development)

# --- The programs, and what lets people use them
install(TARGETS tarneld tarnel muxle-tmux RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT programs)
add_subdirectory(docs/man)
add_subdirectory(packaging)
