#include "support/Scenario.h"

#include "platform/TaggedJSON.h"
#include "support/Gzip.h"

#include <cstdlib>
#include <ctime>

namespace vmr::test {
namespace {

struct HeldQueue final : SerialQueue {
    HeldQueue(std::string name, std::shared_ptr<std::deque<std::function<void()>>> all)
        : text(std::move(name)), jobs(std::move(all)) {}
    void async(std::function<void()> job) override { jobs->push_back(std::move(job)); }
    const std::string &label() const noexcept override { return text; }
    std::string text;
    std::shared_ptr<std::deque<std::function<void()>>> jobs;
};

struct ObserverOfAll final : KeyValueObserver {
    void observeValueForKeyPath(const std::string &key, const Preferences *,
                                const Dictionary &change, void *) override {
        tell(key, valueForKey(change, NSKeyValueChangeNewKey));
    }
    std::function<void(const std::string &, const Value &)> tell;
};

} // namespace

std::shared_ptr<SerialQueue> HeldQueues::make(std::string label) {
    labels.push_back(label);
    return std::make_shared<HeldQueue>(std::move(label), jobs);
}

bool HeldQueues::runNext() {
    if (jobs->empty())
        return false;
    const auto job = std::move(jobs->front());
    jobs->pop_front();
    job();
    return true;
}

Scenario::Scenario() {
    setenv("TZ", "America/St_Johns", 1);
    tzset();
    services.device->version = "17.4.1";
    services.device->model = "aarch64";
    services.clock->advance(0.75);
    Platform changed = platform();
    changed.serialQueues = queues;
    installPlatform(std::move(changed));

    transcript.rename(services.preferences->description(), "<preferences>");
    const auto observer = std::make_shared<ObserverOfAll>();
    observer->tell = [this](const std::string &key, const Value &value) {
        add("store " + key + " = " + (value.isNull() ? "nothing" : shown(value)));
    };
    services.preferences->addObserver(observer, "", nullptr);
    observer_ = observer;
    services.log->onWrite = [this](std::string_view line) { addLine(line); };
    services.http->setOnSent([this](HTTPRequest request) { addRequest(std::move(request)); });
}

Scenario::~Scenario() {
    services.log->onWrite = nullptr;
    services.http->setOnSent(nullptr);
}

void Scenario::step(const std::string &what, const std::function<void()> &action) {
    transcript.heading(what);
    action();
    settle();
    tellFlushes();
}

void Scenario::later(double seconds) {
    const std::string number = Value::real(seconds).description();
    step(number + " s later", [&] { services.loops->advance(seconds); });
}

void Scenario::answer(std::int64_t status, const std::string &body) {
    complete("answer " + std::to_string(status) + (body.empty() ? "" : " " + body),
             {std::nullopt, status, Data(body)});
}

void Scenario::complete(const std::string &what, const HTTPOutcome &outcome) {
    --underWay;
    step(what, [&] { services.http->complete(answered_++, outcome); });
}

void Scenario::enterForeground() {
    step("return to the foreground", [this] {
        services.notifications->postNotification(UIApplicationWillEnterForegroundNotification);
    });
}

void Scenario::setValue(std::string_view key, const Value &value) {
    step("the host sets " + std::string(key), [&] { services.preferences->setObject(value, key); });
}

void Scenario::expectRecorded() {
    const auto &test = *testing::UnitTest::GetInstance()->current_test_info();
    transcript.expectRecorded(std::string(test.test_suite_name()) + "." + test.name());
}

void Scenario::tell(const std::string &what, const Value &value) {
    add(what + " -> " + (value.isAbsent() ? "nothing" : shown(value)));
}

std::string Scenario::shown(const Value &value) {
    if (const Data *data = value.asData())
        return std::to_string(data->size()) + " bytes\n" + Transcript::bytes(data->bytes());
    return writeTaggedJSON(value);
}

void Scenario::settle() {
    do
        services.loops->runDue();
    while (underWay == 0 && queues->runNext());
}

void Scenario::add(const std::string &seen) {
    tellFlushes();
    transcript.add(seen);
}

void Scenario::tellFlushes() {
    for (; flushes_ < services.preferences->synchronizations(); ++flushes_)
        transcript.add("flush");
}

void Scenario::addLine(std::string_view line) {
    constexpr std::string_view sizeLine = "[VMR] -> is GZip: 1 ; data size: ";
    std::string text = "log " + std::string(line);
    if (line.starts_with(sizeLine)) {
        // It depends on zlib's version; the request must have just as many.
        line.remove_prefix(sizeLine.size());
        bodySize_ = line.substr(0, line.find(' '));
        text.replace(4 + sizeLine.size(), bodySize_->size(), "<size>");
    }
    add(text);
}

void Scenario::addRequest(HTTPRequest request) {
    ++underWay;
    EXPECT_TRUE(request.body.make());
    std::string headers;
    for (const auto &[name, value] : request.headers)
        headers += "\n" + name + ": " + value;
    std::string text = "send " + request.method.value_or("(no method)") + " " + request.url +
                       (headers == headers_ ? "\n(headers as before)" : headers);
    headers_ = headers;
    const std::string size = std::to_string(request.body.size());
    EXPECT_EQ(bodySize_.value_or(size), size);
    bodySize_.reset();
    if (request.body.isPresent()) {
        const std::string body(request.body.bytes());
        text += body.starts_with("\x1f\x8b") ? "\ngzip " + Transcript::bytes(inflated(body))
                                             : "\nplain " + Transcript::bytes(body);
    }
    add(text);
}

} // namespace vmr::test
