// A host whose process ends or forks in the middle of an exchange. Starts one to
// the address it is given, waits for a byte on standard input, and then does as it is told; its
// exit status is the verdict.

#include "platform/Activity.h"
#include "platform/linux/http/CurlHTTPSession.h"
#include "support/RecordingLog.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <future>
#include <string_view>

// What the session's thread holds is no leak, but in a forked child nothing refers to it.
extern "C" int __lsan_is_turned_off();
extern "C" int __lsan_is_turned_off() {
    return 1;
}

namespace {

constexpr int wellEnded = 7;

vmr::HTTPOutcome outcomeOf(vmr::HTTPSession &session, const std::string &url) {
    const auto promise = std::make_shared<std::promise<vmr::HTTPOutcome>>();
    session.send({url, std::nullopt, {}, {}},
                 [promise](const vmr::HTTPOutcome &outcome) { promise->set_value(outcome); });
    return promise->get_future().get();
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 3)
        return 1;
    const std::string_view mode = argv[1];
    const std::string url = argv[2];
    static auto &session =
        *new vmr::CurlHTTPSession({}, *new vmr::test::RecordingLog, *new vmr::Activity);
    static auto &ended = *new std::promise<void>;
    const auto start = [&](std::function<void()> completion) {
        session.send({url, "POST", {}, vmr::Data("x")},
                     [completion](const vmr::HTTPOutcome &) { completion(); });
    };

    if (mode == "exit-in-completion") {
        start([] { std::exit(wellEnded); });
        ::pause();
    }
    if (mode == "fork") {
        start([] { ended.set_value(); });
        std::getchar();
        const pid_t child = ::fork();
        if (child == 0) {
            start([] { std::_Exit(1); });
            std::exit(0);
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        if (status != 0)
            return 2;
        std::puts("true");
        std::fflush(stdout);
        ended.get_future().wait();
        return wellEnded;
    }
    if (mode == "no-descriptors") {
        rlimit limit{};
        ::getrlimit(RLIMIT_NOFILE, &limit);
        const rlimit none{3, limit.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &none);
        const vmr::HTTPOutcome refused = outcomeOf(session, url);
        ::setrlimit(RLIMIT_NOFILE, &limit);
        const bool recovered = outcomeOf(session, url).statusCode == 200;
        return refused.error && recovered ? wellEnded : 4;
    }

    start([] {});
    if (mode == "exit-at-once")
        std::exit(wellEnded);
    std::getchar();
    if (mode == "exit")
        std::exit(wellEnded);
    if (mode == "quick_exit")
        std::quick_exit(wellEnded);
    return wellEnded;
}
