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
exit 0
