#pragma once

#include "platform/Locked.h"
#include "platform/Secret.h"
#include "platform/Value.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vmr {

class VMRError;
class VMRNetworkManager;

/// Plain integers on purpose: callers pass these as numbers, and unknown ones have a meaning.
using VMRHttpMethodType = std::int32_t;
inline constexpr VMRHttpMethodType VMRHttpMethodTypeGET = 1;
inline constexpr VMRHttpMethodType VMRHttpMethodTypePOST = 2;
inline constexpr VMRHttpMethodType VMRHttpMethodTypePUT = 3;
inline constexpr VMRHttpMethodType VMRHttpMethodTypeDELETE = 4;

using VMRHttpRequestType = std::int32_t;
inline constexpr VMRHttpRequestType VMRHttpRequestTypeDevices = 1;

using VMRIngestType = std::int32_t;
inline constexpr VMRIngestType VMRIngestTypeConsents = 1;
inline constexpr VMRIngestType VMRIngestTypeDevicesErrors = 2;

/// Given the object parsed from the response body, absent for an empty body.
using VMRSuccessHandler = std::function<void(const Value &response)>;
/// Given the HTTP status (0 when there was no response) and the failure's record, which may be
/// empty.
using VMRErrorHandler = std::function<void(std::int64_t status, std::shared_ptr<VMRError> error)>;

/// Told of every failed request, on the main queue.
class VMRNetworkManagerDelegate {
public:
    virtual void networkManager(VMRNetworkManager &manager, std::int64_t receivedStatusCode) = 0;

protected:
    ~VMRNetworkManagerDelegate() = default;
};

/// The SDK's only HTTP client. Created and configured once; requests may come from any thread and
/// never block. Handlers and the delegate run on the main queue.
class VMRNetworkManager : public std::enable_shared_from_this<VMRNetworkManager> {
public:
    virtual ~VMRNetworkManager() = default;

    void setApiKey(const std::optional<std::string> &apiKey, const Secret &secret,
                   const std::weak_ptr<VMRNetworkManagerDelegate> &delegate);

    std::optional<std::string> apiKey() const { return apiKey_.get(); }
    void setApiKey(std::optional<std::string> apiKey) { apiKey_.set(std::move(apiKey)); }
    Secret secret() const { return secret_.get(); }
    void setSecret(Secret secret) { secret_.set(std::move(secret)); }
    std::shared_ptr<VMRNetworkManagerDelegate> delegate() const { return delegate_.get().lock(); }
    void setDelegate(std::weak_ptr<VMRNetworkManagerDelegate> delegate) {
        delegate_.set(std::move(delegate));
    }

    /// Sends one request. Exactly one handler is called, once, except that an absent handler is
    /// skipped. `params` travel in the query of a GET and in the JSON body of everything else.
    /// `kind` is what the host is told that it was.
    virtual void requestWithMethodType(VMRHttpMethodType methodType, bool isGZIP, std::string url,
                                       const Dictionary &headers,
                                       const std::optional<Dictionary> &params,
                                       VMRSuccessHandler successHandler,
                                       VMRErrorHandler errorHandler, VMRIngestType kind = 0);
    /// Sends nothing and calls neither handler: this version of the service takes no typed request.
    virtual void requestWithType(VMRHttpRequestType type, const Dictionary &params,
                                 const std::vector<std::string> &urlOrderedParameters,
                                 VMRSuccessHandler successHandler, VMRErrorHandler errorHandler);
    /// Posts a batch of items and its envelope to the data-stream service. Absent items leave
    /// "batch" out.
    virtual void postDatas(const std::optional<List> &items, VMRIngestType type,
                           const Dictionary &parameters, VMRSuccessHandler successHandler,
                           VMRErrorHandler errorHandler);

    /// The header set for one relative path, with the authorisation token over it.
    Dictionary authVMRHeaderForRelativeURL(std::optional<std::string_view> relativeURL,
                                           bool isGZIP) const;
    std::optional<std::string_view> ingestUrlWithType(VMRIngestType type, bool forAuth) const;

    static std::optional<std::string_view> httpMethodTypeString(VMRHttpMethodType type);
    static std::optional<std::string>
    httpRequestTypeString(VMRHttpRequestType type, const std::vector<std::string> &urlData);
    /// The process-wide list of service base addresses; its only entry is empty when the configured
    /// address was refused.
    static const std::vector<std::string> &s();
    /// The text reversed by user-perceived characters.
    static std::string rvs(std::string_view text);

private:
    Locked<std::optional<std::string>> apiKey_;
    Locked<Secret> secret_;
    Locked<std::weak_ptr<VMRNetworkManagerDelegate>> delegate_;
};

} // namespace vmr
