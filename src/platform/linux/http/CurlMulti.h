#pragma once

#include <curl/curl.h>

#include <memory>

namespace vmr {

struct CleanUpMulti {
    void operator()(CURLM *multi) const;
};

/// A multi handle that is ready for use: its polls can be interrupted from other threads and when
/// the process ends, and the descriptors for that are not inherited by programs the host starts.
/// Destroyed, like everything of libcurl, within a `CurlLibrary::Use`.
using CurlMulti = std::unique_ptr<CURLM, CleanUpMulti>;

/// Empty when the process is out of memory or descriptors. Called within a `CurlLibrary::Use`.
CurlMulti openCurlMulti();

} // namespace vmr
