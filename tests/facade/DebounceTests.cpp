#include "facade/Debounce.h"
#include "support/TestPlatform.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace vmr::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DebounceTest : public testing::Test {
protected:
    std::function<void()> say(const std::string &text) {
        return [this, text] { calls.push_back(text); };
    }
    void store(const Value &object) {
        debounce(
            subject, "store", [this, object] { calls.push_back("store " + object.description()); },
            0, object);
    }
    std::function<void(bool, bool)> toggle = [this](bool on, bool quietly) {
        calls.push_back("toggle " + std::to_string(on) + std::to_string(quietly));
    };
    std::function<void(const List &)> apply = [this](const List &arguments) {
        calls.push_back("apply " + std::to_string(arguments.size()));
    };

    TestPlatform platform;
    std::vector<std::string> calls;
    std::shared_ptr<int> subject = std::make_shared<int>();
};

TEST_F(DebounceTest, ACallReplacesOneOfTheSameOperationTargetAndThreadWithoutArgument) {
    const auto other = std::make_shared<int>();
    const Value text = Value::string("a");
    debounce(subject, "refresh", say("refresh"), 0);
    debounce(subject, "refresh", say("refresh"), 0);
    debounce(subject, "reload", say("reload"), 0);
    debounce(other, "refresh", say("refresh"), 0);
    store(Value());
    store(text);
    store(text);
    store(Value());
    // A thread that never runs its loop neither replaces the call here nor makes one of its own.
    std::thread([&] { debounce(subject, "reload", say("reload"), 0); }).join();
    EXPECT_THAT(calls, IsEmpty()) << "without a delay too, the loop runs first";
    platform.loops->runDue();
    EXPECT_THAT(calls,
                ElementsAre("refresh", "reload", "refresh", "store a", "store a", "store (null)"));
}

TEST_F(DebounceTest, ATargetThatIsGoneSchedulesNothingAndIsNotCalled) {
    const std::weak_ptr<int> target = subject;
    debounce(subject, "refresh", say("refresh"), 1.0);
    subject.reset();
    EXPECT_TRUE(target.expired()) << "a pending call must not keep its target alive";
    platform.loops->advance(2);

    debounce(target, "refresh", say("refresh"), 1.0);
    EXPECT_EQ(debouncedInvocation(target, toggle, true, false, 1.0), nullptr);
    EXPECT_EQ(debouncedInvocation(target, apply, {}, 1.0), nullptr);
    EXPECT_FALSE(platform.loops->hasDelayedCalls());
    EXPECT_THAT(calls, IsEmpty());
}

TEST_F(DebounceTest, InvocationsReplaceNothingAndLiveUntilTheyRanOrAreCancelled) {
    const auto cancelled = debouncedInvocation(subject, toggle, true, true, 1.0);
    cancelled->invokeAfterDelay(2.0);
    debouncedInvocation(subject, toggle, true, false, 1.0);
    debouncedInvocation(subject, toggle, true, false, 1.0);
    const std::weak_ptr<Invocation> pending =
        debouncedInvocation(subject, apply, {Value::integer(1), Value::null()}, 1.0);
    cancelled->cancel();
    cancelled->invoke();
    EXPECT_FALSE(pending.expired());
    platform.loops->advance(5);
    EXPECT_THAT(calls, ElementsAre("toggle 11", "toggle 10", "toggle 10", "apply 2"));
    EXPECT_TRUE(pending.expired());

    debouncedInvocation(subject, toggle, false, true, 1.0);
    const std::weak_ptr<int> target = subject;
    subject.reset();
    platform.loops->advance(1);
    EXPECT_EQ(calls.back(), "toggle 01") << "an invocation retains its target";
    EXPECT_FALSE(target.expired()) << "which the cancelled one retains as well";
}

} // namespace
} // namespace vmr::test
