#pragma once

#include "collect/Sink.h"

#include <nats/nats.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace velmora::collect {

/// Keeps events in a stream of a NATS cluster, a message an event: durable when a majority of its
/// nodes has it. The stream knows a message again within its window.
class NatsSink final : public Sink {
public:
    /// Connects, and makes the stream where there is none. Throws SinkTrouble.
    explicit NatsSink(const SinkOptions &options);
    NatsSink(const NatsSink &) = delete;
    NatsSink &operator=(const NatsSink &) = delete;
    ~NatsSink() override;

    /// An event must fit into a message.
    std::string refusalOf(const Delivery &delivery) const override;
    std::vector<std::size_t> store(std::span<const Delivery *const> deliveries) override;

private:
    /// A message on its way, and the first delivery that brought its event.
    using Pending = std::unordered_map<std::string, std::size_t>;

    static void acknowledged(jsCtx *context, natsMsg *message, jsPubAck *stored,
                             jsPubAckErr *failed, void *self);
    void connect(const std::string &addresses);
    void makeStream(const SinkOptions &options);
    void publish(const Delivery &delivery, const Event &event, const std::string &identifier);

    /// Until at most so many messages are under way.
    void waitFor(std::size_t most);

    natsConnection *connection_ = nullptr;
    jsCtx *context_ = nullptr;
    std::size_t longestMessage_ = 0;

    std::mutex mutex_;
    std::condition_variable changed_;
    Pending pending_;
    std::vector<std::size_t> added_;
    std::string failure_;
};

} // namespace velmora::collect
