#!/bin/bash
# The Debian packages: made as Debian makes them, looked at, installed by apt into a tree of its own,
# used by the hosts, removed.
#
# The tree's package database begins as a copy of this machine's, so that apt resolves the packages'
# dependencies for real, without a network, while dpkg unpacks nothing but these packages into it.
. "$(dirname "$0")/common.sh"

for tool in apt-get dpkg dpkg-buildpackage dh dh_python3 lintian hardening-check; do
    command -v $tool >/dev/null || { echo "SKIPPED: $tool is not installed"; exit 77; }
done
[ "$(id -u)" -eq 0 ] || { echo "SKIPPED: dpkg gives files to root, which needs root rights"; exit 77; }

missing=$(cd "$SOURCE" && dpkg-checkbuilddeps 2>&1) ||
    { echo "SKIPPED: ${missing##*error: } (scripts/setup build collector check)"; exit 77; }

packages=$WORK/packages
tree=$WORK/tree
rm -rf "$packages" "$tree"
mkdir -p "$packages/source"
tar -C "$SOURCE" --exclude=./build --exclude=./.git -cf - . | tar -C "$packages/source" -xf -
CMAKE_CXX_COMPILER_LAUNCHER=$(command -v ccache || true)
export CMAKE_CXX_COMPILER_LAUNCHER
if [ -n "$CMAKE_CXX_COMPILER_LAUNCHER" ]; then # debhelper gives the build a home folder of its own
    CCACHE_DIR=$(ccache -k cache_dir)
    CCACHE_MAXSIZE=$(ccache -k max_size)
    export CCACHE_DIR CCACHE_MAXSIZE
fi
(cd "$packages/source" && HOME=${HOME:-/root} dpkg-buildpackage -b -us -uc) >"$packages.log" 2>&1 ||
    { tail -50 "$packages.log"; fail "making the packages"; }
rm -rf "$packages/source"
lintian --fail-on error,warning "$packages"/*.deb || fail "lintian complains"
[ -e "$(echo "$packages"/libvelmorakit1-dbgsym_*.deb)" ] || fail "there are no debug symbols"
library=$(echo "$packages"/libvelmorakit1_*.deb)
development=$(echo "$packages"/libvelmorakit-dev_*.deb)
tools=$(echo "$packages"/velmora-tools_*.deb)

# expect PACKAGE FIELD TEXT: an entry of the field begins with the text. What follows a library's name
# differs between releases.
expect() {
    local value
    value=$(dpkg-deb -f "$1" "$2")
    case ", $value," in *", $3"*) ;; *) fail "$(basename "$1"): $2 lacks \"$3\": $value" ;; esac
}
for needed in libc6 libstdc++6 libcurl4 libsqlite3-0 libssl3 libutf8proc zlib1g; do
    expect "$library" Depends $needed
done
expect "$library" Recommends ca-certificates
expect "$development" Depends "libvelmorakit1 (= $VERSION)"
expect "$tools" Depends "libvelmorakit1 (>= $VERSION)"
expect "$tools" Depends libc6
dpkg-deb -I "$library" shlibs | grep -x "libVelmoraKit 1 libvelmorakit1 (>= $VERSION)" >/dev/null ||
    fail "the shlibs file: $(dpkg-deb -I "$library" shlibs)"
# What a program needs to run comes without what is needed to build one.
dpkg-deb -c "$library" | grep -E '\.(h|a|so|cmake|pc)$' && fail "the library's package holds more"

mkdir -p "$tree"/etc "$tree"/var/lib/dpkg/{info,updates,triggers} "$tree"/var/lib/apt/lists/partial \
    "$tree"/var/cache/apt/archives/partial "$tree"/var/log/apt
cp /var/lib/dpkg/status "$tree/var/lib/dpkg/"
cp /var/lib/dpkg/info/*.list "$tree/var/lib/dpkg/info/"
cp /var/lib/dpkg/info/format "$tree/var/lib/dpkg/info/"
cp /var/lib/dpkg/arch "$tree/var/lib/dpkg/" 2>/dev/null || true
cat >"$WORK/apt.conf" <<END
Dir::Etc::Parts "/dev/null";
Dir::Etc::SourceList "/dev/null";
Dir::Etc::SourceParts "/dev/null";
Dir::State "$tree/var/lib/apt";
Dir::State::status "$tree/var/lib/dpkg/status";
Dir::Cache "$tree/var/cache/apt";
Dir::Log "$tree/var/log/apt";
DPkg::Path "/usr/sbin:/usr/bin:/sbin:/bin";
DPkg::Options { "--root=$tree"; "--force-script-chrootless"; };
APT::Sandbox::User "root";
APT::Get::Assume-Yes "true";
END
export APT_CONFIG=$WORK/apt.conf DEBIAN_FRONTEND=noninteractive
apt-get -qq install "$library" "$development" "$tools" </dev/null
for package in libvelmorakit1 libvelmorakit-dev velmora-tools; do
    [ "$(dpkg-query --admindir="$tree/var/lib/dpkg" -W -f '${db:Status-Status}' $package)" = installed ] ||
        fail "$package is not installed"
done

# What the trigger has done on a machine.
dpkg-deb -I "$library" triggers | grep -x 'activate-noawait ldconfig' >/dev/null ||
    fail "nobody tells the loader of the library"
cp -r /etc/ld.so.conf /etc/ld.so.conf.d "$tree/etc/"
/sbin/ldconfig -r "$tree"
/sbin/ldconfig -r "$tree" -p | grep 'libVelmoraKit\.so\.1 ' >/dev/null || fail "the loader does not know it"
shared=$(find "$tree/usr" -name libVelmoraKit.so.1)
nm "$shared" 2>&1 | grep 'no symbols' >/dev/null || fail "the library is not stripped"
readelf -d "$tree/usr/bin/velmora" | grep -E 'R(UN)?PATH' && fail "velmora names a folder of libraries"
hardening-check --nocfprotection "$shared" "$tree/usr/bin/velmora" || fail "the files are not hardened"
LD_LIBRARY_PATH=$(dirname "$shared") "$tree/usr/bin/velmora" --help >/dev/null || fail "velmora does not run"
python=$(echo "$packages"/python3-velmorakit_*.deb)
expect "$python" Depends "libvelmorakit1 (>= $VERSION)"
rm -rf "$WORK/python"
dpkg-deb -x "$python" "$WORK/python"
LD_LIBRARY_PATH=$(dirname "$shared") PYTHONPATH=$WORK/python/usr/lib/python3/dist-packages \
    python3 -c 'import velmorakit' || fail "Python does not find the library"
usePackage "$tree/usr" debian

apt-get -qq purge libvelmorakit1 libvelmorakit-dev velmora-tools </dev/null
left=$(find "$tree/usr" -type f -o -type l 2>/dev/null || true)
[ -z "$left" ] || fail "left after the removal: $left"
