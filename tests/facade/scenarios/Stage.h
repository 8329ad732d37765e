#pragma once

#include "facade/Velmora.h"
#include "platform/KeyedArchive.h"
#include "support/TestPlatform.h"

#include <deque>

namespace vmr::test {

/// An SDK over doubles, driven by commands. Everything happens on one thread, in a zone half an
/// hour off, and what can be seen of it is written down in order: log lines, requests, writes.
class Stage {
public:
    using Command = std::function<void(const std::string &argument)>;

    Stage();
    ~Stage();
    void on(std::string name, Command command) { commands_[std::move(name)] = std::move(command); }
    /// Does what the line says, and what follows from it; the text of what was seen.
    std::string run(const std::string &line);

    void add(const std::string &seen);
    void tell(const std::string &what, const Value &value);
    void tell(const std::string &what, std::optional<std::string_view> text) {
        tell(what, Value::stringOrAbsent(text));
    }
    void tell(const std::string &what, bool answer) { tell(what, Value::boolean(answer)); }
    void tell(const std::string &what, std::int64_t number) { tell(what, Value::integer(number)); }
    void tell(const std::string &what, const Dictionary &entries) {
        tell(what, Value::dictionary(entries));
    }
    /// What is archived, and what is read again from that.
    template <class Record>
    std::shared_ptr<const Record> archived(const std::shared_ptr<Record> &record) {
        const Data archive = archivedDataWithRootObject(Value::record(record));
        tell("archive", Value::data(archive));
        return recordOfClass<Record>(unarchiveObjectWithData(archive).value());
    }
    Date ago(const std::string &seconds) const {
        return services.clock->now().addingTimeInterval(-std::stod(seconds));
    }

    TestPlatform services;
    std::shared_ptr<Velmora> velmora = std::make_shared<Velmora>();
    /// Exchanges that were not answered: as long as there is one, the next job waits.
    int underWay = 0;
    /// Texts that differ from run to run, and what is written for them.
    std::vector<std::pair<std::string, std::string>> names;

private:
    struct Queues;
    void addLine(std::string_view line);
    void addRequest(HTTPRequest request);

    std::map<std::string, Command> commands_;
    std::shared_ptr<Queues> queues_;
    std::shared_ptr<KeyValueObserver> observer_;
    std::string seen_;
    int flushes_ = 0;
    std::string loggedSize_;
    std::string headers_;
};

/// Of a tagged JSON text.
Value valueOf(const std::string &json);
Dictionary dictionaryOf(const Value &value);
std::pair<std::string, std::string> splitAtBlank(const std::string &text);

void addHostCommands(Stage &stage);
void addFacadeCommands(Stage &stage);
void addConsentCommands(Stage &stage);
void addDeviceCommands(Stage &stage);
void addErrorCommands(Stage &stage);
void addNetworkCommands(Stage &stage);
void addValueCommands(Stage &stage);

} // namespace vmr::test
