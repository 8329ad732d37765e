SUMMARY = "Embeddable consent and device reporting for Linux applications"
HOMEPAGE = "https://velmora.example/kit"
LICENSE = "CLOSED"

# The tree that this recipe lies in.
inherit cmake pkgconfig externalsrc
EXTERNALSRC = "${THISDIR}/../.."

DEPENDS = "curl openssl sqlite3 zlib utf8proc rapidjson msgpack-cpp"
RRECOMMENDS:${PN} = "ca-certificates"

EXTRA_OECMAKE = " \
    -DVELMORAKIT_BUILD_TOOLS=OFF \
    -DVELMORAKIT_BUILD_TESTS=OFF \
    -DVELMORAKIT_BUILD_EXAMPLES=OFF \
"
