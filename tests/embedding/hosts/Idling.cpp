// idling INGEST STORE: starts, tells how many threads it has then, does nothing until told, posts a
// consent, and does nothing again.

#include "Host.h"

#include <filesystem>
#include <iterator>
#include <string>

int main(int, char **argv) {
    configure(argv[1], argv[2]);
    start();
    const auto threads = std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
    say(("{\"pid\":" + std::to_string(getpid()) + ",\"threads\":" + std::to_string(threads) + "}")
            .c_str());
    workUntilTold();
    changeConsent("first");
    workUntilTold();
}
