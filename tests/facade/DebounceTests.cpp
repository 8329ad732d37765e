#include "facade/Debounce.h"
#include "support/TestPlatform.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace vmr::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Subject {
    explicit Subject(std::vector<std::string> &log) : calls(log) {}

    void refresh() { calls.push_back("refresh"); }
    void reload() { calls.push_back("reload"); }
    void store(const Value &object) { calls.push_back("store " + object.description()); }
    void toggle(bool on, bool quietly) {
        calls.push_back("toggle " + std::to_string(on) + std::to_string(quietly));
    }
    void apply(const List &arguments) {
        calls.push_back("apply " + std::to_string(arguments.size()));
    }

    std::vector<std::string> &calls;
};

const Operation refresh{"refresh", &Subject::refresh};
const Operation reload{"reload", &Subject::reload};
const Operation store{"store", &Subject::store};
const Operation toggle{"toggle", &Subject::toggle};
const Operation apply{"apply", &Subject::apply};

class DebounceTest : public testing::Test {
protected:
    TestPlatform platform;
    std::vector<std::string> calls;
    std::shared_ptr<Subject> subject = std::make_shared<Subject>(calls);
};

TEST_F(DebounceTest, ACallReplacesOneOfTheSameOperationTargetAndThreadWithoutArgument) {
    const auto other = std::make_shared<Subject>(calls);
    const Value text = Value::string("a");
    debounce(subject, refresh, 0);
    debounce(subject, refresh, 0);
    debounce(subject, reload, 0);
    debounce(other, refresh, 0);
    debounce(subject, store, Value(), 0);
    debounce(subject, store, text, 0);
    debounce(subject, store, text, 0);
    debounce(subject, store, Value(), 0);
    // A thread that never runs its loop neither replaces the call here nor makes one of its own.
    std::thread([&] { debounce(subject, reload, 0); }).join();
    EXPECT_THAT(calls, IsEmpty()) << "without a delay too, the loop runs first";
    platform.loops->runDue();
    EXPECT_THAT(calls,
                ElementsAre("refresh", "reload", "refresh", "store a", "store a", "store (null)"));
}

TEST_F(DebounceTest, ATargetThatIsGoneSchedulesNothingAndIsNotCalled) {
    const std::weak_ptr<Subject> target = subject;
    debounce(subject, refresh, 1.0);
    subject.reset();
    EXPECT_TRUE(target.expired()) << "a pending call must not keep its target alive";
    platform.loops->advance(2);

    debounce(target, refresh, 1.0);
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
    const std::weak_ptr<Subject> target = subject;
    subject.reset();
    platform.loops->advance(1);
    EXPECT_EQ(calls.back(), "toggle 01") << "an invocation retains its target";
    EXPECT_FALSE(target.expired()) << "which the cancelled one retains as well";
}

} // namespace
} // namespace vmr::test
