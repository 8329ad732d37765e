/*
 * A command-line application without a loop: the SDK has a thread of its own. Every line on
 * standard input plays a consent tool: it is a new TCF v2 string.
 *
 *   g++ -std=c++17 -I../../bindings/cpp main.cpp $(pkg-config --cflags --libs velmorakit) \
 *       -Wl,-rpath,$(pkg-config --variable=libdir velmorakit)
 *   VELMORA_INGEST=http://127.0.0.1:8080/ VELMORA_API_KEY=key VELMORA_SECRET=secret ./a.out
 */

#include <VelmoraThread.h>

#include <cstdlib>
#include <iostream>

int main() {
    VelmoraKit::Options options;
    options.bundleIdentifier = "com.example.thread";
    options.appVersion = "1.0";
    // A string may be set at any time, also while a post is under way.
    options.keepUnsent = true;
    options.ingestBaseAddress = std::getenv("VELMORA_INGEST");
    options.storePath = std::getenv("VELMORA_STORE");
    VelmoraThread velmora(options, std::getenv("VELMORA_API_KEY"), std::getenv("VELMORA_SECRET"));
    if (!velmora.started()) {
        std::cerr << "VelmoraKit: " << velmora.started().message() << '\n';
        return 1;
    }
    // An application without windows comes to the foreground when it starts. This posts what an
    // earlier run could not.
    velmora.perform([] { VelmoraKit::Velmora::sharedVelmora().applicationWillEnterForeground(); });
    for (std::string line; std::getline(std::cin, line);)
        velmora.setString("IABTCF_TCString", line);
}
