#!/bin/bash
# find_package(VelmoraKit 1 CONFIG), shared and static, from an installation that was moved.
. "$(dirname "$0")/common.sh"

usePackage "$installed" find_package

# refused REASON LINE...: a project of these lines is refused, and hears the reason.
refused() {
    local reason=$1 project=$WORK/refused
    shift
    rm -rf "$project"
    mkdir -p "$project"
    printf '%s\n' 'cmake_minimum_required(VERSION 3.25)' 'project(Refused LANGUAGES C CXX)' "$@" \
        >"$project/CMakeLists.txt"
    cmake -S "$project" -B "$project/build" -G "$GENERATOR" -DCMAKE_CXX_COMPILER="$CXX" \
        -DCMAKE_C_COMPILER="$CC" -DCMAKE_PREFIX_PATH="$installed" >"$project.log" 2>&1 &&
        fail "taken: $*"
    tr -s '\n ' ' ' <"$project.log" | grep -F "$reason" >/dev/null || fail "no reason: $(cat "$project.log")"
}
find='find_package(VelmoraKit 1 CONFIG REQUIRED'
refused 'There is no component "nonsense"' "$find COMPONENTS nonsense)"
refused 'exclude each other' "$find COMPONENTS shared static)"
refused 'VelmoraKit::VelmoraKit_shared here since' "$find)" "$find)" "$find COMPONENTS static)"

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
