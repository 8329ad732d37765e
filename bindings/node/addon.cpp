/*
 * The SDK as an addon of Node. It belongs to the thread that starts it, Node's main thread or one
 * worker: libuv watches the SDK's descriptor there, and nothing polls. Any other environment that
 * loads the addon is refused.
 */
#include "Values.h"

#include <uv.h>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace {

/// What an environment has of the SDK.
struct Environment {
    napi_env env = nullptr;
    bool isOwner = false;
    uv_poll_t poll{};
    napi_async_cleanup_hook_handle cleanup = nullptr;
};

struct Call {
    Call(napi_env env, napi_callback_info info) {
        std::size_t count = arguments.size();
        napi_get_cb_info(env, info, &count, arguments.data(), nullptr, nullptr);
        void *data = nullptr;
        napi_get_instance_data(env, &data);
        environment = static_cast<Environment *>(data);
    }
    std::array<napi_value, 3> arguments{};
    Environment *environment = nullptr;
};

bool isOwner(napi_env env, const char *function, const Call &call) {
    if (!call.environment->isOwner)
        values::refuse(env, function, "VELMORA_WRONG_THREAD",
                       "the SDK was not started on this thread: start it, or post a message to the "
                       "thread that did");
    return call.environment->isOwner;
}

void closePoll(napi_async_cleanup_hook_handle, void *data) {
    auto *environment = static_cast<Environment *>(data);
    uv_poll_stop(&environment->poll);
    environment->poll.data = environment;
    uv_close(reinterpret_cast<uv_handle_t *>(&environment->poll), [](uv_handle_t *handle) {
        auto *closed = static_cast<Environment *>(handle->data);
        napi_remove_async_cleanup_hook(closed->cleanup);
        delete closed;
    });
}

bool watch(Environment &environment) {
    int descriptor = -1;
    uv_loop_t *loop = nullptr;
    if (!values::check(environment.env, "velmora_run_loop_descriptor",
                       velmora_run_loop_descriptor(&descriptor)))
        return false;
    napi_get_uv_event_loop(environment.env, &loop);
    uv_poll_init(loop, &environment.poll, descriptor);
    uv_poll_start(&environment.poll, UV_READABLE,
                  [](uv_poll_t *, int, int) { velmora_run_loop_process(); });
    // What keeps Node running is the application's affair.
    uv_unref(reinterpret_cast<uv_handle_t *>(&environment.poll));
    napi_add_async_cleanup_hook(environment.env, closePoll, &environment, &environment.cleanup);
    return true;
}

/// start(json, apiKey, secret)
napi_value start(napi_env env, napi_callback_info info) {
    const Call call(env, info);
    if (velmora_is_started() != 0)
        return values::refuse(env, "velmora_start", "VELMORA_INVALID_STATE",
                              "the SDK is started already: start it once a process, on one thread");
    const auto options = values::text(env, call.arguments[0]);
    const auto key = values::text(env, call.arguments[1]);
    const auto secret = values::text(env, call.arguments[2]);
    if (values::hasNul(env, "velmora_start", key) || values::hasNul(env, "velmora_start", secret) ||
        !values::check(env, "velmora_configure_json",
                       velmora_configure_json(values::orNull(options))) ||
        !values::check(env, "velmora_start",
                       velmora_start(values::orNull(key), values::orNull(secret))) ||
        !watch(*call.environment))
        return values::undefined(env);
    call.environment->isOwner = true;
    return values::undefined(env);
}

/// setString(key, text), setJson(key, json)
template <bool isJson>
napi_value set(napi_env env, napi_callback_info info) {
    constexpr const char *function =
        isJson ? "velmora_preferences_set_json" : "velmora_preferences_set_text";
    const Call call(env, info);
    const auto key = values::text(env, call.arguments[0]);
    const auto value = values::text(env, call.arguments[1]);
    if (!isOwner(env, function, call) || values::hasNul(env, function, key))
        return values::undefined(env);
    values::check(env, function,
                  isJson ? velmora_preferences_set_json(values::orNull(key), values::orNull(value))
                         : velmora_preferences_set_text(values::orNull(key), values::orNull(value),
                                                        value ? value->size() : 0));
    return values::undefined(env);
}

/// getJson(key)
napi_value get(napi_env env, napi_callback_info info) {
    const Call call(env, info);
    const auto key = values::text(env, call.arguments[0]);
    char *json = nullptr;
    if (!isOwner(env, "velmora_preferences_get_json", call) ||
        values::hasNul(env, "velmora_preferences_get_json", key) ||
        !values::check(env, "velmora_preferences_get_json",
                       velmora_preferences_get_json(values::orNull(key), &json)))
        return values::undefined(env);
    const std::unique_ptr<char, void (*)(void *)> taken(json, velmora_free);
    return values::text(env, json);
}

napi_value remove(napi_env env, napi_callback_info info) {
    const Call call(env, info);
    const auto key = values::text(env, call.arguments[0]);
    if (isOwner(env, "velmora_preferences_remove", call) &&
        !values::hasNul(env, "velmora_preferences_remove", key))
        values::check(env, "velmora_preferences_remove",
                      velmora_preferences_remove(values::orNull(key)));
    return values::undefined(env);
}

/// A function of JavaScript that is told of changes.
struct Observer {
    napi_env env;
    napi_ref callback;
    napi_async_context context;
};

