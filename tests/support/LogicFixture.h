#pragma once

#include "facade/VMRConfigManager.h"
#include "support/TestPlatform.h"

#include <gmock/gmock.h>

#include <initializer_list>
#include <string>
#include <utility>

namespace vmr::test {

/// A fresh platform for each test, and the process-wide configuration back at its defaults.
class LogicTest : public testing::Test {
protected:
    LogicTest() { VMRConfigManager::setSavedConfiguration(Value()); }

    static void configure(std::initializer_list<std::pair<const char *, int>> entries) {
        Dictionary configuration;
        for (const auto &[key, number] : entries)
            configuration[key] = Value::integer(number);
        VMRConfigManager::setSavedConfiguration(Value::dictionary(configuration));
    }

    TestPlatform services;
};

/// Calls back when a key is written.
struct CallingObserver final : KeyValueObserver {
    void observeValueForKeyPath(const std::string &, const Preferences *, const Dictionary &,
                                void *) override {
        if (call)
            std::exchange(call, nullptr)();
    }
    std::function<void()> call;
};

} // namespace vmr::test
