#include "network/ExchangeReport.h"

namespace vmr {
namespace {

Locked<std::optional<ExchangeReport>> &last() {
    static auto &kept = *new Locked<std::optional<ExchangeReport>>;
    return kept;
}

} // namespace

std::optional<ExchangeReport> lastExchange() {
    return last().get();
}

void setLastExchange(const ExchangeReport &report) {
    last().set(report);
}

} // namespace vmr
