#include "platform/KeyedArchive.h"
#include "platform/Locked.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace vmr {
namespace {

using Factories = std::vector<std::pair<std::string_view, RecordFactory>>;

/// Made by the first record that registers itself while the program is loaded.
Locked<Factories> &factories() {
    static auto &only = *new Locked<Factories>;
    return only;
}

} // namespace

bool registerArchivableClass(std::string_view className, RecordFactory factory) {
    factories().with([&](Factories &known) { known.emplace_back(className, factory); });
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
        const auto entry = std::ranges::find(known, className, &Factories::value_type::first);
        return entry == known.end() ? nullptr : entry->second;
    });
    return factory == nullptr ? nullptr : factory(KeyedDecoder(fields, first));
}

} // namespace vmr
