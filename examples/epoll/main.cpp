/*
 * A command-line application with an epoll loop. Every line on standard input plays a consent tool:
 * it is a new TCF v2 string.
 *
 *   g++ -std=c++17 main.cpp $(pkg-config --cflags --libs velmorakit) \
 *       -Wl,-rpath,$(pkg-config --variable=libdir velmorakit)
 *   VELMORA_INGEST=http://127.0.0.1:8080/ VELMORA_API_KEY=key VELMORA_SECRET=secret ./a.out
 */

#include <VelmoraKit/VelmoraKit.h>

#include <sys/epoll.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>

using VelmoraKit::Velmora;

namespace {

bool startVelmora() {
    VelmoraKit::Options options;
    options.bundleIdentifier = "com.example.epoll";
    options.appVersion = "1.0";
    options.ingestBaseAddress = std::getenv("VELMORA_INGEST");
    options.storePath = std::getenv("VELMORA_STORE");
    VelmoraKit::Result result = Velmora::configure(options);
    if (result)
        result =
            Velmora::initWithApiKey(std::getenv("VELMORA_API_KEY"), std::getenv("VELMORA_SECRET"));
    if (!result)
        std::cerr << "VelmoraKit: " << result.message() << '\n';
    return static_cast<bool>(result);
}

void watch(int epoll, int descriptor) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = descriptor;
    epoll_ctl(epoll, EPOLL_CTL_ADD, descriptor, &event);
}

} // namespace

int main() {
    if (!startVelmora())
        return 1;
    Velmora &velmora = Velmora::sharedVelmora();
    // An application without windows comes to the foreground when it starts. This posts what an
    // earlier run could not. A string that is set while that post is under way goes with its
    // success, unsent: so first let it end. A host that cannot wait sets options.keepUnsent.
    velmora.applicationWillEnterForeground();
    velmora.mainRunLoop().runUntilIdle(5);

    const int sdk = velmora.mainRunLoop().descriptor();
    const int epoll = epoll_create1(EPOLL_CLOEXEC);
    watch(epoll, sdk);
    watch(epoll, STDIN_FILENO);
    for (;;) {
        epoll_event event{};
        if (epoll_wait(epoll, &event, 1, -1) < 0)
            continue; // interrupted by a signal
        if (event.data.fd == sdk) {
            velmora.mainRunLoop().process();
            continue;
        }
        // What one read brings is one line: enough for input that is typed.
        char line[4096];
        const ssize_t length = read(STDIN_FILENO, line, sizeof line);
        if (length <= 0)
            return 0; // nothing needs to be ended: what is not posted yet is stored
        velmora.preferences().setString(
            "IABTCF_TCString", std::string_view(line, static_cast<std::size_t>(length) - 1));
    }
}
