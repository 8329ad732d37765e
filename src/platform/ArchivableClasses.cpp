#include "platform/ArchivableClasses.h"

#include "platform/Mutex.h"

#include <map>

namespace vmr {
namespace {

struct Registry {
    Mutex mutex;
    std::map<std::string, RecordFactory, std::less<>> factories VMR_GUARDED_BY(mutex);
};

/// Made by the first record that registers itself while the program is loaded.
Registry &registry() {
    static Registry &only = *new Registry;
    return only;
}

} // namespace

bool registerArchivableClass(std::string_view className, RecordFactory factory) {
    Registry &classes = registry();
    const MutexLock lock(classes.mutex);
    classes.factories.insert_or_assign(std::string(className), factory);
    return true;
}

RecordFactory recordFactoryForClass(std::string_view className) {
    Registry &classes = registry();
    const MutexLock lock(classes.mutex);
    const auto entry = classes.factories.find(className);
    return entry == classes.factories.end() ? nullptr : entry->second;
}

} // namespace vmr
