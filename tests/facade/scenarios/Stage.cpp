#include "Stage.h"

#include "Shown.h"
#include "platform/TaggedJSON.h"
#include "support/Gzip.h"

#include <cstdlib>
#include <ctime>
#include <stdexcept>

namespace vmr::test {
namespace {

struct ObserverOfAll final : KeyValueObserver {
    void observeValueForKeyPath(const std::string &key, const Preferences *,
                                const Dictionary &change, void *) override {
        tell(key, valueForKey(change, NSKeyValueChangeNewKey));
    }
    std::function<void(const std::string &, const Value &)> tell;
};

} // namespace

/// Their jobs wait until the stage runs them, on the thread of the test.
struct Stage::Queues final : SerialQueues {
    struct Queue final : SerialQueue {
        explicit Queue(std::deque<std::function<void()>> &all) : jobs(all) {}
        void async(std::function<void()> job) override { jobs.push_back(std::move(job)); }
        std::deque<std::function<void()>> &jobs;
    };
    std::shared_ptr<SerialQueue> make(std::string label) override {
        tell("queue " + label);
        return std::make_shared<Queue>(jobs);
    }
    bool runNext() {
        if (jobs.empty())
            return false;
        const auto job = std::move(jobs.front());
        jobs.pop_front();
        job();
        return true;
    }
    std::function<void(const std::string &)> tell;
    std::deque<std::function<void()>> jobs;
};

Stage::Stage() : queues_(std::make_shared<Queues>()) {
    setenv("TZ", "America/St_Johns", 1);
    tzset();
    services.device->version = "17.4.1";
    services.device->model = "aarch64";
    services.clock->advance(0.75);
    queues_->tell = [this](const std::string &text) { add(text); };
    Platform changed = platform();
    changed.serialQueues = queues_.get();
    installPlatform(changed);

    names.emplace_back(services.preferences->description(), "<preferences>");
    const auto observer = std::make_shared<ObserverOfAll>();
    observer->tell = [this](const std::string &key, const Value &value) {
        add("store " + key + " = " + (value.isNull() ? "nothing" : shown(value)));
    };
    services.preferences->addObserver(observer, "", nullptr);
    observer_ = observer;
    services.log->onWrite = [this](std::string_view line) { addLine(line); };
    services.http->setOnSent([this](HTTPRequest request) { addRequest(std::move(request)); });
    for (const auto addCommands :
         {addHostCommands, addFacadeCommands, addConsentCommands, addDeviceCommands,
          addErrorCommands, addNetworkCommands, addValueCommands})
        addCommands(*this);
}

Stage::~Stage() {
    services.log->onWrite = nullptr;
    services.http->setOnSent(nullptr);
}

std::string Stage::run(const std::string &line) {
    auto found = commands_.upper_bound(line);
    while (found != commands_.begin() && !(line + " ").starts_with((--found)->first + " "))
        ;
    if (!(line + " ").starts_with(found->first + " ")) {
        std::string known;
        for (const auto &[name, command] : commands_)
            known += "\n  " + name;
        throw std::invalid_argument("no such command: " + line + "; there are" + known);
    }
    found->second(line.substr(std::min(line.size(), found->first.size() + 1)));
    do
        services.loops->runDue();
    while (underWay == 0 && queues_->runNext());
    add("");
    return std::exchange(seen_, {});
}

void Stage::add(const std::string &seen) {
    for (; flushes_ < services.preferences->synchronizations(); ++flushes_)
        seen_ += "flush\n";
    if (!seen.empty())
        seen_ += asLines(seen, names);
}

void Stage::tell(const std::string &what, const Value &value) {
    add(what + " -> " + (value.isAbsent() ? "nothing" : shown(value)));
}

void Stage::addLine(std::string_view line) {
    constexpr std::string_view sizeLine = "[VMR] -> is GZip: 1 ; data size: ";
    std::string text = "log " + std::string(line);
    if (line.starts_with(sizeLine)) {
        // It depends on zlib's version; the request must have just as many.
        loggedSize_ =
            line.substr(sizeLine.size(), line.find(' ', sizeLine.size()) - sizeLine.size());
        text.replace(4 + sizeLine.size(), loggedSize_.size(), "<size>");
    }
    add(text);
}

void Stage::addRequest(HTTPRequest request) {
    ++underWay;
    static_cast<void>(request.body.make());
    std::string headers;
    for (const auto &[name, value] : request.headers)
        headers += "\n" + name + ": " + value;
    std::string text = "send " + request.method.value_or("(no method)") + " " + request.url +
                       (headers == headers_ ? "\n(headers as before)" : headers);
    headers_ = headers;
    const std::string body(request.body.bytes());
    const std::string logged = std::exchange(loggedSize_, {});
    if (!logged.empty() && logged != std::to_string(body.size()))
        text += "\nthe size was logged as " + logged;
    if (request.body.isPresent())
        text += body.starts_with("\x1f\x8b") ? "\ngzip " + shownBytes(inflated(body))
                                             : "\nplain " + shownBytes(body);
    add(text);
}

Value valueOf(const std::string &json) {
    const auto value = readTaggedJSON(json);
    if (!value)
        throw std::invalid_argument("no JSON: " + json);
    return *value;
}

Dictionary dictionaryOf(const Value &value) {
    return value.asDictionary() ? *value.asDictionary() : Dictionary();
}

std::pair<std::string, std::string> splitAtBlank(const std::string &text) {
    const auto at = std::min(text.find(' '), text.size());
    return {text.substr(0, at), text.substr(std::min(at + 1, text.size()))};
}

} // namespace vmr::test
