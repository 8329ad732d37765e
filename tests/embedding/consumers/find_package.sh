#!/bin/bash
# find_package(VelmoraKit 1 CONFIG), shared and static, from an installation that was moved.
. "$(dirname "$0")/common.sh"

usePackage "$installed" find_package

project=$WORK/project
# configures LANGUAGES LINE...: whether a project of these lines can be configured.
configures() {
    rm -rf "$project"
    mkdir -p "$project"
    printf '%s\n' 'cmake_minimum_required(VERSION 3.22)' "project(Host LANGUAGES $1)" "${@:2}" \
        >"$project/CMakeLists.txt"
    cmake -S "$project" -B "$project/build" -G "$GENERATOR" -DCMAKE_CXX_COMPILER="$CXX" \
        -DCMAKE_C_COMPILER="$CC" -DCMAKE_PREFIX_PATH="$installed" >"$project.log" 2>&1
}

# refused REASON LINE...: a project of these lines is refused, and hears the reason.
refused() {
    configures "${languages:-C CXX}" "${@:2}" && fail "taken: $*"
    tr -s '\n ' ' ' <"$project.log" | grep -F "$1" >/dev/null || fail "no reason: $(cat "$project.log")"
}
find='find_package(VelmoraKit 1 CONFIG REQUIRED'
refused 'There is no component "nonsense"' "$find COMPONENTS nonsense)"
refused 'exclude each other' "$find COMPONENTS shared static)"
refused 'VelmoraKit::VelmoraKit_shared here since' "$find)" "$find)" "$find COMPONENTS static)"
languages=C refused 'add CXX to the languages of project()' "$find COMPONENTS static)"
configures C "$find)" "add_executable(hello_c $here/main.c)" \
    'target_link_libraries(hello_c PRIVATE VelmoraKit::VelmoraKit)' || fail "$(cat "$project.log")"
cmake --build "$project/build"

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
