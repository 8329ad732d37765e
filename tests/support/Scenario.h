#pragma once

#include "support/LogicFixture.h"
#include "support/Transcript.h"

#include <deque>

namespace vmr::test {

/// Runs jobs on the thread of the test, when it says so.
struct HeldQueues final : SerialQueues {
    std::shared_ptr<SerialQueue> make(std::string label) override;
    bool runNext();
    std::vector<std::string> labels;
    std::shared_ptr<std::deque<std::function<void()>>> jobs =
        std::make_shared<std::deque<std::function<void()>>>();
};

/// A test whose every log line, request and write to the preferences is in a transcript, in order.
/// All of it happens on one thread, in a zone half an hour off, on an aarch64 device.
class Scenario : public LogicTest {
protected:
    Scenario();
    ~Scenario() override;

    /// Something that happens, and what follows from it.
    void step(
        const std::string &what, const std::function<void()> &action = [] {});
    void later(double seconds);
    void answer(std::int64_t status, const std::string &body = "");
    void complete(const std::string &what, const HTTPOutcome &outcome);
    void enterForeground();
    void setValue(std::string_view key, const Value &value);
    void expectRecorded();

    void tell(const std::string &what, const Value &value);
    void tell(const std::string &what, const std::optional<std::string> &text) {
        tell(what, Value::stringOrAbsent(text));
    }
    void tell(const std::string &what, bool answer) { tell(what, Value::boolean(answer)); }
    void tell(const std::string &what, std::int64_t number) { tell(what, Value::integer(number)); }
    void tell(const std::string &what, const Dictionary &entries) {
        tell(what, Value::dictionary(entries));
    }
    static std::string shown(const Value &value);

    Transcript transcript;
    std::shared_ptr<HeldQueues> queues = std::make_shared<HeldQueues>();
    /// Exchanges that were not answered: as long as there is one, the next job waits.
    int underWay = 0;

private:
    void settle();
    void add(const std::string &seen);
    void addLine(std::string_view line);
    void addRequest(HTTPRequest request);
    void tellFlushes();

    std::shared_ptr<KeyValueObserver> observer_;
    std::size_t answered_ = 0;
    int flushes_ = 0;
    std::optional<std::string> bodySize_;
    std::string headers_;
};

} // namespace vmr::test
