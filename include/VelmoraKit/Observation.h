#pragma once

#include <VelmoraKit/Result.h>

namespace VelmoraKit {

/// Keeps an observation alive; ends it when destroyed. May be ended inside its own callback.
template <class Observer, velmora_result (*endOf)(Observer *)>
class [[nodiscard]] BasicObservation {
public:
    BasicObservation() = default;
    explicit BasicObservation(Observer *observer) noexcept : observer_(observer) {}
    BasicObservation(BasicObservation &&other) noexcept
        : observer_(std::exchange(other.observer_, nullptr)) {}
    BasicObservation &operator=(BasicObservation &&other) noexcept {
        if (this != &other) {
            end();
            observer_ = std::exchange(other.observer_, nullptr);
        }
        return *this;
    }
    ~BasicObservation() { end(); }

    /// Whether the observation could be made and has not ended.
    explicit operator bool() const noexcept { return observer_ != nullptr; }
    void end() noexcept { endOf(std::exchange(observer_, nullptr)); }

private:
    Observer *observer_ = nullptr;
};

/// Of the preferences.
using Observation = BasicObservation<velmora_observer, velmora_preferences_unobserve>;
using ExchangeObservation =
    BasicObservation<velmora_exchange_observer, velmora_unobserve_exchanges>;

} // namespace VelmoraKit
