#pragma once

#include <curl/curl.h>

namespace vmr {

/// A multi handle that is ready for use: its polls can be interrupted from other threads, and the
/// descriptors for that are not inherited by programs the host starts. Null when the process is out
/// of memory or descriptors. Called within a `CurlLibrary::Use`.
CURLM *openCurlMulti();

} // namespace vmr
