#pragma once

#include "consent/VMRDataSreamApiSentData.h"
#include "platform/KeyedArchive.h"
#include "platform/Value.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace vmr {

/// One consent string that was seen with a new value, and when. Written by the thread that makes
/// it, until it is in a list; from then on it does not change, and any thread may read it.
class VMRConsentEvent final : public VMRDataSreamApiSentData, public Archivable {
public:
    VMRConsentEvent() = default;
    /// An event that shares this one's string and date.
    std::shared_ptr<VMRConsentEvent> copyWithZone() const;

    /// Whatever the preferences held under the key: a string, normally; absent; the null marker
    /// when the key was removed.
    const Value &consentString() const { return consentString_; }
    void setConsentString(Value consentString) { consentString_ = std::move(consentString); }
    std::optional<Date> date() const { return date_; }
    void setDate(std::optional<Date> date) { date_ = date; }

    Dictionary formatedJson() const;
    /// The same with "eventId", a digest over the identifier, the string and the date: an event
    /// that is sent again carries the same one.
    Dictionary formatedJsonWithUUID(const std::optional<std::string> &uuid) const override;

    static constexpr std::string_view ClassName = "VMRConsentEvent";
    std::string_view archiveClassName() const noexcept override { return ClassName; }
    void encodeWithCoder(KeyedEncoder &coder) const override;
    static std::shared_ptr<Archivable> initWithCoder(const KeyedDecoder &coder);

private:
    Dictionary jsonWithDateText(const std::optional<std::string> &dateText) const;

    Value consentString_;
    std::optional<Date> date_;
};

} // namespace vmr
