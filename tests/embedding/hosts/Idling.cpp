// idling INGEST STORE: starts, does nothing until told, posts a consent, and does nothing again.

#include "Host.h"

#include <string>

int main(int, char **argv) {
    configure(argv[1], argv[2]);
    start();
    say(("{\"pid\":" + std::to_string(getpid()) + "}").c_str());
    workUntilTold();
    changeConsent("first");
    workUntilTold();
}
