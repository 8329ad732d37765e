#include "Signature.h"
#include "doctor/Checks.h"

#include <algorithm>

namespace velmora::doctor {
namespace {

bool isPlain(const std::string &text) {
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c != '\x7f'; });
}

/// A key or secret that was copied with what stood around it makes a token that is wrong.
void checkText(const std::string &id, const std::string &name, const std::string &text,
               Findings &findings) {
    if (isPlain(text))
        findings.ok(id, "the " + name + " has " + std::to_string(text.size()) + " characters");
    else
        findings.fail(id,
                      "the " + name +
                          (text.empty() ? " is empty"
                                        : " holds a blank, a line end or "
                                          "another character that none "
                                          "has"),
                      "copy it again, alone and on one line");
}

} // namespace

void checkSignature(const Subject &subject, Findings &findings) {
    const std::optional<std::string> &key = subject.given.apiKey;
    const std::optional<std::string> &secret = subject.given.secret;
    if (!key || !secret) {
        findings.warn("signature.token", "the signature was not checked",
                      "give --api-key and --secret-file, or VELMORA_API_KEY and VELMORA_SECRET");
        return;
    }
    checkText("signature.key", "API key", *key, findings);
    checkText("signature.secret", "secret", *secret, findings);
    const std::string masked = signatureSource("***", "consents", *key);
    const std::string token = tokenFor(*secret, "consents", *key);
    findings.ok("signature.token", "the token for consents is the SHA-1 of \"" + masked +
                                       "\", the secret in place of ***: " + token +
                                       " (keep it to yourself: it is what signs the posts)");
}

} // namespace velmora::doctor
