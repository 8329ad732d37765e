/*
 * A GLib application. Its first argument, if any, plays a consent tool: it is a new TCF v2 string.
 *
 *   cc main.c $(pkg-config --cflags --libs velmorakit gio-unix-2.0) \
 *       -Wl,-rpath,$(pkg-config --variable=libdir velmorakit)
 *   VELMORA_INGEST=http://127.0.0.1:8080/ VELMORA_API_KEY=key VELMORA_SECRET=secret ./a.out CPc...
 */
#include <VelmoraKit/velmora.h>

#include <gio/gio.h>
#include <glib-unix.h>

static gboolean start_velmora(void) {
    velmora_options options;
    velmora_options_init(&options, sizeof options);
    options.bundle_identifier = "com.example.glib";
    options.app_version = "1.0";
    /* A string may be set at any time, also while a post is under way. */
    options.keep_unsent = 1;
    options.ingest_base_address = g_getenv("VELMORA_INGEST");
    options.store_path = g_getenv("VELMORA_STORE");
    if (velmora_configure(&options) == VELMORA_OK &&
        velmora_start(g_getenv("VELMORA_API_KEY"), g_getenv("VELMORA_SECRET")) == VELMORA_OK)
        return TRUE;
    g_printerr("VelmoraKit: %s\n", velmora_last_error_message());
    return FALSE;
}

static gboolean on_readable(gint descriptor, GIOCondition condition, gpointer data) {
    (void)descriptor, (void)condition, (void)data;
    velmora_run_loop_process();
    return G_SOURCE_CONTINUE;
}

static void on_startup(GApplication *application, gpointer data) {
    (void)data;
    int descriptor;
    if (!start_velmora() || velmora_run_loop_descriptor(&descriptor) != VELMORA_OK)
        return;
    g_unix_fd_add(descriptor, G_IO_IN, on_readable, NULL);
    g_application_hold(application);
}

/*
 * The application is shown, for the first time or again. With GTK, do this where the window becomes
 * the active one:
 *   g_signal_connect(window, "notify::is-active", ...) and gtk_window_is_active(window)
 */
static void on_activate(GApplication *application, gpointer consent) {
    (void)application;
    velmora_will_enter_foreground();
    if (consent != NULL)
        velmora_preferences_set_string("IABTCF_TCString", consent);
}

int main(int argc, char **argv) {
    GApplication *application = g_application_new("com.example.glib", G_APPLICATION_NON_UNIQUE);
    g_signal_connect(application, "startup", G_CALLBACK(on_startup), NULL);
    g_signal_connect(application, "activate", G_CALLBACK(on_activate), argc > 1 ? argv[1] : NULL);
    const int status = g_application_run(application, 1, argv);
    g_object_unref(application);
    return status;
}
