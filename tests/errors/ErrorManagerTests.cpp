#include "device/Keys.h"
#include "device/Persistence.h"
#include "errors/VMRErrorManager.h"
#include "support/LogicFixture.h"

#include <barrier>
#include <thread>

namespace vmr::test {
namespace {

using Errors = LogicTest;

TEST_F(Errors, StoreHoldsTheWholeListWhenTwoThreadsHaveStored) {
    configure({{"ERRORS_ACTIVE_ARRAY_BUFFER_SIZE", -1}});
    VMRErrorManager manager;
    std::barrier together(2);
    for (std::size_t round = 1; round <= 50; ++round) {
        const auto storeOne = [&] {
            together.arrive_and_wait();
            manager.storeError(std::make_shared<VMRError>());
        };
        std::thread other(storeOne);
        storeOne();
        other.join();
        ASSERT_EQ(deviceDataArrayWithType(VMRLogsArrayKey).asList()->size(), 2 * round);
    }
}

} // namespace
} // namespace vmr::test
