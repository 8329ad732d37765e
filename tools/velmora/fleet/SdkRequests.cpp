#include "fleet/SdkRequests.h"

#include "consent/VMRConsentEvent.h"
#include "device/VMRDeviceDataManager.h"
#include "errors/VMRApiSerializableData.h"
#include "network/IngestBaseAddress.h"
#include "network/VMRNetworkManager.h"
#include "platform/AdvertisingIdentity.h"
#include "platform/BackgroundTasks.h"
#include "platform/Clock.h"
#include "platform/CurrentDevice.h"
#include "platform/HTTPSession.h"
#include "platform/InterceptionGuard.h"
#include "platform/MainBundle.h"
#include "platform/Platform.h"
#include "platform/Preferences.h"
#include "platform/SystemLog.h"

#include <cstdio>
#include <stdexcept>

namespace velmora::fleet {
namespace {

using namespace vmr;

struct LentBundle final : MainBundle {
    explicit LentBundle(std::string ingestAddress) : address(std::move(ingestAddress)) {}
    std::optional<std::string> bundleIdentifier() const override { return "com.example.fleet"; }
    Value objectForInfoDictionaryKey(std::string_view key) const override {
        if (key == "VMRIngestBaseAddress")
            return Value::string(address);
        return key == "CFBundleShortVersionString" ? Value::string("2.5") : Value();
    }
    std::string address;
};

struct LentDevice final : CurrentDevice {
    std::string systemVersion() const override { return "12.8"; }
    std::string machine() const override { return "x86_64"; }
    bool respondsToIdentifierForVendor() const override { return true; }
    std::optional<std::string> identifierForVendor() const override { return vendor; }
    std::string vendor;
};

struct LentIdentity final : AdvertisingIdentity {
    std::string advertisingIdentifier() const override {
        return device.isTracked ? device.advertising : "00000000-0000-0000-0000-000000000000";
    }
    std::uint64_t trackingAuthorizationStatus() const override { return device.isTracked ? 3 : 2; }
    bool isAdvertisingTrackingEnabled() const override { return device.isTracked; }
    Identity device;
};

struct LentClock final : Clock {
    Date now() const override { return date; }
    Date date;
};

/// Nothing is stored: what a device keeps, the simulation keeps for it.
struct EmptyPreferences final : Preferences {
    Value objectForKey(std::string_view /*key*/) const override { return {}; }
    void setObject(const Value & /*value*/, std::string_view /*key*/) override {}
    void removeObjectForKey(std::string_view /*key*/) override {}
    std::unique_ptr<Transaction> transaction() override { return std::make_unique<Transaction>(); }
    std::vector<std::string> keys() const override { return {}; }
    bool synchronizeWithin(std::chrono::milliseconds /*patience*/) override { return true; }
    void addObserver(std::weak_ptr<KeyValueObserver> /*observer*/, std::string_view /*keyPath*/,
                     void * /*context*/) override {}
    void removeObserver(const KeyValueObserver * /*observer*/,
                        std::string_view /*keyPath*/) override {}
};

struct NoBackgroundTasks final : BackgroundTasks {
    Identifier beginBackgroundTask(const std::string & /*name*/,
                                   std::function<void()> /*expired*/) override {
        return invalid;
    }
    void endBackgroundTask(Identifier /*task*/) override {}
};

struct OpenGuard final : InterceptionGuard {
    Decision decide(const std::string & /*url*/) const override { return {}; }
};

struct ErrorLog final : SystemLog {
    void write(std::string_view line, LogLevel /*level*/) noexcept override {
        std::fprintf(stderr, "%.*s\n", static_cast<int>(line.size()), line.data());
    }
};

/// Takes the request that the SDK has made, and sends nothing.
struct CatchingSession final : HTTPSession {
    void send(HTTPRequest request, Completion /*completion*/) override {
        caught = std::move(request);
    }
    HTTPRequest caught;
};

} // namespace

struct SdkRequests::State {
    explicit State(std::string address) : bundle(std::move(address)) {
        // The rest stands for what happens after an answer; no answer reaches the SDK here.
        Platform services;
        services.advertisingIdentity = &identity;
        services.backgroundTasks = &backgroundTasks;
        services.clock = &clock;
        services.currentDevice = &hardware;
        services.httpSession = &session;
        services.interceptionGuard = &guard;
        services.mainBundle = &bundle;
        services.preferences = &preferences;
        services.systemLog = &log;
        installPlatform(services);
        if (const auto refusal = configuredIngestAddress().refusal)
            throw std::runtime_error(*refusal);
        devices = std::make_unique<VMRDeviceDataManager>();
    }

    LentIdentity identity;
    NoBackgroundTasks backgroundTasks;
    LentClock clock;
    LentDevice hardware;
    CatchingSession session;
    OpenGuard guard;
    LentBundle bundle;
    EmptyPreferences preferences;
    ErrorLog log;
    std::shared_ptr<VMRNetworkManager> network = std::make_shared<VMRNetworkManager>();
    std::unique_ptr<VMRDeviceDataManager> devices;
};

SdkRequests::SdkRequests(std::string address, std::string apiKey, std::string secret)
    : state_(std::make_unique<State>(std::move(address))) {
    state_->network->setApiKey(std::move(apiKey), std::move(secret), {});
}

SdkRequests::~SdkRequests() = default;

WireRequest SdkRequests::make(const Identity &device, const std::vector<ConsentChange> &changes,
                              double date) {
    state_->identity.device = device;
    state_->hardware.vendor = device.vendor;
    state_->clock.date = Date{date};
    state_->devices->setVMRId(device.installation);

    std::vector<VMRConsentEvent> events(changes.size());
    VMRApiSerializableData::Items items;
    for (std::size_t i = 0; i < changes.size(); ++i) {
        events[i].setConsentString(Value::string(changes[i].consent));
        events[i].setDate(Date{changes[i].date});
        items.push_back(&events[i]);
    }
    const VMRApiSerializableData payload(items, state_->devices->identifierForDataHashID());
    state_->network->postDatas(Value::list(payload.serializedData()), VMRIngestTypeConsents,
                               state_->devices->postConsentsDataParametersAtDate(Date{date}), {},
                               {});

    HTTPRequest &made = state_->session.caught;
    if (!made.body.make())
        throw std::bad_alloc();
    WireRequest request{made.url, {}, std::string(made.body.bytes()), {}};
    for (const auto &[name, value] : made.headers)
        request.headers.push_back(name + ": " + value);
    for (const Value &item : payload.serializedData())
        request.events.push_back(valueForKey(*item.asDictionary(), "eventId").description());
    return request;
}

} // namespace velmora::fleet
