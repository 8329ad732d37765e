#include "facade/VMRDebugLog.h"
#include "network/DataCoding.h"
#include "platform/JSON.h"

#include <exception>

namespace vmr {
namespace {

constexpr const char *operationName = "-[NSDictionary(VMRKit) jsonStringWithPrettyPrint:]";
constexpr const char *emptyObject = "{}";

} // namespace

std::string jsonStringWithPrettyPrint(const Dictionary &dictionary, bool prettyPrint) {
    const Value object = Value::dictionary(dictionary);
    if (!isValidJSONObject(object)) {
        debugLog("%s: not a valid json: %@", operationName, object);
        return emptyObject;
    }
    try {
        return writeJSON(object, prettyPrint ? JSONStyle::pretty : JSONStyle::compact);
    } catch (const std::exception &error) {
        debugLog("%s: error: %@", operationName, error.what());
        return emptyObject;
    }
}

} // namespace vmr
