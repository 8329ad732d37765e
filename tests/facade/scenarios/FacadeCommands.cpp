#include "Stage.h"
#include "device/VMRDeviceDataManager.h"
#include "errors/VMRErrorManager.h"
#include "facade/VMRConfigManager.h"
#include "facade/VMRDebugLog.h"

namespace vmr::test {
namespace {

/// Keeps the typed request that the real manager never answers.
struct TypedRequest final : VMRNetworkManager {
    explicit TypedRequest(Stage &onStage) : stage(onStage) {}
    void requestWithType(VMRHttpRequestType type, const Dictionary &params,
                         const std::vector<std::string> &ids, VMRSuccessHandler successHandler,
                         VMRErrorHandler errorHandler) override {
        ++stage.underWay;
        stage.tell("typed request", Value::list({Value::integer(type), Value::dictionary(params),
                                                 Value::string(ids.at(0))}));
        success = std::move(successHandler);
        failure = std::move(errorHandler);
    }
    Stage &stage;
    VMRSuccessHandler success;
    VMRErrorHandler failure;
};

} // namespace

void addFacadeCommands(Stage &stage) {
    Stage *const s = &stage;
    const auto typed = std::make_shared<TypedRequest>(stage);
    const auto parameters = std::make_shared<Dictionary>();
    s->on("start", [s](const std::string &) { s->velmora->configureWithApiKey("k1", {"s3"}); });
    s->on("end of the process", [s](const std::string &) {
        s->velmora = nullptr;
        s->velmora = std::make_shared<Velmora>();
    });
    s->on("device job", [s](const std::string &) { s->velmora->performDeviceDataUpdateRequest(); });
    s->on("errors job", [s](const std::string &) { s->velmora->performErrorsPostRequest(); });
    s->on("handlers that nothing calls", [s](const std::string &) {
        s->velmora->applicationDidBecomeActive({});
        s->velmora->applicationDidEnterBackground({});
        s->velmora->applicationWillEnterForeground({});
        s->velmora->storeEventWithConsentStringChange({}, nullptr);
    });
    s->on("observed", [s](const std::string &key) {
        for (const Preferences *object :
             {static_cast<const Preferences *>(nullptr),
              static_cast<const Preferences *>(s->services.preferences.get())})
            s->velmora->observeValueForKeyPath(key, object, {}, nullptr);
    });
    s->on("status", [s](const std::string &status) {
        VMRNetworkManager manager;
        s->velmora->networkManager(manager, std::stol(status));
    });
    s->on("typed requests", [=](const std::string &) { s->velmora->setNetworkManager(typed); });
    s->on("typed answer", [=](const std::string &) {
        --s->underWay;
        typed->success(Value());
    });
    s->on("typed failure", [=](const std::string &text) {
        --s->underWay;
        const auto [status, kind] = splitAtBlank(text);
        typed->failure(std::stol(status),
                       kind.empty() ? nullptr
                                    : std::make_shared<VMRError>(kind, "m", "s", Dictionary()));
    });
    s->on("parameters",
          [=](const std::string &json) { *parameters = dictionaryOf(valueOf(json)); });
    s->on("response", [=](const std::string &json) {
        const Value response = json.empty() ? Value() : valueOf(json);
        s->velmora->onDeviceDataUpdateRequestResponse(response, *parameters);
    });
    s->on("name the identifier", [s](const std::string &name) {
        s->names.emplace_back(s->velmora->deviceDataManager()->VMRId().value(), name);
    });
    s->on("save configuration", [](const std::string &json) {
        VMRConfigManager::setSavedConfiguration(json.empty() ? Value() : valueOf(json));
    });
    s->on("configuration", [s](const std::string &) {
        s->tell("merged", VMRConfigManager::actualConfiguration());
        s->tell("saved", VMRConfigManager::savedConfiguration());
    });
    s->on("configured", [s](const std::string &key) {
        s->tell("number", VMRConfigManager::integerConfigValueForKey(key));
        s->tell("flag", VMRConfigManager::boolConfigValueForKey(key));
        s->tell("gate", isDebugLogEnabled());
    });
}

} // namespace vmr::test
