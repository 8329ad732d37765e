#include "Stage.h"

#include <cstdlib>
#include <ctime>

namespace vmr::test {

void addHostCommands(Stage &stage) {
    Stage *const s = &stage;
    const auto services = &stage.services;
    const auto answer = [s](const HTTPOutcome &outcome) {
        static std::size_t answered = 0;
        --s->underWay;
        s->services.http->complete(answered++, outcome);
    };
    s->on("set", [=](const std::string &text) {
        const auto [key, json] = splitAtBlank(text);
        services->preferences->setObject(valueOf(json), key);
    });
    s->on("set the same object", [=](const std::string &key) {
        services->preferences->setObject(services->preferences->objectForKey(key), key);
    });
    s->on("remove",
          [=](const std::string &key) { services->preferences->removeObjectForKey(key); });
    s->on("later",
          [=](const std::string &seconds) { services->loops->advance(std::stod(seconds)); });
    s->on("foreground", [=](const std::string &) {
        services->notifications->postNotification(UIApplicationWillEnterForegroundNotification);
    });
    s->on("answer", [=](const std::string &text) {
        const auto [status, body] = splitAtBlank(text);
        answer({std::nullopt, std::stol(status), Data(body)});
    });
    s->on("answer by a transport error", [=](const std::string &) {
        answer({PlatformError{NSURLErrorDomain, -1001, {}}, 200, Data("{}")});
    });
    s->on("answer without HTTP", [=](const std::string &) {
        answer({std::nullopt, std::nullopt, Data("{}")});
    });
    s->on("gate", [=](const std::string &value) {
        services->bundle->information["VMRLogsEnabled"] = valueOf(value);
    });
    s->on("tracking status",
          [=](const std::string &status) { services->advertising->status = std::stoul(status); });
    s->on("legacy tracking",
          [=](const std::string &value) { services->advertising->enabled = value == "true"; });
    s->on("zone", [](const std::string &name) {
        setenv("TZ", name.c_str(), 1);
        tzset();
    });
    s->on("system version",
          [=](const std::string &version) { services->device->version = version; });
    s->on("guard refuses", [=](const std::string &reason) {
        services->guard->decision = {false, reason};
    });
    s->on("guard allows", [=](const std::string &) { services->guard->decision = {}; });
    s->on("application version", [=](const std::string &json) {
        services->bundle->information["CFBundleShortVersionString"] =
            json.empty() ? Value() : valueOf(json);
    });
    s->on("bundle identifier", [=](const std::string &length) {
        services->bundle->identifier = std::nullopt;
        if (length.empty())
            return;
        services->bundle->identifier = "é";
        for (int index = 1; index < std::stoi(length); ++index)
            services->bundle->identifier->push_back(static_cast<char>('a' + index % 26));
    });
    s->on("no vendor identifier", [=](const std::string &) { services->device->vendor.reset(); });
    s->on("no vendors", [=](const std::string &) { services->device->responds = false; });
    s->on("tasks", [s, services](const std::string &) {
        const auto &tasks = *services->backgroundTasks;
        s->tell("begun", static_cast<std::int64_t>(tasks.names.size()));
        s->tell("ended", static_cast<std::int64_t>(tasks.ended.size()));
        if (!tasks.names.empty())
            s->tell("name", tasks.names.front());
    });
}

} // namespace vmr::test