void tell(const char *key, const char *newJson, const char *oldJson, void *context) {
    const auto *observer = static_cast<const Observer *>(context);
    napi_env env = observer->env;
    napi_handle_scope scope = nullptr;
    napi_open_handle_scope(env, &scope);
    napi_value callback = nullptr;
    napi_value global = nullptr;
    napi_get_reference_value(env, observer->callback, &callback);
    napi_get_global(env, &global);
    const std::array<napi_value, 3> arguments{values::text(env, key), values::text(env, newJson),
                                              values::text(env, oldJson)};
    if (napi_make_callback(env, observer->context, global, callback, arguments.size(),
                           arguments.data(), nullptr) == napi_pending_exception) {
        napi_value thrown = nullptr;
        napi_get_and_clear_last_exception(env, &thrown);
        napi_fatal_exception(env, thrown); // an uncaughtException; the write holds
    }
    napi_close_handle_scope(env, scope);
}

void release(void *context) {
    const std::unique_ptr<Observer> observer(static_cast<Observer *>(context));
    napi_delete_reference(observer->env, observer->callback);
    napi_async_destroy(observer->env, observer->context);
}

napi_value unobserve(napi_env env, napi_callback_info info) {
    void *observer = nullptr;
    std::size_t count = 0;
    napi_value self = nullptr;
    napi_get_cb_info(env, info, &count, nullptr, &self, nullptr);
    if (napi_remove_wrap(env, self, &observer) == napi_ok)
        velmora_preferences_unobserve(static_cast<velmora_observer *>(observer));
    return values::undefined(env);
}

/// observe(key, callback): an object whose end() ends it.
napi_value observe(napi_env env, napi_callback_info info) {
    const Call call(env, info);
    const auto key = values::text(env, call.arguments[0]);
    if (!isOwner(env, "velmora_preferences_observe", call) ||
        values::hasNul(env, "velmora_preferences_observe", key))
        return values::undefined(env);
    auto context = std::make_unique<Observer>(Observer{env, nullptr, nullptr});
    napi_create_reference(env, call.arguments[1], 1, &context->callback);
    napi_async_init(env, nullptr, values::text(env, "velmorakit"), &context->context);
    velmora_observer *observer = nullptr;
    // Where this fails, the SDK releases the context.
    if (!values::check(env, "velmora_preferences_observe",
                       velmora_preferences_observe(values::orNull(key), tell, context.release(),
                                                   release, &observer)))
        return values::undefined(env);
    napi_value observation = nullptr;
    napi_value end = nullptr;
    napi_create_object(env, &observation);
    napi_create_function(env, "end", NAPI_AUTO_LENGTH, unobserve, nullptr, &end);
    napi_set_named_property(env, observation, "end", end);
    napi_wrap(env, observation, observer, nullptr, nullptr, nullptr);
    return observation;
}

/// willEnterForeground(), erase()
template <velmora_result (*tell)()>
napi_value plain(napi_env env, napi_callback_info info) {
    constexpr const char *function =
        tell == velmora_erase ? "velmora_erase" : "velmora_will_enter_foreground";
    const Call call(env, info);
    if (isOwner(env, function, call))
        values::check(env, function, tell());
    return values::undefined(env);
}

/// runUntilIdle(seconds): whether nothing is outstanding any more.
napi_value runUntilIdle(napi_env env, napi_callback_info info) {
    const Call call(env, info);
    double seconds = 0;
    napi_get_value_double(env, call.arguments[0], &seconds);
    int settled = 0;
    if (isOwner(env, "velmora_run_loop_run_until_idle", call))
        values::check(env, "velmora_run_loop_run_until_idle",
                      velmora_run_loop_run_until_idle(seconds, &settled));
    napi_value answer = nullptr;
    napi_get_boolean(env, settled != 0, &answer);
    return answer;
}

/// status(), diagnose(): JSON
template <velmora_result (*read)(char **)>
napi_value report(napi_env env, napi_callback_info) {
    char *json = nullptr;
    if (!values::check(
            env, read == velmora_status_json ? "velmora_status_json" : "velmora_diagnose_json",
            read(&json)))
        return values::undefined(env);
    const std::unique_ptr<char, void (*)(void *)> taken(json, velmora_free);
    return values::text(env, json);
}

napi_value fill(napi_env env, napi_value exports) {
    auto *environment = new Environment;
    environment->env = env;
    napi_set_instance_data(
        env, environment,
        [](napi_env, void *data, void *) {
            auto *ended = static_cast<Environment *>(data);
            if (ended->cleanup == nullptr) // else libuv's handle in it is being closed
                delete ended;
        },
        nullptr);
    for (const auto &[name, function] :
         {std::pair{"start", start}, std::pair{"setString", set<false>},
          std::pair{"setJson", set<true>}, std::pair{"getJson", get}, std::pair{"remove", remove},
          std::pair{"observe", observe},
          std::pair{"willEnterForeground", plain<velmora_will_enter_foreground>},
          std::pair{"erase", plain<velmora_erase>}, std::pair{"runUntilIdle", runUntilIdle},
          std::pair{"status", report<velmora_status_json>},
          std::pair{"diagnose", report<velmora_diagnose_json>}}) {
        napi_value value = nullptr;
        napi_create_function(env, name, NAPI_AUTO_LENGTH, function, nullptr, &value);
        napi_set_named_property(env, exports, name, value);
    }
    return exports;
}

} // namespace

NAPI_MODULE(velmorakit, fill)
