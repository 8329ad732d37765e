// undisturbed INGEST STORE: compares what belongs to the whole process before and after posts to a
// server that closes its connections.

#include "Host.h"

#include <sys/stat.h>

#include <cerrno>
#include <clocale>
#include <csignal>
#include <filesystem>
#include <string>

namespace {

volatile std::sig_atomic_t brokenPipes = 0;

void countBrokenPipe(int) {
    brokenPipes = brokenPipes + 1;
}

std::string bytesOf(const void *object, std::size_t size) {
    return std::string(static_cast<const char *>(object), size);
}

/// Everything that a library could change behind its host's back, as one text.
std::string processState() {
    std::string state = std::setlocale(LC_ALL, nullptr);
    const mode_t mask = umask(0);
    umask(mask);
    state += "umask " + std::to_string(mask) + "folder " + std::filesystem::current_path().string();
    sigset_t blocked;
    sigprocmask(SIG_BLOCK, nullptr, &blocked);
    for (int number = 1; number < SIGRTMAX; ++number) {
        struct sigaction action {};
        if (sigaction(number, nullptr, &action) != 0)
            continue;
        state += std::to_string(sigismember(&blocked, number)) + std::to_string(action.sa_flags) +
                 bytesOf(&action.sa_handler, sizeof action.sa_handler);
    }
    for (char **variable = environ; *variable != nullptr; ++variable)
        state += *variable;
    return state;
}

} // namespace

int main(int, char **argv) {
    std::setlocale(LC_ALL, "C.UTF-8");
    umask(0);
    std::signal(SIGPIPE, countBrokenPipe);
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    sigprocmask(SIG_BLOCK, &blocked, nullptr);
    const std::string before = processState();

    errno = ENOTTY;
    configure(argv[1], argv[2]);
    start();
    for (const char *text : {"first", "second"}) {
        changeConsent(text);
        settle();
    }
    REQUIRE(errno == ENOTTY);
    REQUIRE(brokenPipes == 0);
    REQUIRE(processState() == before);
    struct stat store {};
    REQUIRE(stat(argv[2], &store) == 0 && (store.st_mode & 0777) == 0600);
}
