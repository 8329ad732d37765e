#include "RawPost.h"

#include <curl/curl.h>

#include <cstdlib>

namespace bench {

RawPost::RawPost(const std::string &address) : handle_(curl_easy_init()) {
    curl_easy_setopt(handle_, CURLOPT_URL, address.c_str());
    curl_easy_setopt(handle_, CURLOPT_POST, 1L);
}

RawPost::~RawPost() {
    curl_easy_cleanup(handle_);
}

void RawPost::post(const std::string &body) {
    curl_easy_setopt(handle_, CURLOPT_POSTFIELDS, body.data());
    curl_easy_setopt(handle_, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    // "Expect: 100-continue" would wait for an answer first; the product does not ask for it.
    curl_slist *headers = curl_slist_append(nullptr, "Expect:");
    curl_easy_setopt(handle_, CURLOPT_HTTPHEADER, headers);
    if (curl_easy_perform(handle_) != CURLE_OK)
        std::abort();
    curl_slist_free_all(headers);
}

} // namespace bench
