#!/bin/bash
# pkg-config, shared and static, from an installation that was moved.
. "$(dirname "$0")/common.sh"

PKG_CONFIG_PATH=$(dirname "$(find "$installed" -name velmorakit.pc)")
export PKG_CONFIG_PATH
libraries=$(pkg-config --variable=libdir velmorakit)
[ "$(pkg-config --modversion velmorakit)" = "$VERSION" ] || fail "the version"
for kind in shared static; do
    echo "== $kind"
    build=$WORK/pkg_config-$kind
    mkdir -p "$build"
    options=()
    [ $kind = static ] && options=(--static --define-variable=library=-l:libVelmoraKit.a)
    read -ra compile < <(pkg-config --cflags velmorakit)
    read -ra link < <(pkg-config "${options[@]}" --libs velmorakit)
    echo "${compile[*]} ${link[*]}"
    "$CXX" -std=c++17 "${compile[@]}" "$here/main.cpp" -o "$build/hello_cpp" "${link[@]}"
    "$CC" -std=c99 "${compile[@]}" "$here/main.c" -o "$build/hello_c" "${link[@]}"
    LD_LIBRARY_PATH=$libraries greet "$build"
    linksAgainst "$build" $kind
done
