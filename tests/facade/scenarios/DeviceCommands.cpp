#include "Stage.h"
#include "device/DateFormatting.h"
#include "device/DatePredicates.h"
#include "device/Persistence.h"
#include "device/VMRDeviceDataManager.h"
#include "device/VMRSystemInfosFetcher.h"

namespace vmr::test {
namespace {

void addStorageCommands(Stage &stage) {
    Stage *const s = &stage;
    s->on("save", [](const std::string &text) {
        const auto [key, json] = splitAtBlank(text);
        const Value value = valueOf(json);
        if (value.asList())
            saveArrayWithKey(*value.asList(), key);
        else if (value.asDictionary())
            saveDictionaryWithKey(*value.asDictionary(), key);
        else if (value.isNull())
            storeArchive(archivedDataWithRootObject(Value()), key);
        else
            saveDateForKey(*value.asDate(), key);
    });
    s->on("save no date", [](const std::string &key) { saveDateForKey(std::nullopt, key); });
    s->on("read", [s](const std::string &key) {
        s->tell("list", deviceDataArrayWithType(key));
        s->tell("dictionary", mutableDictionaryWithType(key));
    });
    s->on("read date", [s](const std::string &key) {
        s->tell("or distant past", savedDateOrDistantPastForKey(key));
        s->tell("or nothing", savedDateOrNilForKey(key));
        s->tell("that counts", Value::date(dateOrDistantPast(savedDateOrNilForKey(key))));
    });
    s->on("print", [s](const std::string &seconds) {
        const auto date = seconds.empty() ? std::nullopt : std::optional(Date{std::stod(seconds)});
        s->tell("data stream", dataStreamApiFormatedDateString(date));
        s->tell("postgres", VMR_postgresDateFormatter().stringFromDate(date));
        s->tell("aws", VMR_awsDateFormatter().stringFromDate(date));
        s->tell("aws, short", VMR_awsShortDateFormatter().stringFromDate(date));
        s->tell("web view", VMR_cmpWebviewDateFormatter().stringFromDate(date));
        s->tell("valid", isVMRValid(date));
    });
    s->on("compare", [s](const std::string &text) {
        const auto [seconds, rest] = splitAtBlank(text);
        const Date date{std::stod(seconds)}, other{std::stod(rest)};
        s->tell("before", isBefore(date, other));
        s->tell("after", isAfter(date, other));
        s->tell("between it and 2 s later",
                isBetweenDate(date, other, other.addingTimeInterval(2)));
        s->tell("in the same minute", isEqualToDateIgnoringSeconds(date, other));
        s->tell("in no minute", isEqualToDateIgnoringSeconds(date, std::nullopt));
    });
}

void addRecordCommands(Stage &stage) {
    Stage *const s = &stage;
    s->on("save record", [](const std::string &json) {
        const Value fields = valueOf(json);
        VMRDeviceData record;
        record.setIsSdkEnabled(fields.asList()->at(0).boolValue());
        if (const Date *date = fields.asList()->at(1).asDate())
            record.setFirstLaunchDate(*date);
        record.setNbLaunchesSinceBeginning(fields.asList()->at(2).integerValue());
        record.setLastUpdateDeviceParametersSent(fields.asList()->at(3));
        record.saveData();
    });
    s->on("read record", [s](const std::string &) {
        const auto record = VMRDeviceData::savedData();
        if (!record)
            return s->add("none");
        s->tell("enabled", record->isSdkEnabled());
        s->tell("launches", record->nbLaunchesSinceBeginning());
        const auto first = record->firstLaunchDate();
        s->tell("first", first ? Value::date(*first) : Value());
        s->tell("parameters", record->lastUpdateDeviceParametersSent());
    });
}

} // namespace

void addDeviceCommands(Stage &stage) {
    addStorageCommands(stage);
    addRecordCommands(stage);
    Stage *const s = &stage;
    const auto manager = [s] { return s->velmora->deviceDataManager(); };
    s->on("device due", [=](const std::string &json) {
        s->tell("post",
                manager()->shouldPostDeviceWithParameters(
                    json.empty() ? manager()->postDeviceParams() : dictionaryOf(valueOf(json)),
                    s->ago("0")));
        s->tell("get", manager()->shouldGetDevice());
    });
    s->on("device answered", [=](const std::string &seconds) {
        manager()->setLastGetDeviceDate(s->ago(seconds));
        manager()->setLastGetDeviceDate(std::nullopt);
    });
    s->on("device tried", [=](const std::string &seconds) {
        manager()->setLastPostDeviceAttemptDate(s->ago(seconds));
        manager()->setLastPostDeviceAttemptDate(std::nullopt);
    });
    s->on("known device", [=](const std::string &) { manager()->setIsNewDevice(false); });
    s->on("identifier", [=](const std::string &text) {
        manager()->setVMRId(text);
        manager()->saveVMRId();
    });
    s->on("accepted parameters", [=](const std::string &json) {
        manager()->deviceData()->setLastUpdateDeviceParametersSent(valueOf(json));
    });
    s->on("urgent", [=](const std::string &json) {
        s->tell("changed", manager()->highPriorityValueChangedForDeviceParameters(
                               json.empty() ? Dictionary() : dictionaryOf(valueOf(json))));
    });
    s->on("difference", [=](const std::string &json) {
        const Value three = valueOf(json);
        const Value &previous = three.asList()->at(1);
        std::vector<std::string> forced;
        if (const List *keys = three.asList()->at(2).asList())
            for (const Value &key : *keys)
                forced.push_back(*key.asString());
        s->tell("sent", manager()->diffParameters(dictionaryOf(three.asList()->at(0)),
                                                  previous.asDictionary(), forced));
    });
    s->on("reports", [=](const std::string &json) {
        s->tell("parameters",
                manager()->reportPostParametersWithReports(json.empty() ? Value() : valueOf(json)));
    });
    s->on("envelopes", [=](const std::string &seconds) {
        s->tell("consents", manager()->postConsentsDataParametersAtDate(Date{std::stod(seconds)}));
        s->tell("errors", manager()->postErrorsParametersForDate(Date{std::stod(seconds)}));
        s->tell("vendor", VMRSystemInfosFetcher::idfv());
    });
    s->on("identity", [=](const std::string &) {
        s->tell("for hashes", manager()->identifierForDataHashID());
        s->tell("new", manager()->isNewDevice());
        s->tell("stored", manager()->savedVMRId());
        s->tell("characters", static_cast<std::int64_t>(manager()->VMRId()->size()));
        s->tell("made anew", VMRDeviceDataManager().VMRId() != manager()->VMRId());
    });
}

} // namespace vmr::test
