# Read by the scripts beside it. Sets `here`; the caller's environment gives BUILD (the build tree
# whose products are tested), SOURCE (the tree) and WORK (a folder for what is made).
# shellcheck shell=bash
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
installed=$WORK/moved

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

# needsLibrary PROGRAM yes|no: whether it loads the shared library.
needsLibrary() {
    local found=no
    readelf -d "$1" | grep 'NEEDED.*\[libVelmoraKit\.so\.1\]' >/dev/null && found=yes
    [ "$found" = "$2" ] || fail "$1 loads libVelmoraKit.so.1: $found, expected: $2"
}
