#include "errors/VMRError.h"
#include "network/DataCoding.h"
#include "network/VMRNetworkManager.h"
#include "support/Scenario.h"

namespace vmr::test {
namespace {

/// Writes down what a request calls.
class Requests : public Scenario {
protected:
    struct Delegate final : VMRNetworkManagerDelegate {
        void networkManager(VMRNetworkManager &, std::int64_t status) override { tell(status); }
        std::function<void(std::int64_t)> tell;
    };
    Requests() {
        delegate->tell = [this](std::int64_t status) { tell("delegate", status); };
        manager->setApiKey("k1", "s3", delegate);
    }
    VMRSuccessHandler success() {
        return [this](const Value &object) { tell("success", object); };
    }
    VMRErrorHandler failure() {
        return [this](std::int64_t status, const std::shared_ptr<VMRError> &error) {
            tell("failure", status);
            tell("record", error ? Value::dictionary(error->asJson()) : Value());
        };
    }
    void send(const std::string &what, VMRHttpMethodType method, bool isGZIP,
              const std::optional<Dictionary> &params, const Dictionary &headers = {}) {
        step(what, [&] {
            manager->requestWithMethodType(method, isGZIP, "http://127.0.0.1:9/x?c=3", headers,
                                           params, success(), failure());
        });
    }
    void post(const std::string &what, VMRIngestType type, const std::optional<List> &items,
              const Dictionary &parameters) {
        step(what, [&] { manager->postDatas(items, type, parameters, success(), failure()); });
    }

    std::shared_ptr<Delegate> delegate = std::make_shared<Delegate>();
    std::shared_ptr<VMRNetworkManager> manager = std::make_shared<VMRNetworkManager>();
};

TEST_F(Requests, AreMadeOfMethodHeadersAndParameters) {
    openDebugGate();
    const Dictionary params{{"a", Value::integer(1)}, {"b", Value::string("two words")}};
    for (VMRHttpMethodType method = 0; method <= 5; ++method) {
        send("method " + std::to_string(method), method, false, params,
             {{"A", Value::integer(5)}, {"a", Value::string("replaced")}});
        answer(200, "{}");
    }
    send("compressed", VMRHttpMethodTypePOST, true, params);
    answer(200);
    send("GET without parameters", VMRHttpMethodTypeGET, true, Dictionary());
    answer(200);
    for (const bool isGZIP : {false, true}) {
        send("no JSON", VMRHttpMethodTypePOST, isGZIP, Dictionary{{"d", Value::date(Date{})}});
        answer(200);
    }
    send("no parameters", VMRHttpMethodTypePOST, true, std::nullopt);
    answer(200);
    tell("path", VMRNetworkManager::httpRequestTypeString(1, {"id", "more"}));
    tell("no identifier", VMRNetworkManager::httpRequestTypeString(1, {}));
    tell("unknown path", VMRNetworkManager::httpRequestTypeString(2, {"id"}));
    tell("reversed", VMRNetworkManager::rvs("ae\u0301\U0001F600b"));
    expectRecorded();
}

TEST_F(Requests, EndWithOneHandlerAndOnlyA200IsASuccess) {
    openDebugGate();
    const PlatformError timeout{NSURLErrorDomain, -1001, {}};
    const std::pair<const char *, HTTPOutcome> outcomes[] = {
        {"transport error", {timeout, 200, Data("{}")}},
        {"no HTTP", {std::nullopt, std::nullopt, Data("{}")}}};
    for (const auto &[what, outcome] : outcomes) {
        send("GET", VMRHttpMethodTypeGET, false, Dictionary{{"q", Value::integer(1)}});
        complete(what, outcome);
    }
    const std::pair<int, const char *> answers[] = {
        {200, ""},   {200, "[7]"}, {200, "\"text\""},          {200, "<html>"}, {401, "{}"},
        {500, "no"}, {204, ""},    {500, R"({"why":"full"})"}, {201, "[]"},     {302, ""}};
    for (const auto &[status, body] : answers) {
        send("GET", VMRHttpMethodTypeGET, false, std::nullopt);
        answer(status, body);
    }
    services.guard->decision = {false, "a proxy is configured"};
    send("refused by the guard", VMRHttpMethodTypeGET, false, std::nullopt);
    tell("tasks begun", std::int64_t(services.backgroundTasks->names.size()));
    tell("tasks ended", std::int64_t(services.backgroundTasks->ended.size()));
    tell("name of all", services.backgroundTasks->names.front());
    expectRecorded();
}

TEST_F(Requests, OfTheDataStreamAreSignedOverTheirShortPath) {
    const List items{Value::dictionary({{"n", Value::integer(1)}})};
    const Dictionary envelope{{"os", Value::string("ios")}};
    openDebugGate();
    post("consents", VMRIngestTypeConsents, items, envelope);
    answer(200, "{}");
    services.bundle->information.erase("VMRLogsEnabled");
    post("errors", VMRIngestTypeDevicesErrors, items, envelope);
    answer(503);
    post("unknown kind", 3, items, {{"batch", Value::string("mine")}});
    answer(404);
    post("no items", VMRIngestTypeConsents, std::nullopt, envelope);
    answer(200);
    services.guard->decision.allowed = false;
    post("refused by the guard", VMRIngestTypeConsents, items, envelope);
    services.guard->decision.allowed = true;
    for (const std::int64_t status : {200, 500}) {
        step("without handlers",
             [&] { manager->postDatas(List(), VMRIngestTypeConsents, {}, nullptr, nullptr); });
        answer(status);
    }
    for (const bool forAuth : {true, false})
        for (VMRIngestType type = 0; type <= 3; ++type)
            tell("path", manager->ingestUrlWithType(type, forAuth));
    tell("headers", manager->authVMRHeaderForRelativeURL("a/b", false));
    services.bundle->identifier.reset();
    manager->setApiKey(std::nullopt);
    manager->setSecret(std::nullopt);
    tell("headers of nothing", manager->authVMRHeaderForRelativeURL(std::nullopt, false));
    expectRecorded();
}

TEST_F(Requests, TextsAreCodedAsTheServiceKnowsThem) {
    for (const std::string &text :
         {std::string(), std::string("abc"), std::string("be\0fore", 7)}) {
        tell("SHA-1", VMR_sha1(text));
        tell("SHA-256", VMR_sha256(text));
        tell("hash as a text, in hexadecimal", VMR_hexEncode(VMR_hash(text)));
        tell("hash", Value::data(*VMR_hash(Data(text))));
    }
    const Data longKey(std::string(131, '\xaa'));
    tell("HMAC",
         Value::data(VMR_sha256HMacWithKey(Data("what do ya want for nothing?"), Data("Jefe"))));
    tell("HMAC, long key",
         Value::data(VMR_sha256HMacWithKey(
             Data("Test Using Larger Than Block-Size Key - Hash Key First"), longKey)));
    tell("hexadecimal", VMR_hexEncode("A\n\u000f\u0010\u0100\u20ac\U0001F600"));
    for (const std::uint64_t status : {0u, 1u, 2u, 3u, 4u})
        tell("tracking", stringWithATAuthorizationStatus(status));
    const Dictionary json{{"a", Value::list({Value::integer(1), Value::null()})}};
    tell("compact", jsonStringWithPrettyPrint(json, false));
    tell("pretty", jsonStringWithPrettyPrint(json, true));
    tell("no JSON", jsonStringWithPrettyPrint({{"a", Value::date(Date{})}}, true));
    openDebugGate();
    tell("no JSON", jsonStringWithPrettyPrint({{"a", Value::date(Date{})}}, true));
    expectRecorded();
}

} // namespace
} // namespace vmr::test
