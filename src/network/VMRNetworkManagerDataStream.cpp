#include "errors/VMRError.h"
#include "facade/VMRDebugLog.h"
#include "network/DataCoding.h"
#include "network/VMRNetworkManager.h"
#include "platform/Format.h"
#include "platform/RunThen.h"

namespace vmr {

std::optional<std::string_view> VMRNetworkManager::ingestUrlWithType(VMRIngestType type,
                                                                     bool forAuth) const {
    switch (type) {
    case VMRIngestTypeConsents:
        return forAuth ? "consents" : "1.0/consents";
    case VMRIngestTypeDevicesErrors:
        return "devices_errors";
    default:
        return std::nullopt;
    }
}

void VMRNetworkManager::postDatas(const Value &items, VMRIngestType type, Dictionary body,
                                  VMRSuccessHandler successHandler, VMRErrorHandler errorHandler) {
    const auto signedPath = ingestUrlWithType(type, true);
    // A "batch" among the parameters replaces the items.
    if (!items.isAbsent() && !body.contains("batch"))
        put(body, "batch", items);
    const Dictionary headers = authVMRHeaderForRelativeURL(signedPath, true);
    const std::string url = formatText("%@%@", s().front(), ingestUrlWithType(type, false));

    debugLog("-> performing %@ request on \"%@\"", httpMethodTypeString(VMRHttpMethodTypePOST),
             url);
    if (isDebugLogEnabled())
        writeDebugLine(formatText("-> with param :%@", jsonStringWithPrettyPrint(body, true)));

    requestWithMethodType(
        VMRHttpMethodTypePOST, true, url, headers, Value::dictionary(std::move(body)),
        std::move(successHandler),
        [signedPath, handler = std::move(errorHandler)](std::int64_t status,
                                                        std::shared_ptr<VMRError> record) {
            const auto name = [&] {
                if (record)
                    record->setMessage(formatText("Error API DataStreamApi %@", signedPath));
            };
            runThen(name, [&] {
                if (handler)
                    handler(status, record);
            });
        },
        type);
}

} // namespace vmr
