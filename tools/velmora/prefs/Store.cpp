#include "prefs/Store.h"

#include "JsonLine.h"
#include "StoredValue.h"
#include "TypedValue.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string_view>

namespace velmora::prefs {
namespace {

using nlohmann::ordered_json;

std::atomic<bool> trouble{false};

/// An entry that only a later version understands is no trouble with the others. Neither is it one
/// for a reader that nothing can be written.
constexpr std::string_view harmless[] = {"cannot be understood and is left alone",
                                         "; until then nothing is written."};

void logLine(const char *line, size_t length, void * /*context*/) {
    const std::string_view text(line, length);
    if (std::none_of(std::begin(harmless), std::end(harmless),
                     [&](std::string_view part) { return text.find(part) != text.npos; }))
        trouble = true;
    std::fprintf(stderr, "%.*s\n", static_cast<int>(length), line);
}

ordered_json valueIn(const char *json) {
    return json == nullptr ? ordered_json() : ordered_json::parse(json);
}

void writeChange(const char *key, const char *newJson, const char *oldJson, void * /*context*/) {
    writeLine({{"key", key}, {"value", valueIn(newJson)}, {"old", valueIn(oldJson)}});
}

} // namespace

Store::Store(const std::string &path, bool mustExist, bool sharedFolder) {
    if (mustExist && access(path.c_str(), F_OK) != 0)
        throw std::runtime_error("there is no preferences file \"" + path +
                                 "\"; the application makes it when it starts, and so does "
                                 "\"velmora prefs set\"");
    velmora_options options;
    requireOK(velmora_options_init(&options, sizeof options));
    options.store_path = path.c_str();
    options.store_companion = 1;
    options.shared_folder = sharedFolder ? 1 : 0;
    options.log_callback = logLine;
    requireOK(velmora_configure(&options));
}

ordered_json Store::value(const std::string &key) const {
    return storedValue(key);
}

std::vector<std::string> Store::keys() const {
    char **keys = nullptr;
    std::size_t count = 0;
    requireOK(velmora_preferences_keys(&keys, &count));
    const std::unique_ptr<char *, decltype(&velmora_free)> owned(keys, velmora_free);
    return {keys, keys + count};
}

void Store::put(const std::string &key, const std::string &type, const std::string &text) {
    requireOK(putTyped(key, type, text));
    requireOK(velmora_preferences_synchronize());
}

void Store::remove(const std::string &key) {
    requireOK(velmora_preferences_remove(key.c_str()));
    requireOK(velmora_preferences_synchronize());
}

void Store::watch(const std::string &key, const std::string &path) {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    const int ends = signalfd(-1, &signals, SFD_CLOEXEC);

    int changes = -1;
    velmora_observer *observer = nullptr;
    requireOK(velmora_run_loop_descriptor(&changes));
    requireOK(velmora_preferences_observe(key.empty() ? nullptr : key.c_str(), writeChange, nullptr,
                                          nullptr, &observer));
    keys(); // the first look opens the file; only an open one can be watched
    if (trouble)
        return;
    writeLine({{"watching", path}});
    pollfd watched[] = {{ends, POLLIN, 0}, {changes, POLLIN, 0}};
    while (watched[0].revents == 0) {
        if (poll(watched, std::size(watched), -1) > 0 && watched[1].revents != 0)
            requireOK(velmora_run_loop_process());
    }
    velmora_preferences_unobserve(observer);
    close(ends);
}

bool Store::hadTrouble() {
    return trouble;
}

} // namespace velmora::prefs
