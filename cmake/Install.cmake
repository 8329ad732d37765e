# What is installed where. Components: runtime (the shared library), development (headers, static
# library, CMake and pkg-config files), tools (the velmora program).

include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/VelmoraKit")

install(TARGETS VelmoraKit_shared EXPORT VelmoraKitSharedTargets
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
        COMPONENT runtime NAMELINK_COMPONENT development)
install(TARGETS VelmoraKit_static EXPORT VelmoraKitStaticTargets
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development)
# Stripping is up to the installer, as for programs. It leaves what a link editor needs.
install(CODE "
    if(CMAKE_INSTALL_DO_STRIP)
        execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND \"${CMAKE_STRIP}\" --strip-debug
            --enable-deterministic-archives
            \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/$<TARGET_FILE_NAME:VelmoraKit_static>\")
    endif()" COMPONENT development)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/VelmoraKit"
    DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT development FILES_MATCHING PATTERN "*.h")

foreach(kind Shared Static)
    install(EXPORT VelmoraKit${kind}Targets NAMESPACE VelmoraKit::
        DESTINATION "${package_dir}" COMPONENT development)
endforeach()
configure_package_config_file(cmake/VelmoraKitConfig.cmake.in
    "${PROJECT_BINARY_DIR}/VelmoraKitConfig.cmake" INSTALL_DESTINATION "${package_dir}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/VelmoraKitConfigVersion.cmake"
    COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/VelmoraKitConfig.cmake"
              "${PROJECT_BINARY_DIR}/VelmoraKitConfigVersion.cmake"
    DESTINATION "${package_dir}" COMPONENT development)

# The pkg-config file finds its prefix from where it stands, so that the tree can be moved; what is
# in /usr stays there.
set(VELMORAKIT_PC_PREFIX /usr)
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    file(RELATIVE_PATH way_to_prefix "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
    set(VELMORAKIT_PC_PREFIX "\${pcfiledir}/${way_to_prefix}")
endif()
set(VELMORAKIT_PC_HTTP "")
if(VELMORAKIT_HTTP STREQUAL "curl")
    set(VELMORAKIT_PC_HTTP "-lcurl ")
endif()
configure_file(cmake/velmorakit.pc.in "${PROJECT_BINARY_DIR}/velmorakit.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/velmorakit.pc"
    DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT development)

if(VELMORAKIT_BUILD_TOOLS)
    # Outside /usr the loader does not look for the library by itself: the program says where it is.
    file(RELATIVE_PATH way_to_library "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_FULL_LIBDIR}")
    set_target_properties(velmora PROPERTIES INSTALL_RPATH "$ORIGIN/${way_to_library}")
    install(TARGETS velmora RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT tools)
    if(MICROHTTPD_FOUND AND VELMORAKIT_BUILD_COLLECTOR)
        install(FILES cmake/velmora-collect.service cmake/velmora-collect.socket
            DESTINATION lib/systemd/system COMPONENT tools)
    endif()
    install(CODE "
        if(CMAKE_INSTALL_PREFIX STREQUAL \"/usr\")
            file(RPATH_REMOVE FILE
                \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/$<TARGET_FILE_NAME:velmora>\")
        endif()" COMPONENT tools)
endif()

if(NOT PROJECT_IS_TOP_LEVEL)
    return()
endif()

# The documents lie as in the tree, so that what they say of each other holds.
install(FILES "${PROJECT_SOURCE_DIR}/README.md" "${PROJECT_SOURCE_DIR}/LICENSE"
              "${PROJECT_SOURCE_DIR}/THIRD-PARTY.md" "${PROJECT_SOURCE_DIR}/SECURITY.md"
              "${PROJECT_SOURCE_DIR}/CHANGELOG.md"
              "${PROJECT_SOURCE_DIR}/sbom.spdx.json"
    DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT development)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/docs" DESTINATION "${CMAKE_INSTALL_DOCDIR}"
    COMPONENT development
    FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN "*.png" PATTERN api EXCLUDE)
# Without what building them in the tree leaves there.
install(DIRECTORY "${PROJECT_SOURCE_DIR}/examples" "${PROJECT_SOURCE_DIR}/bindings"
    DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT development USE_SOURCE_PERMISSIONS
    PATTERN __pycache__ EXCLUDE PATTERN target EXCLUDE PATTERN Cargo.lock EXCLUDE
    PATTERN "*.node" EXCLUDE)
include(Documentation)

configure_file(cmake/Uninstall.cmake.in "${PROJECT_BINARY_DIR}/Uninstall.cmake" @ONLY)
add_custom_target(uninstall
    COMMAND "${CMAKE_COMMAND}" -P "${PROJECT_BINARY_DIR}/Uninstall.cmake"
    COMMENT "Removing what the last install of this build put in place" VERBATIM)
