#pragma once

#include "platform/MainBundle.h"

#include <memory>
#include <utility>

namespace vmr {

/// A bundle with single entries of the information dictionary replaced.
class LayeredBundle final : public MainBundle {
public:
    LayeredBundle(Dictionary entries, std::shared_ptr<const MainBundle> base)
        : entries_(std::move(entries)), base_(std::move(base)) {}

    std::optional<std::string> bundleIdentifier() const override {
        return base_->bundleIdentifier();
    }
    Value objectForInfoDictionaryKey(std::string_view key) const override {
        Value entry = valueForKey(entries_, key);
        return entry.isAbsent() ? base_->objectForInfoDictionaryKey(key) : entry;
    }

private:
    const Dictionary entries_;
    const std::shared_ptr<const MainBundle> base_;
};

} // namespace vmr
