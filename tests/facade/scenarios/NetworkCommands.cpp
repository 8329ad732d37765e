#include "Stage.h"
#include "errors/VMRError.h"
#include "network/DataCoding.h"
#include "network/IngestBaseAddress.h"
#include "network/VMRNetworkManager.h"

namespace vmr::test {

void addNetworkCommands(Stage &stage) {
    Stage *const s = &stage;
    const auto manager = [s] { return s->velmora->networkManager(); };
    const VMRSuccessHandler success = [s](const Value &object) { s->tell("success", object); };
    const VMRErrorHandler failure = [s](std::int64_t status,
                                        const std::shared_ptr<VMRError> &error) {
        s->tell("failure", status);
        s->tell("record", error ? Value::dictionary(error->asJson()) : Value());
    };
    const auto request = [=](const std::string &text, bool isGZIP) {
        const auto [method, json] = splitAtBlank(text);
        manager()->requestWithMethodType(
            std::stoi(method), isGZIP, "http://127.0.0.1:9/x?c=3",
            {{"A", Value::integer(5)}, {"a", Value::string("replaced")}},
            json.empty() ? Value() : valueOf(json), success, failure);
    };
    const auto post = [=](const std::string &text, const VMRSuccessHandler &onSuccess,
                          const VMRErrorHandler &onError) {
        const auto [kind, json] = splitAtBlank(text);
        const Value both = valueOf(json);
        const Value &items = both.asList()->at(0);
        manager()->postDatas(items.asList() ? items : Value(), std::stoi(kind),
                             dictionaryOf(both.asList()->at(1)), onSuccess, onError);
    };
    s->on("request", [=](const std::string &text) { request(text, false); });
    s->on("compressed request", [=](const std::string &text) { request(text, true); });
    s->on("post", [=](const std::string &text) { post(text, success, failure); });
    s->on("post without handlers", [=](const std::string &text) { post(text, nullptr, nullptr); });
    s->on("paths", [=](const std::string &kind) {
        s->tell("signed", manager()->ingestUrlWithType(std::stoi(kind), true));
        s->tell("requested", manager()->ingestUrlWithType(std::stoi(kind), false));
        s->tell("typed", VMRNetworkManager::httpRequestTypeString(std::stoi(kind), {"id", "more"}));
        s->tell("without", VMRNetworkManager::httpRequestTypeString(std::stoi(kind), {}));
    });
    s->on("headers", [=](const std::string &path) {
        s->tell("headers", manager()->authVMRHeaderForRelativeURL(
                               path.empty() ? std::nullopt : std::optional(path), false));
    });
    s->on("base address", [s](const std::string &json) {
        const auto refusal = refusalOfIngestBaseAddress(valueOf(json).description());
        s->add(refusal.value_or("accepted"));
    });
    s->on("no credentials", [=](const std::string &) {
        manager()->setApiKey(std::nullopt);
        manager()->setSecret({});
    });
    s->on("codes", [s](const std::string &json) {
        const std::string text = valueOf(json).description();
        s->tell("SHA-1", VMR_sha1(text));
        s->tell("SHA-256", VMR_sha256(text));
        s->tell("hash", Value::data(*VMR_hash(Data(text))));
        s->tell("hash as a text", VMR_hexEncode(VMR_hash(std::string_view(text))));
        s->tell("hexadecimal", VMR_hexEncode(text));
        s->tell("reversed", VMRNetworkManager::rvs(text));
    });
    s->on("HMAC", [s](const std::string &json) {
        const Value pair = valueOf(json);
        s->tell("bytes", Value::data(VMR_sha256HMacWithKey(*pair.asList()->at(0).asData(),
                                                           *pair.asList()->at(1).asData())));
    });
    s->on("tracking text", [s](const std::string &status) {
        s->tell("text", stringWithATAuthorizationStatus(std::stoul(status)));
    });
    s->on("JSON", [s](const std::string &json) {
        s->tell("compact", jsonStringWithPrettyPrint(dictionaryOf(valueOf(json)), false));
        s->tell("pretty", jsonStringWithPrettyPrint(dictionaryOf(valueOf(json)), true));
    });
}

} // namespace vmr::test
