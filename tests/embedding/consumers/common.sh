# Read by the scripts beside it. Sets `here`; the caller's environment gives BUILD (the build tree
# whose products are tested), SOURCE (the tree) and WORK (a folder for what is made).
# shellcheck shell=bash
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
installed=$WORK/moved
mkdir -p "$WORK" # each script may be the first

fail() {
    echo "FAILED: $1" >&2
    exit 1
}

# run NAME...: both hosts of the folder say hello.
greet() {
    local store
    for host in "$1"/hello_cpp "$1"/hello_c; do
        store=$(mktemp -d)
        "$host" "$store/store.db" | tee "$store/said"
        grep -q '^hello from ' "$store/said" || fail "$host did not greet"
        rm -rf "$store"
    done
}

# linksAgainst FOLDER shared|static: whether both hosts of the folder load the shared library.
linksAgainst() {
    local host found
    for host in "$1"/hello_cpp "$1"/hello_c; do
        found=static
        readelf -d "$host" | grep 'NEEDED.*\[libVelmoraKit\.so\.1\]' >/dev/null && found=shared
        [ "$found" = "$2" ] || fail "$host is linked against the $found library, not the $2 one"
    done
}

# usePackage PREFIX FOLDER: makes the hosts with the package that find_package finds there.
usePackage() {
    local build kind
    for kind in shared static; do
        build=$WORK/$2-$kind
        rm -rf "$build"
        cmake -S "$here" -B "$build" -G "$GENERATOR" -DCMAKE_CXX_COMPILER="$CXX" \
            -DCMAKE_C_COMPILER="$CC" -DCMAKE_PREFIX_PATH="$1" -DKIND=$kind >"$build.log" ||
            { cat "$build.log"; fail "configuring"; }
        cmake --build "$build"
        greet "$build"
        linksAgainst "$build" $kind
    done
}
