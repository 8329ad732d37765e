// outstanding HOW INGEST STORE: calls everything while a request is not answered, and then ends by
// HOW: "exit", "quick_exit" or "return".

#include "Host.h"

#include <cstring>

namespace {

constexpr int wellEnded = 7;

void callEverything() {
    int settled = 1;
    char *json = nullptr;
    changeConsent("second");
    REQUIRE(velmora_preferences_get_json("IABTCF_TCString", &json) == VELMORA_OK);
    velmora_free(json);
    REQUIRE(velmora_preferences_remove("other") == VELMORA_OK);
    for (int tries = 10; velmora_preferences_synchronize() != VELMORA_OK; --tries)
        REQUIRE(tries > 0); // a slow disk
    REQUIRE(velmora_will_enter_foreground() == VELMORA_OK);
    REQUIRE(velmora_device_response("{}") == VELMORA_OK);
    REQUIRE(velmora_status_json(&json) == VELMORA_OK);
    velmora_free(json);
    REQUIRE(velmora_start("key", "secret") == VELMORA_OK);
    REQUIRE(velmora_run_loop_process() == VELMORA_OK);
    REQUIRE(velmora_run_loop_run_until_idle(0, &settled) == VELMORA_OK && settled == 0);
}

} // namespace

int main(int, char **argv) {
    configure(argv[2], argv[3]);
    start();
    changeConsent("first");
    workUntilTold();
    callEverything();
    if (std::strcmp(argv[1], "exit") == 0)
        std::exit(wellEnded);
    if (std::strcmp(argv[1], "quick_exit") == 0)
        std::quick_exit(wellEnded);
    return wellEnded;
}
