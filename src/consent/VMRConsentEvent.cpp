#include "consent/VMRConsentEvent.h"

#include "device/DateFormatting.h"
#include "network/DataCoding.h"
#include "platform/Format.h"

#include <utility>

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

Value VMRConsentEvent::consentString() const {
    const MutexLock lock(mutex_);
    return consentString_;
}

void VMRConsentEvent::setConsentString(Value consentString) {
    const MutexLock lock(mutex_);
    consentString_ = std::move(consentString);
    encodedForm_.reset();
    ++revision_;
}

std::optional<Date> VMRConsentEvent::date() const {
    const MutexLock lock(mutex_);
    return date_;
}

void VMRConsentEvent::setDate(std::optional<Date> date) {
    const MutexLock lock(mutex_);
    date_ = date;
    encodedForm_.reset();
    ++revision_;
}

Dictionary VMRConsentEvent::jsonWithDateText(const std::optional<std::string> &dateText) const {
    Dictionary json;
    if (dateText)
        json.emplace("localDate", Value::string(*dateText));
    const Value string = consentString();
    json.emplace("consentString", string.isAbsent() ? Value::null() : string);
    return json;
}

Dictionary VMRConsentEvent::formatedJson() const {
    return jsonWithDateText(VMR_dataStreamApiDateFormatter().stringFromDate(date()));
}

Dictionary VMRConsentEvent::formatedJsonWithUUID(const std::optional<std::string> &uuid) const {
    const auto dateText = VMR_dataStreamApiDateFormatter().stringFromDate(date());
    Dictionary json = jsonWithDateText(dateText);
    // The whole description, however long it is.
    const std::string source =
        formatText("%@;%@;%@", uuid, consentString().description(), dateText);
    json.emplace("eventId", Value::string(VMR_sha256(source)));
    return json;
}

void VMRConsentEvent::encodeWithCoder(KeyedEncoder &coder) const {
    const auto when = date();
    coder.encodeObject(consentString(), consentStringKey);
    coder.encodeObject(when ? Value::date(*when) : Value(), dateKey);
}

Data VMRConsentEvent::encodedForm() const {
    std::uint64_t revision = 0;
    {
        const MutexLock lock(mutex_);
        if (encodedForm_)
            return *encodedForm_;
        revision = revision_;
    }
    Data fresh = encodeRecord(*this);
    const MutexLock lock(mutex_);
    if (revision == revision_)
        encodedForm_ = fresh;
    return fresh;
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
