/* A host in C outside the tree. Its argument is the preferences file. */

#include <VelmoraKit/velmora.h>

#include <stdio.h>

int main(int argc, char **argv) {
    velmora_options options;
    char *greeting = NULL;
    velmora_options_init(&options, sizeof options);
    options.store_path = argc > 1 ? argv[1] : NULL;
    options.ingest_base_address = "http://127.0.0.1:1/";
    if (velmora_configure(&options) != VELMORA_OK || velmora_start("key", "secret") != VELMORA_OK ||
        velmora_preferences_set_string("greeting", "hello") != VELMORA_OK ||
        velmora_preferences_get_string("greeting", &greeting, NULL) != VELMORA_OK) {
        fprintf(stderr, "%s\n", velmora_last_error_message());
        return 1;
    }
    printf("%s from C, interface %g\n", greeting, VelmoraKitVersionNumber);
    velmora_free(greeting);
    return 0;
}
