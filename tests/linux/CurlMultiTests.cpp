#include "platform/linux/http/CurlMulti.h"

#include <curl/curl.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <thread>

namespace vmr::test {
namespace {

int socketsForChildren() {
    int count = 0;
    for (int descriptor = 3; descriptor < 256; ++descriptor) {
        int domain = 0;
        socklen_t size = sizeof domain;
        if (::getsockopt(descriptor, SOL_SOCKET, SO_DOMAIN, &domain, &size) == 0 &&
            (::fcntl(descriptor, F_GETFD) & FD_CLOEXEC) == 0)
            ++count;
    }
    return count;
}

TEST(CurlMulti, KeepsItsSocketsFromChildrenWhileOtherThreadsOpenFiles) {
    ASSERT_EQ(::curl_global_init(CURL_GLOBAL_DEFAULT), CURLE_OK);
    const int before = socketsForChildren();
    std::atomic<bool> ends{false};
    std::thread other([&ends] {
        while (!ends)
            ::close(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    });
    for (int i = 0; i < 300 && !HasFailure(); ++i) {
        const std::unique_ptr<CURLM, decltype(&::curl_multi_cleanup)> multi(openCurlMulti(),
                                                                            &::curl_multi_cleanup);
        EXPECT_TRUE(multi);
        EXPECT_EQ(socketsForChildren(), before) << "after " << i;
    }
    ends = true;
    other.join();
    ::curl_global_cleanup();
}

} // namespace
} // namespace vmr::test
