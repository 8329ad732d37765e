#pragma once

#include <VelmoraKit/Options.h>
#include <VelmoraKit/Preferences.h>
#include <VelmoraKit/RunLoop.h>

namespace VelmoraKit {

/// The SDK, one a process. Started once, it runs by itself: it watches the consent strings in the
/// preferences and posts every change. Never destroyed, throws nothing, never waits for the
/// network; in a child made by fork every call fails and touches nothing.
class Velmora {
public:
    Velmora(const Velmora &) = delete;
    Velmora &operator=(const Velmora &) = delete;

    /// The start call, once. The calling thread becomes the main run loop's thread; it fails when
    /// the loop has another one already. Both texts, each one line, may be absent; the service then
    /// refuses the posts. While another process is in charge of the same store it succeeds, and the
    /// SDK waits until that one has ended; see velmora_start.
    static Result initWithApiKey(const OptionalText &apiKey, const OptionalText &secret) {
        if (apiKey.hasNul() || secret.hasNul())
            return detail::refuseNul();
        return Result(velmora_start(apiKey.c_str(), secret.c_str()));
    }
    static Velmora &sharedVelmora() {
        static Velmora shared;
        return shared;
    }

    /// Gives the options; once, before every other use. Later it fails and has no effect.
    static Result configure(const Options &options) { return options.apply(); }
    /// The same with a JSON object; see velmora_configure_json.
    static Result configureJson(const std::string &json) {
        if (json.find('\0') != std::string::npos)
            return detail::refuseNul();
        return Result(velmora_configure_json(json.c_str()));
    }
    /// Of the library that is in use, for instance "1.0.0".
    static const char *version() noexcept { return velmora_version(); }

    /// Stops the SDK and removes all that it keeps, overwritten on the disk; the application's own
    /// values stay, the consent strings among them. See velmora_erase.
    Result erase() { return Result(velmora_erase()); }

    bool isStarted() const { return velmora_is_started() != 0; }
    /// The application's preferences; usable before the start call.
    Preferences &preferences() { return preferences_; }
    RunLoop &mainRunLoop() { return mainRunLoop_; }

    /// Calls `callback(const velmora_exchange &exchange)` on the main run loop for each exchange
    /// with the service, until the observation ends. What it throws is dropped. When `result` is
    /// given it tells how it went; a failed observation is empty.
    template <class Callback>
    ExchangeObservation observeExchanges(Callback callback, Result *result = nullptr) {
        velmora_exchange_observer *observer = nullptr;
        const Result made(velmora_observe_exchanges(
            [](const velmora_exchange *exchange, void *context) {
                detail::callHost<Callback, const velmora_exchange &>(context, *exchange);
            },
            new Callback(std::move(callback)),
            [](void *context) { delete static_cast<Callback *>(context); }, &observer));
        if (result != nullptr)
            *result = made;
        return ExchangeObservation(observer);
    }

    /// To be called when the application comes back to the foreground.
    Result applicationWillEnterForeground() { return Result(velmora_will_enter_foreground()); }

    /// What is stored and what was sent, a JSON object; see velmora_status_json. Empty on failure.
    std::string status() const {
        char *json = nullptr;
        return velmora_status_json(&json) == VELMORA_OK ? detail::takeText(json) : std::string();
    }
    /// What would keep the SDK from working here, a JSON object; see velmora_diagnose_json. Empty
    /// on failure.
    std::string diagnose() const {
        char *json = nullptr;
        return velmora_diagnose_json(&json) == VELMORA_OK ? detail::takeText(json) : std::string();
    }

    /// The device job, which the SDK never starts by itself; see velmora_device_update.
    Result performDeviceDataUpdateRequest() { return Result(velmora_device_update()); }
    /// Hands over a device response, a JSON document, as if the backend had answered with it.
    Result onDeviceDataUpdateRequestResponse(const std::string &json) {
        if (json.find('\0') != std::string::npos)
            return detail::refuseNul();
        return Result(velmora_device_response(json.c_str()));
    }

private:
    Velmora() = default;

    Preferences preferences_;
    RunLoop mainRunLoop_;
};

} // namespace VelmoraKit
