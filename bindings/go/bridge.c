#include "bridge.h"

#include "_cgo_export.h"

static void log_line(velmora_log_level level, const char *line, size_t length, void *context) {
    (void)level;
    (void)context;
    goLog((char *)line, length);
}
velmora_result bridge_log(void) {
    return velmora_set_log_sink(log_line, NULL);
}

static void work(void *number) {
    goWork((uintptr_t)number);
}
velmora_result bridge_perform(uintptr_t number) {
    return velmora_run_loop_perform(work, (void *)number);
}

static void changed(const char *key, const char *new_json, const char *old_json, void *number) {
    goChanged((char *)key, (char *)new_json, (char *)old_json, (uintptr_t)number);
}
static void release(void *number) {
    goRelease((uintptr_t)number);
}
velmora_result bridge_observe(const char *key, uintptr_t number, velmora_observer **observer) {
    return velmora_preferences_observe(key, changed, (void *)number, release, observer);
}
