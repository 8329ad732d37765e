#!/bin/bash
# A library without libcurl, where there is none: a host's own transport delivers to a real service,
# a host without one hears what is missing, and nobody asks for libcurl. The folder is kept, so that
# only the first time takes long.
. "$(dirname "$0")/common.sh"

build=$WORK/without_libcurl
prefix=$build/installed
launcher=$(command -v ccache || true)
compilers=(-G "$GENERATOR" -DCMAKE_CXX_COMPILER="$CXX" -DCMAKE_C_COMPILER="$CC"
    -DCMAKE_DISABLE_FIND_PACKAGE_CURL=ON)
cmake -S "$SOURCE" -B "$build" "${compilers[@]}" -DCMAKE_CXX_COMPILER_LAUNCHER="$launcher" \
    -DCMAKE_UNITY_BUILD=ON -DVELMORAKIT_HTTP=none -DCMAKE_INSTALL_LIBDIR=lib >"$build.log" ||
    { cat "$build.log"; fail "configuring"; }
cmake --build "$build" --target VelmoraKit_shared VelmoraKit_static
cmake --install "$build" --prefix "$prefix" >"$build.log"
readelf -d "$prefix/lib/libVelmoraKit.so" | grep curl && fail "the library loads libcurl"

cmake -S "$here" -B "$build/host" "${compilers[@]}" -DCMAKE_PREFIX_PATH="$prefix" -DKIND=static \
    >"$build.log" || { cat "$build.log"; fail "find_package"; }
export PKG_CONFIG_PATH=$prefix/lib/pkgconfig LD_LIBRARY_PATH=$prefix/lib
pkg-config --static --libs velmorakit | grep -e -lcurl && fail "pkg-config names libcurl"

cat >"$build/host.c" <<'END'
#include <VelmoraKit/velmora.h>
#include <stdio.h>
static void ended(const velmora_exchange *exchange, void *context) {
    (void)context;
    puts(exchange->error);
}
int main(int argc, char **argv) {
    velmora_exchange_observer *observer;
    velmora_options options;
    int settled;
    velmora_options_init(&options, sizeof options);
    options.store_path = argv[argc - 1];
    options.ingest_base_address = "http://127.0.0.1:1/";
    return velmora_configure(&options) != VELMORA_OK || velmora_start("k1", "s3") != VELMORA_OK ||
           velmora_observe_exchanges(ended, NULL, NULL, &observer) != VELMORA_OK ||
           velmora_will_enter_foreground() != VELMORA_OK ||
           velmora_run_loop_run_until_idle(60, &settled) != VELMORA_OK;
}
END
# shellcheck disable=SC2046 # several words
"$CC" "$build/host.c" -o "$build/bare" \
    $(pkg-config --static --define-variable=library=-l:libVelmoraKit.a --cflags --libs velmorakit)
rm -f "$build"/store.db*
"$build/bare" "$build/store.db" 2>"$build/errors" | grep -F 'call velmora_set_transport' ||
    fail "no word about the transport"
grep -F 'requests cannot be sent: this library was built without libcurl' "$build/errors" ||
    fail "no line about the transport"

# The tests of hosts with a transport of their own, with this library in the place of the build's.
tests=$BUILD/tests/api/velmora_api_tests
ldd "$tests" | grep -F "$prefix/lib/libVelmoraKit" >/dev/null || fail "the tests take another library"
for name in $("$tests" --gtest_list_tests --gtest_filter='OwnTransportTest.*' | sed -n 's/^  //p'); do
    "$tests" --gtest_brief=1 --gtest_filter="OwnTransportTest.$name"
done
