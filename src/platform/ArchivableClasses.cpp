#include "platform/KeyedArchive.h"
#include "platform/Locked.h"

#include <map>

namespace vmr {
namespace {

using Factories = std::map<std::string, RecordFactory, std::less<>>;

/// Made by the first record that registers itself while the program is loaded.
Locked<Factories> &factories() {
    static auto &only = *new Locked<Factories>;
    return only;
}

} // namespace

bool registerArchivableClass(std::string_view className, RecordFactory factory) {
    factories().with(
        [&](Factories &known) { known.insert_or_assign(std::string(className), factory); });
    return true;
}

Dictionary fieldsOfRecord(const Archivable &record) {
    KeyedEncoder encoder;
    record.encodeWithCoder(encoder);
    return std::move(encoder).takeFields();
}

std::shared_ptr<const Archivable> recordWithFields(std::string_view className,
                                                   const Dictionary &fields,
                                                   std::span<const KeyedDecoder::Field> first) {
    const RecordFactory factory = factories().with([&](const Factories &known) {
        const auto entry = known.find(className);
        return entry == known.end() ? nullptr : entry->second;
    });
    return factory == nullptr ? nullptr : factory(KeyedDecoder(fields, first));
}

} // namespace vmr
