#include "Stage.h"
#include "errors/VMRErrorManager.h"

#include <stdexcept>

namespace vmr::test {
namespace {

std::optional<std::string> textIn(const Dictionary &fields, std::string_view key) {
    const Value text = valueForKey(fields, key);
    return text.isAbsent() ? std::nullopt : std::optional(text.description());
}

} // namespace

void addErrorCommands(Stage &stage) {
    Stage *const s = &stage;
    const auto manager = [s] { return s->velmora->logManager(); };
    const auto tellEntries = [=] {
        List messages;
        for (const auto &entry : manager()->storedLogs())
            messages.push_back(Value::stringOrAbsent(entry->message()));
        s->tell("entries", messages.size() > 5
                               ? Value::integer(static_cast<std::int64_t>(messages.size()))
                               : Value::list(messages));
    };
    s->on("read entries", [=](const std::string &) {
        s->velmora->setLogManager(std::make_shared<VMRErrorManager>());
        tellEntries();
    });
    s->on("entries", [=](const std::string &json) {
        VMRErrorManager::Entries entries;
        const Value messages = valueOf(json);
        for (const Value &message : *messages.asList())
            entries.push_back(
                std::make_shared<VMRError>("kind", *message.asString(), "stack", Dictionary()));
        manager()->storeErrors(entries);
        tellEntries();
    });
    s->on("equal entries", [=](const std::string &count) {
        manager()->storeErrors(VMRErrorManager::Entries(
            std::stoul(count), std::make_shared<VMRError>("kind", "same", "stack", Dictionary())));
        tellEntries();
    });
    s->on("no entry", [=](const std::string &) {
        try {
            manager()->storeError(nullptr);
        } catch (const std::invalid_argument &fault) {
            s->add(fault.what());
        }
    });
    s->on("errors due", [=](const std::string &) { s->tell("due", manager()->shouldPostLogs()); });
    s->on("errors posted", [=](const std::string &seconds) {
        manager()->setLastPostLogsDate(s->ago(seconds));
        manager()->setLastPostLogsDate(std::nullopt);
    });
    s->on("errors tried", [=](const std::string &seconds) {
        manager()->setLastPostLogsAttemptDate(s->ago(seconds));
        manager()->setLastPostLogsAttemptDate(std::nullopt);
    });
    s->on("form of entry", [=](const std::string &json) {
        const Dictionary fields = dictionaryOf(valueOf(json));
        const Value metadata = valueForKey(fields, "metadata");
        const auto entry =
            fields.empty()
                ? std::make_shared<VMRError>()
                : std::make_shared<VMRError>(
                      textIn(fields, "error"), textIn(fields, "message"), textIn(fields, "stack"),
                      metadata.isAbsent() ? std::nullopt : std::optional(dictionaryOf(metadata)));
        s->services.clock->advance(1);
        s->tell("JSON", entry->asJson());
        s->tell("read again", s->archived(entry)->asJson());
    });
}

} // namespace vmr::test
