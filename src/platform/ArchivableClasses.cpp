#include "platform/KeyedArchive.h"

#include <utility>

namespace vmr {
namespace {

struct ArchivableClass {
    std::string_view name;
    RecordFactory factory;
    const ArchivableClass *next;
};

/// Each record's source file adds its own while the program is loaded.
constinit const ArchivableClass *classes = nullptr;

} // namespace

bool registerArchivableClass(std::string_view className, RecordFactory factory) {
    classes = new ArchivableClass{className, factory, classes};
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
    const ArchivableClass *known = classes;
    while (known != nullptr && known->name != className)
        known = known->next;
    return known == nullptr ? nullptr : known->factory(KeyedDecoder(fields, first));
}

} // namespace vmr
