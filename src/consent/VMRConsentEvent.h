#pragma once

#include "consent/VMRDataSreamApiSentData.h"
#include "platform/KeyedArchive.h"
#include "platform/Mutex.h"
#include "platform/Value.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vmr {

/// One consent string that was seen with a new value, and when. Fields may be read and written from
/// any thread, each for itself. Keeps its archived form, because the list that it stands in is
/// archived whole at every change.
class VMRConsentEvent final : public VMRDataSreamApiSentData, public Archivable {
public:
    VMRConsentEvent() = default;
    /// An event that shares this one's string and date.
    std::shared_ptr<VMRConsentEvent> copyWithZone() const;

    /// Whatever the preferences held under the key: a string, normally; absent; the null marker
    /// when the key was removed.
    Value consentString() const;
    void setConsentString(Value consentString);
    std::optional<Date> date() const;
    void setDate(std::optional<Date> date);

    Dictionary formatedJson() const;
    /// The same with "eventId", a digest over the identifier, the string and the date: an event
    /// that is sent again carries the same one.
    Dictionary formatedJsonWithUUID(const std::optional<std::string> &uuid) const override;

    static constexpr std::string_view ClassName = "VMRConsentEvent";
    std::string_view archiveClassName() const noexcept override { return ClassName; }
    void encodeWithCoder(KeyedEncoder &coder) const override;
    Data encodedForm() const override;
    static std::shared_ptr<Archivable> initWithCoder(const KeyedDecoder &coder);

private:
    Dictionary jsonWithDateText(const std::optional<std::string> &dateText) const;

    mutable Mutex mutex_;
    Value consentString_ VMR_GUARDED_BY(mutex_);
    std::optional<Date> date_ VMR_GUARDED_BY(mutex_);
    /// Counts the changes, so that a form encoded from older fields is not kept.
    std::uint64_t revision_ VMR_GUARDED_BY(mutex_) = 0;
    mutable std::optional<Data> encodedForm_ VMR_GUARDED_BY(mutex_);
};

} // namespace vmr
