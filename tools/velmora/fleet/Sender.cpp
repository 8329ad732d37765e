#include "fleet/Sender.h"

#include <new>

namespace velmora::fleet {
namespace {

constexpr long secondsForAnAnswer = 60;

std::size_t ignore(char * /*bytes*/, std::size_t size, std::size_t count, void * /*self*/) {
    return size * count;
}

} // namespace

Sender::Sender(std::size_t most, std::string certificates, Ended ended)
    : most_(most), certificates_(std::move(certificates)), ended_(std::move(ended)),
      multi_(curl_multi_init()) {
    if (multi_ == nullptr)
        throw std::bad_alloc();
    curl_multi_setopt(multi_, CURLMOPT_MAX_TOTAL_CONNECTIONS, static_cast<long>(most));
    curl_multi_setopt(multi_, CURLMOPT_MAXCONNECTS, static_cast<long>(most));
}

Sender::~Sender() {
    for (auto &[handle, exchange] : open_) {
        curl_multi_remove_handle(multi_, handle);
        curl_slist_free_all(exchange.headers);
        curl_easy_cleanup(handle);
    }
    for (CURL *handle : spare_)
        curl_easy_cleanup(handle);
    curl_multi_cleanup(multi_);
}

CURL *Sender::handle() {
    if (!spare_.empty()) {
        CURL *handle = spare_.back();
        spare_.pop_back();
        return handle;
    }
    CURL *handle = curl_easy_init();
    if (handle == nullptr)
        throw std::bad_alloc();
    curl_easy_setopt(handle, CURLOPT_POST, 1L);
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &ignore);
    curl_easy_setopt(handle, CURLOPT_TIMEOUT, secondsForAnAnswer);
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle, CURLOPT_PROXY, "");
    if (!certificates_.empty())
        curl_easy_setopt(handle, CURLOPT_CAINFO, certificates_.c_str());
    return handle;
}

void Sender::send(std::uint32_t device, WireRequest request) {
    CURL *handle = this->handle();
    curl_slist *headers = curl_slist_append(nullptr, "Expect:");
    for (const std::string &header : request.headers)
        headers = curl_slist_append(headers, header.c_str());
    const auto [place, isNew] = open_.emplace(
        handle, Exchange{device, std::move(request), headers, std::chrono::steady_clock::now()});
    const WireRequest &sent = place->second.request;
    curl_easy_setopt(handle, CURLOPT_URL, sent.url.c_str());
    curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE, static_cast<long>(sent.body.size()));
    curl_easy_setopt(handle, CURLOPT_POSTFIELDS, sent.body.data());
    curl_multi_add_handle(multi_, handle);
}

void Sender::work(std::chrono::milliseconds time) {
    int running = 0;
    curl_multi_perform(multi_, &running);
    if (static_cast<std::size_t>(running) == open_.size() && time.count() > 0) {
        curl_multi_poll(multi_, nullptr, 0, static_cast<int>(time.count()), nullptr);
        curl_multi_perform(multi_, &running);
    }
    int left = 0;
    while (const CURLMsg *message = curl_multi_info_read(multi_, &left))
        if (message->msg == CURLMSG_DONE)
            finish(message->easy_handle, message->data.result == CURLE_OK);
}

void Sender::finish(CURL *handle, bool isAnswered) {
    long status = 0;
    if (isAnswered)
        curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
    curl_multi_remove_handle(multi_, handle);
    const auto place = open_.find(handle);
    const Exchange exchange = std::move(place->second);
    open_.erase(place);
    spare_.push_back(handle);
    curl_slist_free_all(exchange.headers);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - exchange.begin;
    ended_(exchange.device, static_cast<int>(status), time.count(), exchange.request);
}

} // namespace velmora::fleet
