#include "collect/NatsSink.h"

#include "Digest.h"
#include "collect/Moment.h"

#include <chrono>
#include <thread>
#include <utility>

namespace velmora::collect {
namespace {

constexpr const char *streamName = "VELMORA";
constexpr const char *subjects = "velmora.>";
constexpr std::int64_t millisecondsForOne = 4000;
constexpr std::chrono::milliseconds patience{5000};
/// A cluster that starts needs a while to choose who leads.
constexpr int startAttempts = 20;
constexpr std::chrono::milliseconds betweenAttempts{500};
/// So that each has its answer in time, however many events a request has.
constexpr std::size_t mostUnderWay = 1000;
constexpr std::size_t roomForHeaders = 1024;
/// Of a request. A small body may hold very many events beside a long envelope.
constexpr std::size_t longestWithEnvelopes = std::size_t{64} << 20;
/// Of a text, for each of its characters in JSON.
constexpr std::size_t longestEscape = 6;
constexpr int reconnectMilliseconds = 200;
constexpr double nanosecondsInHour = 3.6e12;

/// The client's last error says more than the status where there is one.
std::string wordsOf(natsStatus status) {
    const char *last = nats_GetLastError(nullptr);
    return last != nullptr && *last != '\0' ? last : natsStatus_GetText(status);
}

[[noreturn]] void fail(const std::string &what, const std::string &why) {
    throw SinkTrouble("the cluster " + what + ": " + why);
}

/// A stream that somebody else has made is taken as it is, if it keeps what it acknowledges.
void requireLasting(const jsStreamConfig &there) {
    const char *why = there.Storage != js_FileStorage        ? "it is kept in memory"
                      : there.Retention == js_InterestPolicy ? "it keeps what a consumer waits for"
                      : there.NoAck                          ? "it acknowledges nothing"
                                                             : nullptr;
    if (why != nullptr)
        fail("has a stream " + std::string(streamName) + " that may lose events", why);
}

std::vector<std::string> pieces(const std::string &list) {
    std::vector<std::string> pieces(1);
    for (const char c : list)
        if (c == ',')
            pieces.emplace_back();
        else
            pieces.back() += c;
    return pieces;
}

std::string identifierOf(const Delivery &delivery, const Event &event) {
    return sha256Text(delivery.apiKey).substr(0, 16) + "." + delivery.device + "." +
           event.identifier;
}

/// The same entries as in an export of an SQLite file.
std::string messageOf(const Delivery &delivery, const Event &event) {
    nlohmann::ordered_json message = {{"arrival", momentText(delivery.arrival)},
                                      {"apiKey", delivery.apiKey},
                                      {"device", delivery.device},
                                      {"eventId", event.identifier},
                                      {"kind", nameOf(delivery.kind)},
                                      {"date", event.date}};
    std::string text = message.dump();
    text.pop_back();
    text += delivery.kind == ingest::Kind::Consents ? ",\"consent\":" : ",\"entry\":";
    text += event.form == Event::Form::text ? nlohmann::json(event.content).dump() : event.content;
    return text + ",\"envelope\":" + delivery.envelope + "}";
}

} // namespace

NatsSink::NatsSink(const SinkOptions &options) {
    connect(options.place);
    jsOptions settings;
    jsOptions_Init(&settings);
    settings.PublishAsync.AckHandler = &acknowledged;
    settings.PublishAsync.AckHandlerClosure = this;
    if (const natsStatus status = natsConnection_JetStream(&context_, connection_, &settings);
        status != NATS_OK)
        fail("cannot be used", natsStatus_GetText(status));
    makeStream(options);
}

NatsSink::~NatsSink() {
    jsCtx_Destroy(context_);
    natsConnection_Destroy(connection_);
}

void NatsSink::connect(const std::string &addresses) {
    const std::vector<std::string> list = pieces(addresses);
    std::vector<const char *> servers;
    servers.reserve(list.size());
    for (const std::string &each : list)
        servers.push_back(each.c_str());
    natsOptions *made = nullptr;
    natsOptions_Create(&made);
    const std::unique_ptr<natsOptions, void (*)(natsOptions *)> options(made, &natsOptions_Destroy);
    natsOptions_SetServers(options.get(), servers.data(), static_cast<int>(servers.size()));
    natsOptions_SetName(options.get(), "velmora collect");
    natsOptions_SetMaxReconnect(options.get(), -1);
    natsOptions_SetReconnectWait(options.get(), reconnectMilliseconds);
    // A node that is cut off is noticed by its silence.
    natsOptions_SetPingInterval(options.get(), millisecondsForOne);
    natsStatus status = NATS_ERR;
    for (int i = 0; i < startAttempts && status != NATS_OK; ++i) {
        if (i > 0)
            std::this_thread::sleep_for(betweenAttempts);
        status = natsConnection_Connect(&connection_, options.get());
    }
    if (status != NATS_OK)
        fail("of --to does not answer", natsStatus_GetText(status));
    longestMessage_ =
        static_cast<std::size_t>(natsConnection_GetMaxPayload(connection_)) - roomForHeaders;
}

void NatsSink::makeStream(const SinkOptions &options) {
    jsStreamConfig stream;
    jsStreamConfig_Init(&stream);
    const char *subject = subjects;
    stream.Name = streamName;
    stream.Subjects = &subject;
    stream.SubjectsLen = 1;
    stream.Storage = js_FileStorage;
    stream.Replicas = options.replicas;
    stream.Duplicates = static_cast<std::int64_t>(options.windowInHours * nanosecondsInHour);
    natsStatus status = NATS_ERR;
    for (int i = 0; i < startAttempts; ++i) {
        if (i > 0)
            std::this_thread::sleep_for(betweenAttempts);
        jsStreamInfo *there = nullptr;
        status = js_GetStreamInfo(&there, context_, streamName, nullptr, nullptr);
        const std::unique_ptr<jsStreamInfo, void (*)(jsStreamInfo *)> owned(there,
                                                                            &jsStreamInfo_Destroy);
        if (status == NATS_OK)
            requireLasting(*there->Config);
        if (status == NATS_NOT_FOUND)
            status = js_AddStream(nullptr, context_, &stream, nullptr, nullptr);
        if (status == NATS_OK)
            return;
    }
    fail("has no stream " + std::string(streamName) + ", and makes none with " +
             std::to_string(options.replicas) + " replicas (--replicas)",
         wordsOf(status));
}

void NatsSink::publish(const Delivery &delivery, const Event &event,
                       const std::string &identifier) {
    const std::string text = messageOf(delivery, event);
    const std::string subject = "velmora." + std::string(nameOf(delivery.kind));
    natsMsg *message = nullptr;
    natsStatus status = natsMsg_Create(&message, subject.c_str(), nullptr, text.data(),
                                       static_cast<int>(text.size()));
    jsPubOptions options;
    jsPubOptions_Init(&options);
    options.MsgId = identifier.c_str();
    options.MaxWait = millisecondsForOne;
    options.ExpectStream = streamName;
    if (status == NATS_OK)
        status = js_PublishMsgAsync(context_, &message, &options);
    natsMsg_Destroy(message);
    if (status != NATS_OK)
        fail("does not take an event", natsStatus_GetText(status));
}

std::string NatsSink::refusalOf(const Delivery &delivery) const {
    if (delivery.events.size() * delivery.envelope.size() > longestWithEnvelopes)
        return "its envelope, which each of its messages holds, makes them longer than 64 MiB";
    for (std::size_t i = 0; i < delivery.events.size(); ++i) {
        if (delivery.events[i].content.size() * longestEscape + delivery.envelope.size() +
                roomForHeaders <
            longestMessage_)
            continue; // the usual one
        if (messageOf(delivery, delivery.events[i]).size() > longestMessage_)
            return "item " + std::to_string(i) + ": with the envelope it is longer than " +
                   std::to_string(longestMessage_) +
                   " bytes, a message of the cluster (its max_payload)";
    }
    return {};
}

std::vector<std::size_t> NatsSink::store(std::span<const Delivery *const> deliveries) {
    // Else every batch would wait for its end in turn.
    if (natsConnection_Status(connection_) != NATS_CONN_STATUS_CONNECTED)
        fail("cannot be reached", "none of its nodes answers");
    {
        const std::lock_guard lock(mutex_);
        pending_.clear();
        failure_.clear();
        added_.assign(deliveries.size(), 0);
    }
    for (std::size_t i = 0; i < deliveries.size(); ++i)
        for (const Event &event : deliveries[i]->events) {
            const std::string identifier = identifierOf(*deliveries[i], event);
            {
                const std::lock_guard lock(mutex_);
                if (!pending_.emplace(identifier, i).second)
                    continue;
            }
            publish(*deliveries[i], event, identifier);
            waitFor(mostUnderWay);
        }
    waitFor(0);
    return added_;
}

void NatsSink::waitFor(std::size_t most) {
    std::unique_lock lock(mutex_);
    const auto isOver = [&] { return pending_.size() <= most || !failure_.empty(); };
    const bool isInTime = changed_.wait_for(lock, patience, isOver);
    if (!failure_.empty())
        fail("has not stored an event", failure_);
    if (!isInTime)
        fail("has not stored an event", "no answer within 5 seconds");
}

/// One that comes late speaks of a message that is stored as well as one that comes in time.
void NatsSink::acknowledged(jsCtx * /*context*/, natsMsg *message, jsPubAck *stored,
                            jsPubAckErr *failed, void *self) {
    NatsSink &sink = *static_cast<NatsSink *>(self);
    const char *identifier = nullptr;
    natsMsgHeader_Get(message, "Nats-Msg-Id", &identifier);
    {
        const std::lock_guard lock(sink.mutex_);
        const auto place = sink.pending_.find(identifier == nullptr ? "" : identifier);
        if (place != sink.pending_.end()) {
            if (failed != nullptr)
                sink.failure_ = failed->ErrText != nullptr ? failed->ErrText : "it was refused";
            else if (stored != nullptr && !stored->Duplicate)
                ++sink.added_[place->second];
            if (failed == nullptr)
                sink.pending_.erase(place);
        }
    }
    sink.changed_.notify_one();
    natsMsg_Destroy(message);
}

} // namespace velmora::collect
