#pragma once

#include <VelmoraKit/velmora.h>

#include <poll.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

/// Ends the host with a message unless `holds`.
inline void require(bool holds, const char *what) {
    if (holds)
        return;
    std::fprintf(stderr, "%s: \"%s\"\n", what, velmora_last_error_message());
    std::_Exit(1);
}

#define REQUIRE(condition) require(condition, #condition)

inline void configure(const char *ingest, const char *store,
                      const char *certificateAuthorityFile = nullptr) {
    velmora_options options;
    velmora_options_init(&options, sizeof options);
    options.bundle_identifier = "com.example.host";
    options.app_version = "1.0";
    options.ingest_base_address = ingest;
    options.store_path = store;
    options.certificate_authority_file = certificateAuthorityFile;
    REQUIRE(velmora_configure(&options) == VELMORA_OK);
}

inline void start() {
    REQUIRE(velmora_start("key", "secret") == VELMORA_OK);
}

inline void changeConsent(const char *text) {
    REQUIRE(velmora_preferences_set_string("IABTCF_TCString", text) == VELMORA_OK);
}

inline void settle() {
    int settled = 0;
    REQUIRE(velmora_run_loop_run_until_idle(60, &settled) == VELMORA_OK);
    REQUIRE(settled == 1);
}

/// Tells the test something: a line of JSON.
inline void say(const char *json) {
    std::puts(json);
    std::fflush(stdout);
}

/// Lets the main loop work until the test writes a line.
inline void workUntilTold() {
    pollfd watched[] = {{-1, POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
    REQUIRE(velmora_run_loop_descriptor(&watched[0].fd) == VELMORA_OK);
    for (;;) {
        poll(watched, 2, -1);
        if (watched[0].revents != 0)
            REQUIRE(velmora_run_loop_process() == VELMORA_OK);
        if (watched[1].revents != 0)
            break;
    }
    char line[16];
    REQUIRE(read(STDIN_FILENO, line, sizeof line) > 0);
}
