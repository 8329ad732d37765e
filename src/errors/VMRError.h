#pragma once

#include "platform/KeyedArchive.h"
#include "platform/Property.h"
#include "platform/Value.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vmr {

/// An entry about something that went wrong inside the SDK. Filled once, then only read; what
/// fills in its message later does so before the entry is handed on.
class VMRError final : public Archivable {
public:
    /// An entry with all five fields absent.
    VMRError() = default;
    /// An entry with a fresh timestamp.
    VMRError(std::optional<std::string_view> error, std::optional<std::string_view> message,
             std::optional<std::string_view> stacktrace, std::optional<Dictionary> metadata);

    VMR_PLAIN_PROPERTY(std::optional<std::string>, error, setError);
    VMR_PLAIN_PROPERTY(std::optional<std::string>, message, setMessage);
    VMR_PLAIN_PROPERTY(std::optional<std::string>, timestamp, setTimestamp);
    VMR_PLAIN_PROPERTY(std::optional<std::string>, stacktrace, setStacktrace);
    VMR_PLAIN_PROPERTY(std::optional<Dictionary>, metadata, setMetadata);

    /// The JSON form: a missing or empty text is a missing key.
    Dictionary asJson() const;

    static constexpr std::string_view ClassName = "VMRError";
    std::string_view archiveClassName() const noexcept override { return ClassName; }
    void encodeWithCoder(KeyedEncoder &coder) const override;
    static std::shared_ptr<Archivable> initWithCoder(const KeyedDecoder &coder);

private:
    struct Text;
    static const Text texts[4];
};

} // namespace vmr
