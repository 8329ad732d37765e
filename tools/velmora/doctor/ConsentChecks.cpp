#include "StoredValue.h"
#include "doctor/Checks.h"
#include "doctor/StoredConsent.h"
#include "tcf/TCFNames.h"
#include "tcf/TCFText.h"

#include <ctime>

namespace velmora::doctor {
namespace {

constexpr const char *lastSeenKey = "VMRLastTCFv2StringKey";

std::string summary(const tcf::TCFString &string) {
    return "a consent string of version " + std::string(tcf::editionName(string)) + ", updated " +
           tcf::dateInWords(string.lastUpdated) + "; with consent: purposes " +
           tcf::inWords(string.purposeConsents) + ", vendors " +
           std::to_string(string.vendorConsents.count());
}

void checkDecoded(const std::string &key, int version, const tcf::TCFString &string,
                  Findings &findings) {
    const std::string id = version == 2 ? "consent.v2" : "consent.v1";
    if (string.version == version)
        findings.ok(id, key + " holds " + summary(string));
    else
        findings.fail(id,
                      key + " is the key of version " + std::to_string(version) + ", but holds " +
                          summary(string),
                      "have the consent tool write it under " +
                          std::string(string.version == 2 ? version2Key : version1Key));
    for (const tcf::Problem &problem : string.problems)
        findings.warn("consent.problem", key + ": " + problem.text, problem.remedy);
}

void checkKey(const char *key, int version, Findings &findings) {
    const std::string id = version == 2 ? "consent.v2" : "consent.v1";
    const std::string name = key;
    const auto value = storedValue(key);
    if (value.is_null()) {
        findings.ok(id, "nothing is stored under " + name);
    } else if (!value.is_string()) {
        findings.fail(id, name + " holds " + storedTypeInWords(value) + " instead of a string",
                      "have the consent tool write the consent string as a string");
    } else {
        const auto &text = value.get_ref<const std::string &>();
        const auto decoded = tcf::decode(text, std::time(nullptr));
        if (const auto *failure = std::get_if<tcf::Failure>(&decoded))
            findings.fail(id,
                          name + " holds " + quoted(text) +
                              ", which is not a consent string: " + failure->text,
                          "have the consent tool write the whole string as it was made");
        else
            checkDecoded(name, version, std::get<tcf::TCFString>(decoded), findings);
    }
}

void checkSeen(Findings &findings) {
    const auto current = storedValue(version2Key);
    if (current.is_null())
        return;
    if (storedValue(lastSeenKey) == current)
        findings.ok("consent.seen",
                    std::string("the SDK has made an event of what ") + version2Key + " holds");
    else
        findings.warn("consent.seen",
                      std::string("the SDK has not seen yet what ") + version2Key + " holds",
                      "start the application; where it runs already, see that its main run loop "
                      "does and that it uses this store");
}

} // namespace

void checkConsent(const Subject &subject, Findings &findings) {
    if (!subject.storeNotRead.empty())
        findings.warn("consent", "the stored consent was not checked: " + subject.storeNotRead,
                      "start the application or run chmod go= " + subject.storePath +
                          "*, then check again");
    if (!subject.isStoreRead)
        return;
    checkKey(version2Key, 2, findings);
    checkKey(version1Key, 1, findings);
    if (storedValue(version1Key).is_string() && storedValue(version2Key).is_string())
        findings.warn("consent.both", "strings of version 1 and of version 2 are both stored",
                      std::string("have the consent tool remove ") + version1Key);
    checkSeen(findings);
}

} // namespace velmora::doctor
