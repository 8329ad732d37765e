#!/bin/bash
# add_subdirectory: the library is compiled within the host's project. The folder is kept, so that
# only the first time takes long.
. "$(dirname "$0")/common.sh"

build=$WORK/add_subdirectory
launcher=$(command -v ccache || true)
cmake -S "$here" -B "$build" -G "$GENERATOR" -DCMAKE_CXX_COMPILER="$CXX" \
    -DCMAKE_C_COMPILER="$CC" -DCMAKE_CXX_COMPILER_LAUNCHER="$launcher" -DTREE="$SOURCE" >"$build.log" ||
    { cat "$build.log"; fail "configuring"; }
cmake --build "$build" --target hello_cpp hello_c
greet "$build"
# The tools and tests, and their dependencies, stay out of the host's project.
cmake --build "$build" --target help | grep -E 'velmora_.*tests|velmora_example|[/ ]velmora:' &&
    fail "the host's project holds more than the library"
exit 0
