#include "linux/PreferencesFixture.h"

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

namespace vmr::test {

bool PreferencesTest::await(const std::function<bool()> &done) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!done()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

int PreferencesTest::inChild(const std::function<int()> &work) {
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(work());
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

} // namespace vmr::test
