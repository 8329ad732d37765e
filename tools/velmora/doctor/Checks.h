#pragma once

#include "doctor/Finding.h"
#include "doctor/Subject.h"

namespace velmora::doctor {

void checkBundle(const Subject &subject, Findings &findings);
void checkIdentifier(const Subject &subject, Findings &findings);
void checkStore(const Subject &subject, Findings &findings);
void checkStorePlace(const Subject &subject, Findings &findings);
void checkStoreLocks(const Subject &subject, Findings &findings);
void checkStoreWatch(const Subject &subject, Findings &findings);
void checkConsent(const Subject &subject, Findings &findings);
void checkCompanions(const Subject &subject, Findings &findings);
void checkPosting(const Subject &subject, Findings &findings);
void checkAddress(const Subject &subject, Findings &findings);
void checkInterception(const Subject &subject, Findings &findings);
void checkResolution(const Subject &subject, Findings &findings);
void checkTrust(const Subject &subject, Findings &findings);
void checkConnection(const Subject &subject, Findings &findings);
void checkSignature(const Subject &subject, Findings &findings);
void checkClock(const Subject &subject, Findings &findings);
void checkLog(const Subject &subject, Findings &findings);

/// Every check, in the order in which they are made and told. Each writes its findings under its
/// own name; none sends anything, apart from the look-up of the service's name and what
/// `checkConnection` does when it is asked for.
struct Check {
    const char *name;
    void (*run)(const Subject &subject, Findings &findings);
};
inline constexpr Check checks[] = {
    {"bundle", checkBundle},
    {"identifier", checkIdentifier},
    {"store", checkStore},
    {"store", checkStorePlace},
    {"store.locks", checkStoreLocks},
    {"store.watch", checkStoreWatch},
    {"consent", checkConsent},
    {"consent.companions", checkCompanions},
    {"consent.posting", checkPosting},
    {"ingest.address", checkAddress},
    {"ingest.interception", checkInterception},
    {"ingest.name", checkResolution},
    {"tls.trust", checkTrust},
    {"connection", checkConnection},
    {"signature", checkSignature},
    {"clock", checkClock},
    {"sdk", checkLog},
};

} // namespace velmora::doctor
