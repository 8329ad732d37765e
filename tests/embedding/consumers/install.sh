#!/bin/bash
# Installs the build, moves a copy away for the consumers, and uninstalls.
. "$(dirname "$0")/common.sh"

# The build tree's own list of an earlier install stays as it was.
manifest=$BUILD/install_manifest.txt
rm -rf "$WORK/prefix" "$installed"
mkdir -p "$WORK"
[ ! -e "$manifest" ] || mv "$manifest" "$WORK/earlier-manifest"
trap 'rm -f "$manifest"; [ ! -e "$WORK/earlier-manifest" ] || mv "$WORK/earlier-manifest" "$manifest"' EXIT

cmake --install "$BUILD" --prefix "$WORK/prefix" >"$WORK/install.log"
mkdir -p "$WORK/prefix/lib"
touch "$WORK/prefix/lib/foreign"
cp -a "$WORK/prefix" "$installed"
echo "installed:"
(cd "$installed" && find . -type f -o -type l | sort)
grep -rlI "$WORK/prefix\|$BUILD\|$SOURCE" "$installed" &&
    fail "these files name the folder that they were installed to or built in"
library=$(find "$installed" -name libVelmoraKit.so)
readelf -dW "$library" | grep 'SONAME.*\[libVelmoraKit\.so\.1\]' >/dev/null || fail "the library's soname"
readelf --dyn-syms -W "$library" | grep 'velmora_start@@VELMORAKIT_1$' >/dev/null || fail "the symbols' version"
# Without memory either would end the process, in a plugin too.
readelf -dW "$library" | grep STATIC_TLS >/dev/null || fail "a thread's first use of the library allocates"
readelf --dyn-syms -W "$library" | grep -E 'UND (EVP|HMAC)' && fail "digests that allocate"
for program in "$installed"/bin/*; do
    readelf -d "$program" | grep -E 'R(UN)?PATH' | grep -F "$BUILD" && fail "$program names the build tree"
done
# From a prefix that the loader does not know, after the move too.
"$installed/bin/velmora" --help >/dev/null || fail "velmora does not find its library"
documents=$installed/share/doc/VelmoraKit
(cd "$documents" && grep -oE '\]\([A-Za-z0-9./-]+[#)]' README.md docs/*.md) |
    while IFS=: read -r page link; do
        link=${link#*(}
        [ -e "$documents/$(dirname "$page")/${link%[#)]}" ] ||
            fail "$page points to ${link%[#)]}, which is not installed"
    done

DESTDIR='' cmake -P "$BUILD/Uninstall.cmake" >"$WORK/uninstall.log"
left=$(cd "$WORK/prefix" && find . -type f -o -type l -o -name VelmoraKit)
[ "$left" = ./lib/foreign ] || fail "left after uninstalling: $left"
