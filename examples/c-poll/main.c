/*
 * A command-line application in C99 with a poll loop. Every line on standard input plays a consent
 * tool: it is a new TCF v2 string.
 *
 *   cc -std=c99 main.c $(pkg-config --cflags --libs velmorakit) \
 *       -Wl,-rpath,$(pkg-config --variable=libdir velmorakit)
 *   VELMORA_INGEST=http://127.0.0.1:8080/ VELMORA_API_KEY=key VELMORA_SECRET=secret ./a.out
 */
#define _POSIX_C_SOURCE 200809L

#include <VelmoraKit/velmora.h>

#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

static velmora_result start_velmora(void) {
    velmora_options options;
    velmora_options_init(&options, sizeof options);
    options.bundle_identifier = "com.example.poll";
    options.app_version = "1.0";
    options.ingest_base_address = getenv("VELMORA_INGEST");
    options.store_path = getenv("VELMORA_STORE");
    const velmora_result result = velmora_configure(&options);
    if (result != VELMORA_OK)
        return result;
    return velmora_start(getenv("VELMORA_API_KEY"), getenv("VELMORA_SECRET"));
}

/* What one read brings is one line: enough for input that is typed. */
static int take_line(void) {
    char line[4096];
    const ssize_t length = read(STDIN_FILENO, line, sizeof line);
    if (length <= 0)
        return 0;
    velmora_preferences_set_text("IABTCF_TCString", line, (size_t)length - 1);
    return 1;
}

int main(void) {
    if (start_velmora() != VELMORA_OK) {
        fprintf(stderr, "VelmoraKit: %s\n", velmora_last_error_message());
        return 1;
    }
    /* An application without windows comes to the foreground when it starts. This posts what an
     * earlier run could not. A string that is set while that post is under way goes with its
     * success, unsent: so first let it end. A host that cannot wait sets options.keep_unsent. */
    velmora_will_enter_foreground();
    int settled;
    velmora_run_loop_run_until_idle(5, &settled);

    struct pollfd watched[2] = {{-1, POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
    velmora_run_loop_descriptor(&watched[0].fd);
    for (;;) {
        if (poll(watched, 2, -1) < 0)
            continue; /* interrupted by a signal */
        if (watched[0].revents != 0)
            velmora_run_loop_process();
        if (watched[1].revents != 0 && !take_line())
            return 0; /* nothing needs to be ended: what is not posted yet is stored */
    }
}
