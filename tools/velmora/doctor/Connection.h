#pragma once

#include "doctor/Subject.h"

#include <ctime>
#include <optional>
#include <string>

namespace velmora::doctor {

/// What came of a HEAD request without credentials to the service's base address.
struct Connection {
    /// curl's code and text; 0 when there was an answer.
    int failure = 0;
    std::string failureText;
    /// Why the certificate was not accepted, X509_V_OK when the chain is good.
    long verification = 0;
    long status = 0;
    /// What was agreed, empty without TLS: "TLSv1.3".
    std::string protocol;
    /// Until the first certificate of the chain ends.
    std::optional<int> daysLeft;
    /// The answer's Date header.
    std::optional<std::time_t> serverTime;
};

/// Trusts what the SDK trusts, and goes the way that its requests go.
Connection connectTo(const Service &service, const Given &given);

} // namespace velmora::doctor
