#include "ingest/Faults.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <charconv>

namespace velmora::ingest {
namespace {

constexpr std::size_t largeBody = 2'000'000;
/// What the SDK reads of an answer at most.
constexpr std::size_t longestReadBody = std::size_t{1} << 20;
constexpr std::chrono::seconds slowness{10};

constexpr std::array<Fault, 12> table = {{
    {"200", "200 OK", "Answers 200 with an empty body."},
    {"401", "401 Unauthorized", "Refuses the key or the signature."},
    {"403", "403 Forbidden", "Refuses the request."},
    {"500", "500 Server error", "Fails inside."},
    {"503", "503 Unavailable", "Is overloaded or in maintenance."},
    {"204", "204 No content", "Accepts, but not with the one status that counts."},
    {"redirect", "302 Redirect", "Sends the client to another address."},
    {"slow", "Slow", "Answers 200 after 10 seconds."},
    {"no-answer", "No answer", "Closes the connection without an answer."},
    {"cut-off", "Cut off", "Promises 1,000 bytes and ends after a few."},
    {"not-json", "Not JSON", "Answers 200 with a page of HTML, as a portal in between would."},
    {"large", "2 MB", "Answers 200 with two megabytes of JSON."},
}};

constexpr const char *stays =
    "The events stay; they are sent again with the next change or return to the foreground.";

} // namespace

std::span<const Fault> faults() {
    return table;
}

std::optional<Answer> faultNamed(std::string_view name) {
    const bool isKnown =
        std::ranges::any_of(table, [&](const Fault &fault) { return fault.name == name; });
    if (!isKnown)
        return std::nullopt;
    Answer answer;
    answer.fault = name;
    std::from_chars(name.data(), name.data() + name.size(), answer.status); // names begin with it
    if (name == "redirect") {
        answer.status = 302;
        answer.location = "/elsewhere";
    } else if (name == "slow") {
        answer.delay = slowness;
    } else if (name == "no-answer") {
        answer.ending = Ending::none;
    } else if (name == "cut-off") {
        answer.ending = Ending::cutOff;
        answer.body = "{\"accepted\":";
    } else if (name == "not-json") {
        answer.body = "<!doctype html><title>Welcome</title>";
    } else if (name == "large") {
        answer.body = "[\"" + std::string(largeBody, '-') + "\"]";
    }
    return answer;
}

bool isSuccess(const Answer &answer) {
    if (answer.status != 200 || answer.ending != Ending::whole ||
        answer.body.size() > longestReadBody)
        return false;
    const auto body = nlohmann::json::parse(answer.body, nullptr, false);
    return answer.body.empty() || body.is_structured();
}

std::string consequenceOf(const Answer &answer) {
    const std::string still = stays;
    if (isSuccess(answer)) {
        if (answer.delay > std::chrono::seconds(1))
            return "Its thread waits, the application does not. With the answer the SDK deletes "
                   "all that is stored, also what came meanwhile.";
        return "Delivered: the SDK deletes all the events that it has stored.";
    }
    if (answer.ending != Ending::whole)
        return "A transport error. " + still;
    if (answer.status == 401)
        return "The SDK warns of an incorrect key in the log of its host. " + still;
    if (answer.status == 200 && answer.body.size() > longestReadBody)
        return "The SDK reads 1 MiB and gives up: a transport error. " + still;
    if (answer.status == 200)
        return "The body is not a JSON object or array, so this is a failure. " + still;
    if (answer.status >= 300 && answer.status < 400)
        return "The SDK follows no redirect. " + still;
    if (answer.status < 300)
        return "Only 200 counts as success. " + still;
    return still;
}

} // namespace velmora::ingest
