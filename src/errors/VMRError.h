#pragma once

#include "platform/KeyedArchive.h"
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

    const std::optional<std::string> &error() const { return error_; }
    void setError(std::optional<std::string> error) { error_ = std::move(error); }
    const std::optional<std::string> &message() const { return message_; }
    void setMessage(std::optional<std::string> message) { message_ = std::move(message); }
    const std::optional<std::string> &timestamp() const { return timestamp_; }
    void setTimestamp(std::optional<std::string> timestamp) { timestamp_ = std::move(timestamp); }
    const std::optional<std::string> &stacktrace() const { return stacktrace_; }
    void setStacktrace(std::optional<std::string> stacktrace) {
        stacktrace_ = std::move(stacktrace);
    }
    const std::optional<Dictionary> &metadata() const { return metadata_; }
    void setMetadata(std::optional<Dictionary> metadata) { metadata_ = std::move(metadata); }

    /// The JSON form: a missing or empty text is a missing key.
    Dictionary asJson() const;

    static constexpr std::string_view ClassName = "VMRError";
    std::string_view archiveClassName() const noexcept override { return ClassName; }
    void encodeWithCoder(KeyedEncoder &coder) const override;
    static std::shared_ptr<Archivable> initWithCoder(const KeyedDecoder &coder);

private:
    struct Text;
    static const Text texts[4];

    std::optional<std::string> error_;
    std::optional<std::string> message_;
    std::optional<std::string> timestamp_;
    std::optional<std::string> stacktrace_;
    std::optional<Dictionary> metadata_;
};

} // namespace vmr
