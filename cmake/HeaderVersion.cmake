# The version stands in two places: the project's, and the macros that a host is compiled with.

set(header "${PROJECT_SOURCE_DIR}/include/VelmoraKit/velmora.h")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${header}")
set(header_version "")
foreach(part MAJOR MINOR PATCH)
    file(STRINGS "${header}" line REGEX "^#define VELMORA_VERSION_${part} [0-9]+$")
    string(REGEX REPLACE ".* " "" number "${line}")
    list(APPEND header_version "${number}")
endforeach()
list(JOIN header_version "." header_version)
if(NOT header_version STREQUAL PROJECT_VERSION)
    message(FATAL_ERROR "The project's version is ${PROJECT_VERSION}, the macros VELMORA_VERSION_... in "
                        "include/VelmoraKit/velmora.h say \"${header_version}\": make them the same.")
endif()
