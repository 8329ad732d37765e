# An overlay port: it takes the tree that it lies in.
set(SOURCE_PATH "${CURRENT_PORT_DIR}/../../..")
vcpkg_find_acquire_program(PKGCONFIG)
vcpkg_cmake_configure(SOURCE_PATH "${SOURCE_PATH}"
    OPTIONS
        -DVELMORAKIT_BUILD_TOOLS=OFF
        -DVELMORAKIT_BUILD_TESTS=OFF
        -DVELMORAKIT_BUILD_EXAMPLES=OFF
        "-DPKG_CONFIG_EXECUTABLE=${PKGCONFIG}")
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(PACKAGE_NAME VelmoraKit CONFIG_PATH lib/cmake/VelmoraKit)
vcpkg_fixup_pkgconfig()
# Both libraries are made at once; a triplet wants one of them.
if(VCPKG_LIBRARY_LINKAGE STREQUAL "static")
    file(GLOB shared "${CURRENT_PACKAGES_DIR}/lib/*.so*" "${CURRENT_PACKAGES_DIR}/debug/lib/*.so*")
    file(REMOVE ${shared})
endif()
file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include" "${CURRENT_PACKAGES_DIR}/debug/share")
vcpkg_install_copyright(FILE_LIST "${SOURCE_PATH}/LICENSE")
