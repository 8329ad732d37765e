// forking INGEST STORE: forks before the SDK is used, before it is started and after a post, each
// child ending as a process normally does; then posts again.

#include "Host.h"

#include <sys/wait.h>

#include <cstdint>
#include <functional>
#include <string>

// What the SDK's threads hold is no leak, but in a forked child nothing refers to it.
extern "C" int __lsan_is_turned_off();
extern "C" int __lsan_is_turned_off() {
    return 1;
}

namespace {

void nothing(const char *, const char *, const char *, void *) {}

void inChild(const std::function<void()> &work) {
    const pid_t child = fork();
    if (child == 0) {
        work();
        std::exit(0);
    }
    int status = -1;
    REQUIRE(waitpid(child, &status, 0) == child && status == 0);
}

void notEither(const velmora_exchange *, void *) {}

void everythingIsRefused(velmora_observer *parents) {
    velmora_options options{};
    velmora_observer *observer = nullptr;
    velmora_exchange_observer *exchanges = nullptr;
    velmora_transport transport{};
    char *text = nullptr;
    void *data = nullptr;
    char **keys = nullptr;
    int number = 0;
    std::int64_t integer = 0;
    double real = 0;
    std::size_t length = 0;
    REQUIRE(velmora_options_init(&options, sizeof options) == VELMORA_OK);
    const velmora_result results[] = {
        velmora_configure(&options),
        velmora_configure_json("{}"),
        velmora_erase(),
        velmora_start("key", "secret"),
        velmora_will_enter_foreground(),
        velmora_run_loop_descriptor(&number),
        velmora_run_loop_process(),
        velmora_run_loop_run(0),
        velmora_run_loop_run_until_idle(0, &number),
        velmora_run_loop_stop(),
        velmora_preferences_set_string("kept", "by the child"),
        velmora_preferences_set_text("kept", "x", 1),
        velmora_preferences_set_integer("kept", 1),
        velmora_preferences_set_real("kept", 1),
        velmora_preferences_set_boolean("kept", 1),
        velmora_preferences_set_date("kept", 1),
        velmora_preferences_set_data("kept", "x", 1),
        velmora_preferences_set_json("kept", "1"),
        velmora_preferences_get_string("kept", &text, &length),
        velmora_preferences_get_integer("kept", &integer),
        velmora_preferences_get_real("kept", &real),
        velmora_preferences_get_boolean("kept", &number),
        velmora_preferences_get_date("kept", &real),
        velmora_preferences_get_data("kept", &data, &length),
        velmora_preferences_get_json("kept", &text),
        velmora_preferences_remove("kept"),
        velmora_preferences_set_string_on_main_loop("kept", "by the child"),
        velmora_preferences_set_json_on_main_loop("kept", "1"),
        velmora_preferences_remove_on_main_loop("kept"),
        velmora_preferences_keys(&keys, &length),
        velmora_preferences_synchronize(),
        velmora_preferences_observe("kept", nothing, nullptr, nullptr, &observer),
        velmora_preferences_unobserve(parents),
        velmora_status_json(&text),
        velmora_diagnose_json(&text),
        velmora_device_update(),
        velmora_device_response("{}"),
        velmora_set_log_sink(velmora_log_to_syslog, nullptr),
        velmora_observe_exchanges(notEither, nullptr, nullptr, &exchanges),
        velmora_unobserve_exchanges(exchanges),
        velmora_set_transport(&transport),
        velmora_transport_answer(1, 200, nullptr, 0),
        velmora_transport_fail(1, "forked"),
    };
    for (const velmora_result result : results)
        REQUIRE(result == VELMORA_FORKED_CHILD);
    REQUIRE(velmora_is_started() == 0);
    REQUIRE(velmora_version()[0] != '\0');
    REQUIRE(velmora_last_error_message()[0] != '\0');
}

} // namespace

int main(int, char **argv) {
    const std::string ownStore = std::string(argv[2]) + ".child";
    // Nothing has been used: the child is a host of its own.
    velmora_options unused;
    REQUIRE(velmora_options_init(&unused, sizeof unused) == VELMORA_OK);
    inChild([&] {
        configure(argv[1], ownStore.c_str());
        start();
    });

    configure(argv[1], argv[2]);
    REQUIRE(velmora_preferences_set_string("kept", "by the parent") == VELMORA_OK);
    velmora_observer *observer = nullptr;
    REQUIRE(velmora_preferences_observe("kept", nothing, nullptr, nullptr, &observer) ==
            VELMORA_OK);
    inChild([&] { everythingIsRefused(observer); });

    start();
    changeConsent("first");
    settle();
    inChild([&] { everythingIsRefused(observer); });

    changeConsent("second");
    settle();
    char *kept = nullptr;
    REQUIRE(velmora_preferences_get_string("kept", &kept, nullptr) == VELMORA_OK);
    REQUIRE(std::string(kept) == "by the parent");
    velmora_free(kept);
    REQUIRE(velmora_preferences_unobserve(observer) == VELMORA_OK);
}
