#!/bin/bash
# add_subdirectory: the library is compiled within the host's project, whatever that project demands
# of its own sources. The folder is kept, so that only the first time takes long.
. "$(dirname "$0")/common.sh"

build=$WORK/add_subdirectory
launcher=$(command -v ccache || true)
cmake -S "$here" -B "$build" -G "$GENERATOR" -DCMAKE_CXX_COMPILER="$CXX" \
    -DCMAKE_C_COMPILER="$CC" -DCMAKE_CXX_COMPILER_LAUNCHER="$launcher" -DTREE="$SOURCE" \
    -DCMAKE_CXX_FLAGS="-fno-exceptions -fno-rtti" -DCMAKE_UNITY_BUILD=ON \
    -DCMAKE_COMPILE_WARNING_AS_ERROR=ON -DCMAKE_EXPORT_COMPILE_COMMANDS=ON >"$build.log" ||
    { cat "$build.log"; fail "configuring"; }
cmake --build "$build" --target hello_cpp hello_c
greet "$build"
ours=$(grep -F -- " -c $SOURCE/src/" "$build/compile_commands.json") || fail "no source of the library"
grep -v -- '-Wno-error' <<<"$ours" &&
    fail "the host's project turns the library's warnings into errors"
# The tools and tests, and their dependencies, stay out of the host's project.
cmake --build "$build" --target help | grep -E 'velmora_.*tests|velmora_example|[/ ]velmora:' &&
    fail "the host's project holds more than the library"

# A library that is installed and exported itself, with this one in it.
project=$WORK/exporting
mkdir -p "$project"
cat >"$project/CMakeLists.txt" <<END
cmake_minimum_required(VERSION 3.22)
project(Exporting LANGUAGES C CXX)
add_subdirectory("$SOURCE" velmorakit EXCLUDE_FROM_ALL)
add_library(own STATIC "$here/main.c")
target_link_libraries(own PRIVATE VelmoraKit::VelmoraKit)
install(TARGETS own EXPORT OwnTargets)
install(EXPORT OwnTargets DESTINATION lib/cmake/Own)
END
cmake -S "$project" -B "$project/build" -G "$GENERATOR" -DCMAKE_CXX_COMPILER="$CXX" \
    -DCMAKE_C_COMPILER="$CC" -DVELMORAKIT_INSTALL=ON >"$project.log" 2>&1 || fail "$(cat "$project.log")"
exit 0
