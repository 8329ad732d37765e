#include "platform/Data.h"

#include "platform/Hexadecimal.h"
#include "platform/NumberText.h"

#include <mutex>
#include <utility>

namespace vmr {

struct Data::Content {
    explicit Content(std::string given) : bytes(std::move(given)) {}
    explicit Content(std::unique_ptr<const ByteSource> from) : source(std::move(from)) {}

    const std::unique_ptr<const ByteSource> source;
    mutable std::once_flag made;
    mutable std::string bytes;
};

namespace {

constexpr std::size_t longestShownWhole = 24;
constexpr std::size_t shownAtStart = 16;
constexpr std::size_t shownAtEnd = 8;
constexpr std::size_t groupSize = 4;

void appendGroups(std::string &out, std::string_view bytes) {
    for (std::size_t at = 0; at < bytes.size(); at += groupSize) {
        appendHexadecimal(out, bytes.substr(at, groupSize));
        out += ' ';
    }
}

} // namespace

Data::Data(std::string bytes) : content_(std::make_shared<const Content>(std::move(bytes))) {}

Data::Data(std::unique_ptr<const ByteSource> source)
    : content_(std::make_shared<const Content>(std::move(source))) {}

std::string_view Data::bytes() const {
    if (!content_)
        return {};
    if (const ByteSource *source = content_->source.get())
        std::call_once(content_->made, [&] { content_->bytes = source->makeBytes(); });
    return content_->bytes;
}

const RecordList *Data::records() const noexcept {
    return content_ && content_->source ? content_->source->records() : nullptr;
}

bool Data::operator==(const Data &other) const {
    return isIdenticalTo(other) || bytes() == other.bytes();
}

std::string Data::description() const {
    const std::string_view all = bytes();
    std::string text = "{length = ";
    appendInteger(text, all.size());
    text += ", bytes = 0x";
    if (all.size() <= longestShownWhole) {
        appendHexadecimal(text, all);
    } else {
        appendGroups(text, all.substr(0, shownAtStart));
        text += "... ";
        appendGroups(text, all.substr(all.size() - shownAtEnd));
    }
    text += '}';
    return text;
}

} // namespace vmr
