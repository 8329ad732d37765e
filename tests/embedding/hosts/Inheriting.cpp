// inheriting INGEST STORE: starts a program before the SDK is used and while a request is not
// answered, and compares the descriptors that it gets.

#include "Host.h"

#include <string>

namespace {

std::string inheritedDescriptors() {
    std::FILE *program = popen("ls /proc/self/fd", "r");
    REQUIRE(program != nullptr);
    std::string text;
    for (int c = 0; (c = std::fgetc(program)) != EOF;)
        text += static_cast<char>(c);
    REQUIRE(pclose(program) == 0);
    return text;
}

} // namespace

int main(int, char **argv) {
    const std::string before = inheritedDescriptors();
    configure(argv[1], argv[2]);
    start();
    changeConsent("first");
    workUntilTold();
    REQUIRE(inheritedDescriptors() == before);
}
