#!/bin/bash
# find_package(VelmoraKit 1 CONFIG), shared and static, from an installation that was moved.
. "$(dirname "$0")/common.sh"

usePackage "$installed" find_package

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
