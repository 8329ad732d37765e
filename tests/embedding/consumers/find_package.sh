#!/bin/bash
# find_package(VelmoraKit 1 CONFIG), shared and static, from an installation that was moved.
. "$(dirname "$0")/common.sh"

for kind in shared static; do
    echo "== $kind"
    build=$WORK/find_package-$kind
    rm -rf "$build"
    cmake -S "$here" -B "$build" -G "$GENERATOR" -DCMAKE_CXX_COMPILER="$CXX" \
        -DCMAKE_C_COMPILER="$CC" -DCMAKE_PREFIX_PATH="$installed" -DKIND=$kind >"$build.log" ||
        { cat "$build.log"; fail "configuring"; }
    cmake --build "$build"
    greet "$build"
    for host in hello_cpp hello_c; do
        needsLibrary "$build/$host" "$([ $kind = shared ] && echo yes || echo no)"
    done
done

# A host that asks for another major version is refused.
mkdir -p "$WORK/newer"
cat >"$WORK/newer/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.25)
project(Newer LANGUAGES NONE)
find_package(VelmoraKit 2 CONFIG QUIET)
if(VelmoraKit_FOUND)
    message(FATAL_ERROR "version 1 was taken for version 2")
endif()
END
cmake -S "$WORK/newer" -B "$WORK/newer/build" -DCMAKE_PREFIX_PATH="$installed" >"$WORK/newer.log"
