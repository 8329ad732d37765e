/* A host that does what its arguments say, one after the other, and tells with plain system calls
   what each call gave and how long it took: host STORE ADDRESS COMMAND...
     set=TEXT             changes the consent string
     storm=PREFIX,N,US    N changes with so many microseconds between them
     foreground           the host returns to the foreground
     run=SECONDS          lets the main loop run
     until=FILE,SECONDS   the same until the file is there
     idle=SECONDS         the same until nothing is under way
     clock=SECONDS        the shim sets the clock so far ahead of the true one, or back
     synchronize
   Faults begin after the process's own start, where the shim is loaded (see shim.c). */
#define _GNU_SOURCE
#include <VelmoraKit/velmora.h>

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

extern void shim_begin(void) __attribute__((weak));
extern void shim_end(void) __attribute__((weak));
extern void shim_clock(double ahead) __attribute__((weak));

static double now(void) {
    struct timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return (double)t.tv_sec + (double)t.tv_nsec / 1e9;
}

/* The time without what the thread stood ready and other programs had the processor. */
static double worked(void) {
    char text[64] = "";
    unsigned long long ran = 0, waited = 0;
    const int file = (int)syscall(SYS_openat, AT_FDCWD, "/proc/thread-self/schedstat", O_RDONLY);
    if (syscall(SYS_read, file, text, sizeof text - 1) > 0)
        sscanf(text, "%llu %llu", &ran, &waited);
    syscall(SYS_close, file);
    return now() - (double)waited / 1e9;
}

/* Without stdio's buffers: what is told was told before whatever comes next. */
static void tell(const char *what, const char *text, int result, double since) {
    static char line[512];
    const int size = snprintf(line, sizeof line, "%s %s %d %.1f %.6f\n", what, text, result,
                              (worked() - since) * 1000, now());
    if (syscall(SYS_write, 1, line, size) != size)
        _exit(3);
}

static void set(const char *text) {
    const double begin = worked();
    tell("set", text, velmora_preferences_set_string("IABTCF_TCString", text), begin);
}

static void storm(const char *prefix, int count, int gap) {
    char text[128];
    for (int number = 1; number <= count; ++number) {
        snprintf(text, sizeof text, "%s-%d", prefix, number);
        set(text);
        if (gap > 0) {
            velmora_run_loop_process();
            usleep((useconds_t)gap);
        }
    }
}

static int runUntil(const char *file, double seconds) {
    const double end = now() + seconds;
    int result = 0;
    while (now() < end && (*file == '\0' || syscall(SYS_access, file, F_OK) != 0)) {
        result = velmora_run_loop_run(0.01);
        if (result != VELMORA_OK)
            usleep(10000);
    }
    velmora_run_loop_run(0.03);
    return result;
}

static void perform(char *command) {
    char *words = strchr(command, '=');
    if (words != NULL)
        *words++ = '\0';
    const double begin = worked();
    if (strcmp(command, "set") == 0) {
        set(words);
    } else if (strcmp(command, "storm") == 0) {
        const char *prefix = strtok(words, ",");
        const int count = atoi(strtok(NULL, ","));
        storm(prefix, count, atoi(strtok(NULL, ",")));
    } else if (strcmp(command, "foreground") == 0) {
        tell("foreground", "-", velmora_will_enter_foreground(), begin);
    } else if (strcmp(command, "run") == 0) {
        tell("run", "-", runUntil("", atof(words)), begin);
    } else if (strcmp(command, "until") == 0) {
        const char *file = strtok(words, ",");
        tell("until", "-", runUntil(file, atof(strtok(NULL, ","))), begin);
    } else if (strcmp(command, "idle") == 0) {
        int settled = 0;
        velmora_run_loop_run_until_idle(atof(words), &settled);
        tell("idle", "-", !settled, begin);
    } else if (strcmp(command, "clock") == 0) {
        shim_clock(atof(words));
    } else if (strcmp(command, "synchronize") == 0) {
        int result = velmora_preferences_synchronize();
        /* What could not be written is tried again by and by. */
        for (int again = 0; result != VELMORA_OK && again < 3; ++again) {
            velmora_run_loop_run(1);
            result = velmora_preferences_synchronize();
        }
        tell("synchronize", "-", result, begin);
    }
}

int main(int count, char **arguments) {
    if (count < 3)
        return 2;
    double begin = worked();
    tell("warm", "-", 0, begin);
    if (shim_begin)
        shim_begin();
    velmora_options options;
    velmora_options_init(&options, sizeof options);
    options.store_path = arguments[1];
    options.ingest_base_address = arguments[2];
    options.bundle_identifier = "com.example.reliability";
    options.app_version = "1";
    options.certificate_authority_file = getenv("RELIABILITY_CA");
    /* A failed call may be made again: what one fault has stopped, the second try brings. */
    for (int attempt = 0, result = 1; attempt < 2 && result != VELMORA_OK; ++attempt) {
        begin = worked();
        result = velmora_configure(&options);
        tell("configure", "-", result, begin);
    }
    for (int attempt = 0, result = 1; attempt < 2 && result != VELMORA_OK; ++attempt) {
        begin = worked();
        result = velmora_start("key", "secret");
        tell("start", "-", result, begin);
    }
    for (int command = 3; command < count; ++command)
        perform(arguments[command]);
    if (shim_end)
        shim_end();
    tell("end", "-", 0, begin);
    return 0;
}
