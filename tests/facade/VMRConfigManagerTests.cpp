#include "support/LogicFixture.h"

#include <atomic>
#include <thread>

namespace vmr::test {
namespace {

using Configuration = LogicTest;

TEST_F(Configuration, ReadAfterASaveSeesIt) {
    const auto number = [] { return VMRConfigManager::integerConfigValueForKey("value"); };
    std::atomic<bool> done{false};
    std::thread reader([&] {
        while (!done)
            number();
    });
    for (int value = 1; value <= 200; ++value) {
        configure({{"value", value}});
        ASSERT_EQ(number(), value);
    }
    done = true;
    reader.join();
}

} // namespace
} // namespace vmr::test
