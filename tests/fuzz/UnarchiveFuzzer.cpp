#include "fuzz/Fuzzer.h"
#include "platform/KeyedArchive.h"

#include <cstdlib>

using namespace vmr;

namespace {

class Note final : public Archivable {
public:
    explicit Note(Value content) : content_(std::move(content)) {}

    std::string_view archiveClassName() const noexcept override { return "Note"; }
    void encodeWithCoder(KeyedEncoder &coder) const override {
        coder.encodeObject(content_, "content");
    }
    static std::shared_ptr<Archivable> make(const KeyedDecoder &coder) {
        return std::make_shared<Note>(coder.decodeObject("content"));
    }

private:
    Value content_;
};

const bool noteIsRegistered = registerArchivableClass("Note", &Note::make);

} // namespace

/// What was read can be archived, and that archive is read and archived alike.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const auto value = unarchiveObjectWithData(Data(std::string(fuzzedBytes(data, size))));
    if (!value)
        return 0;
    const Data archive = archivedDataWithRootObject(*value);
    const std::optional<Value> again = unarchiveObjectWithData(archive);
    if (!again || archivedDataWithRootObject(*again) != archive)
        std::abort();
    return 0;
}
