# How every target of the project is compiled, and the two kinds of target that folders declare.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
# There are none, and sources that are looked through for modules are not compiled as one.
set(CMAKE_CXX_SCAN_FOR_MODULES OFF)
# What a project that takes this tree asks of its own sources is not asked of these.
if(NOT PROJECT_IS_TOP_LEVEL)
    set(CMAKE_UNITY_BUILD OFF)
    set(CMAKE_COMPILE_WARNING_AS_ERROR OFF)
    add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-fexceptions> -Wno-error)
endif()

add_library(velmora_compile_options INTERFACE)
target_compile_options(velmora_compile_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion
    -fstack-protector-strong
    # GCC 12 sees overlapping copies inside std::string where there are none (its bug 105651).
    $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-restrict>
    # In sources that are compiled as one, what is local to one of them seems global to the next.
    $<$<BOOL:${CMAKE_UNITY_BUILD}>:-Wno-shadow>
    $<$<AND:$<BOOL:${CMAKE_UNITY_BUILD}>,$<COMPILE_LANG_AND_ID:CXX,GNU>>:-Wno-subobject-linkage>
    $<$<AND:$<BOOL:${CMAKE_UNITY_BUILD}>,$<COMPILE_LANG_AND_ID:CXX,Clang>>:-Wno-unused-private-field>
    $<$<COMPILE_LANG_AND_ID:CXX,Clang>:-Wthread-safety>
    $<$<BOOL:${VELMORAKIT_WARNINGS_AS_ERRORS}>:-Werror>)
# docs/security.md lists it beside the others.
include(CheckCXXCompilerFlag)
check_cxx_compiler_flag(-fstack-clash-protection VELMORAKIT_HAVE_STACK_CLASH_PROTECTION)
if(VELMORAKIT_HAVE_STACK_CLASH_PROTECTION)
    target_compile_options(velmora_compile_options INTERFACE -fstack-clash-protection)
endif()
target_link_options(velmora_compile_options INTERFACE
    LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
# Files and times have 64 bits all the same.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    target_compile_definitions(velmora_compile_options INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
endif()
if(VELMORAKIT_SANITIZE)
    target_compile_options(velmora_compile_options INTERFACE
        -fsanitize=${VELMORAKIT_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer
        # GCC loses track of what is set in code that a sanitizer has worked over.
        $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
    target_link_options(velmora_compile_options INTERFACE -fsanitize=${VELMORAKIT_SANITIZE})
else()
    target_compile_options(velmora_compile_options INTERFACE
        $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>
        # A twentieth of the library would be the names of its own types, which nothing asks for.
        $<$<AND:$<COMPILE_LANGUAGE:CXX>,$<NOT:$<CONFIG:Debug>>>:-fno-rtti>)
endif()

# Where the shared library is optimised as a whole.
set(VELMORAKIT_WHOLE_PROGRAM $<AND:$<CXX_COMPILER_ID:GNU>,$<CONFIG:Release,MinSizeRel>>)

# velmora_folder(NAME SOURCES... [LIBRARIES target...]) compiles one folder of src/ into objects.
# LIBRARIES are linked by whoever takes the objects.
function(velmora_folder name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES" ${ARGN})
    add_library(${name} OBJECT ${ARG_SOURCES})
    target_include_directories(${name} PRIVATE "${VelmoraKit_SOURCE_DIR}/src"
                                               "${VelmoraKit_SOURCE_DIR}/include")
    target_link_libraries(${name} PRIVATE velmora_compile_options ${ARG_LIBRARIES})
    # A host pays for every page: the heavy work is done in zlib, SQLite and libcurl, so that our own
    # code is built for size. The static library's objects hold plain code beside what the shared one
    # is optimised from as a whole.
    target_compile_options(${name} PRIVATE
        # Otherwise a thread's first use of a thread_local variable allocates, in a library that was
        # loaded later, and ends the process where there is no memory. There are a few words of them.
        -ftls-model=initial-exec
        $<$<NOT:$<CONFIG:Debug>>:-Oz -ffunction-sections -fdata-sections>
        # GCC takes the call of a small function for smaller than what it does, and keeps what is
        # common in registers, which are saved around every call.
        $<$<AND:$<CXX_COMPILER_ID:GNU>,$<NOT:$<CONFIG:Debug>>>:--param=max-inline-insns-size=2
            -fno-gcse>
        $<${VELMORAKIT_WHOLE_PROGRAM}:-flto=auto -ffat-lto-objects>)
    set_target_properties(${name} PROPERTIES
        POSITION_INDEPENDENT_CODE ON
        LINKER_LANGUAGE CXX
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON)
    set_property(GLOBAL APPEND PROPERTY VELMORA_FOLDERS ${name})
    set_property(GLOBAL APPEND PROPERTY VELMORA_LIBRARIES ${ARG_LIBRARIES})
endfunction()

# velmora_test(NAME SOURCES... USES folder...) builds a GoogleTest program from the folders' objects
# and registers each of its tests.
function(velmora_test name)
    cmake_parse_arguments(ARG "" "" "SOURCES;USES;LIBRARIES" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_include_directories(${name} PRIVATE "${VelmoraKit_SOURCE_DIR}/src"
        "${VelmoraKit_SOURCE_DIR}/include" "${VelmoraKit_SOURCE_DIR}/tests")
    get_property(libraries GLOBAL PROPERTY VELMORA_LIBRARIES)
    foreach(folder IN LISTS ARG_USES)
        target_sources(${name} PRIVATE $<TARGET_OBJECTS:${folder}>)
    endforeach()
    target_link_libraries(${name} PRIVATE velmora_test_support ${libraries} ${ARG_LIBRARIES}
                                          GTest::gmock GTest::gtest_main)
    # What is tested is optimised; the tests' macros take a compiler three times as long when they are.
    target_compile_options(${name} PRIVATE $<$<CONFIG:Debug>:-O0>)
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120)
endfunction()
