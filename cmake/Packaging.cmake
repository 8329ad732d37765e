# The three Debian packages that `cpack -G DEB` makes. Configure with -DCMAKE_INSTALL_PREFIX=/usr to
# have the libraries in Debian's folder of the architecture instead of /usr/lib.

set(CPACK_PACKAGE_NAME velmorakit)
set(CPACK_PACKAGE_VENDOR "VelmoraKit")
set(CPACK_PACKAGE_CONTACT "VelmoraKit maintainers <maintainers@velmora.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX "/usr")
set(CPACK_STRIP_FILES TRUE)
set(CPACK_VERBATIM_VARIABLES TRUE)
set(CPACK_COMPONENTS_ALL runtime development tools)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The tools need the library that is packaged beside them.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}/src")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS OFF)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libvelmorakit${PROJECT_VERSION_MAJOR})
# Where there are no authorities to trust, nothing is sent.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS ca-certificates)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "VelmoraKit shared library")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvelmorakit-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "libvelmorakit${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION}), zlib1g-dev, libcurl4-openssl-dev, libssl-dev, libsqlite3-dev, libutf8proc-dev")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "VelmoraKit headers and static library")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME velmora-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS
    "libvelmorakit${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "VelmoraKit command-line program")

include(CPack)
