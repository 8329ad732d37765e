#include "consent/VMRConsentEvent.h"

#include "device/DateFormatting.h"
#include "network/DataCoding.h"
#include "platform/Format.h"

namespace vmr {
namespace {

constexpr std::string_view consentStringKey = "consentString";
constexpr std::string_view dateKey = "date";

[[maybe_unused]] const bool registered =
    registerArchivableClass(VMRConsentEvent::ClassName, &VMRConsentEvent::initWithCoder);

} // namespace

std::shared_ptr<VMRConsentEvent> VMRConsentEvent::copyWithZone() const {
    auto event = std::make_shared<VMRConsentEvent>();
    event->setConsentString(consentString());
    event->setDate(date());
    return event;
}

Dictionary VMRConsentEvent::jsonWithDateText(const std::optional<std::string> &dateText) const {
    Dictionary json;
    putText(json, "localDate", dateText);
    put(json, "consentString", consentString_.isAbsent() ? Value::null() : consentString_);
    return json;
}

Dictionary VMRConsentEvent::formatedJson() const {
    return jsonWithDateText(VMR_dataStreamApiDateFormatter().stringFromDate(date()));
}

Dictionary VMRConsentEvent::formatedJsonWithUUID(const std::optional<std::string> &uuid) const {
    const auto dateText = VMR_dataStreamApiDateFormatter().stringFromDate(date());
    Dictionary json = jsonWithDateText(dateText);
    // "%@;%@;%@" with the whole description, piece by piece: that of a nested value is far longer
    // than its JSON.
    putText(json, "eventId", VMR_sha256([&](const TakeText &take) {
                take(formatText("%@;", uuid));
                consentString().describe(take);
                take(formatText(";%@", dateText));
            }));
    return json;
}

void VMRConsentEvent::encodeWithCoder(KeyedEncoder &coder) const {
    const auto when = date();
    coder.encodeObject(consentString(), consentStringKey);
    coder.encodeObject(when ? Value::date(*when) : Value(), dateKey);
}

std::shared_ptr<Archivable> VMRConsentEvent::initWithCoder(const KeyedDecoder &coder) {
    auto event = std::make_shared<VMRConsentEvent>();
    event->setConsentString(coder.decodeObject(consentStringKey));
    const Value when = coder.decodeObject(dateKey);
    if (const Date *date = when.asDate())
        event->setDate(*date);
    return event;
}

} // namespace vmr
