#include "device/VMRDeviceDataManager.h"
#include "errors/VMRErrorManager.h"
#include "facade/Velmora.h"
#include "support/LogicFixture.h"

namespace vmr::test {
namespace {

/// Keeps the typed request that the real manager never answers.
struct AnsweringManager final : VMRNetworkManager {
    void requestWithType(VMRHttpRequestType, const Dictionary &, const std::vector<std::string> &,
                         VMRSuccessHandler successHandler, VMRErrorHandler) override {
        success = std::move(successHandler);
    }
    VMRSuccessHandler success;
};

/// Its jobs on their own thread.
class Facade : public LogicTest {
protected:
    Facade() { velmora->configureWithApiKey("key", {"secret"}); }
    void enterForeground() {
        services.notifications->postNotification(UIApplicationWillEnterForegroundNotification);
    }
    bool sent(std::size_t count) {
        return services.loops->runUntil([&] { return services.http->sentCount() == count; });
    }
    std::shared_ptr<Velmora> velmora = std::make_shared<Velmora>();
};

TEST_F(Facade, HoldsEveryJobBackUntilTheDeviceRequestIsAnswered) {
    const auto real = velmora->networkManager();
    const auto manager = std::make_shared<AnsweringManager>();
    velmora->setNetworkManager(manager);
    velmora->performDeviceDataUpdateRequest();
    ASSERT_TRUE(services.loops->runUntil([&] { return manager->success != nullptr; }));
    velmora->setNetworkManager(real);
    enterForeground();
    ASSERT_TRUE(services.loops->runUntil([this] { return services.queues->jobs->begun >= 2; }));
    services.loops->runDue();
    EXPECT_EQ(services.queues->jobs->ended, 1);
    EXPECT_EQ(services.http->sentCount(), 0u);
    manager->success(Value());
    EXPECT_TRUE(sent(1));
}

TEST_F(Facade, AJobThatThrowsHoldsNobodyUp) {
    const auto clock = velmora->actualDateProvider();
    velmora->setActualDateProvider([]() -> Date { throw std::bad_alloc(); });
    velmora->performConsentDataPostRequest();
    // A real loop tells of it and goes on.
    EXPECT_THROW(services.loops->runUntil([] { return false; }), std::bad_alloc);
    velmora->setActualDateProvider(clock);
    velmora->performConsentDataPostRequest();
    EXPECT_TRUE(sent(1));
}

TEST_F(Facade, AnAnswersHandlerThatThrowsHoldsNobodyUp) {
    const auto errors = std::make_shared<VMRErrorManager>();
    velmora->setLogManager(errors);
    errors->storeError(std::make_shared<VMRError>());
    velmora->performErrorsPostRequest();
    ASSERT_TRUE(sent(1));
    ASSERT_TRUE(
        services.loops->runUntil([&] { return !errors->lastPostLogsAttemptDate().isAbsent(); }));
    const auto clock = velmora->actualDateProvider();
    velmora->setActualDateProvider([]() -> Date { throw std::bad_alloc(); });
    services.http->answer(0, 200);
    EXPECT_THROW(services.loops->runUntil([] { return false; }), std::bad_alloc);
    velmora->setActualDateProvider(clock);
    enterForeground();
    EXPECT_TRUE(sent(2));
}

} // namespace
} // namespace vmr::test
