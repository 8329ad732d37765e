#include "ingest/Expectation.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <limits>

namespace velmora::ingest {
namespace {

constexpr std::size_t mostReasons = 20;

/// What is wrong with a report, in sentences.
Problems sentences(const Report &report) {
    Problems found;
    const bool isSigned =
        report.signature == "right" || report.signature.starts_with("not checked");
    for (const std::string &part :
         {isSigned ? "sound" : report.signature, report.gzip, report.json})
        if (part != "sound")
            found.push_back(part);
    for (const Finding &finding : report.findings)
        found.push_back(finding.text);
    for (std::size_t i = 0; i < report.itemProblems.size(); ++i)
        for (const std::string &problem : report.itemProblems[i])
            found.push_back("item " + std::to_string(i + 1) + ": " + problem);
    return found;
}

} // namespace

Expectation::Expectation(std::size_t events, std::chrono::duration<double> time)
    : expected_(events),
      end_(std::chrono::steady_clock::now() +
           std::chrono::duration_cast<std::chrono::steady_clock::duration>(time)),
      descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

Expectation::~Expectation() {
    close(descriptor_);
}

void Expectation::note(const Report &report) {
    const std::lock_guard lock(mutex_);
    ++requests_;
    ++unanswered_;
    for (const std::string &text : sentences(report))
        addReason(text);
    if (!report.isSound())
        return;
    std::map<std::string, std::size_t> here;
    for (const auto &item : report.items)
        ++here[item.value("eventId", item.dump())];
    for (const auto &[id, count] : here)
        occurrences_[id] = std::max(occurrences_[id], count);
}

void Expectation::noteRefused(const std::string &why) {
    const std::lock_guard lock(mutex_);
    ++requests_;
    ++unanswered_;
    addReason(why);
}

void Expectation::addReason(const std::string &text) {
    if (reasons_.size() == mostReasons)
        ++untold_;
    else
        reasons_.push_back("request " + std::to_string(requests_) + ": " + text);
}

std::size_t Expectation::came() const {
    std::size_t sum = 0;
    for (const auto &[id, count] : occurrences_)
        sum += count;
    return sum;
}

void Expectation::answered() {
    const std::lock_guard lock(mutex_);
    if (--unanswered_ == 0 && came() >= expected_)
        eventfd_write(descriptor_, 1);
}

int Expectation::millisecondsLeft() const {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(end_ - std::chrono::steady_clock::now());
    return static_cast<int>(
        std::clamp<std::int64_t>(left.count(), 0, std::numeric_limits<int>::max()));
}

bool Expectation::isMet() const {
    const std::lock_guard lock(mutex_);
    return came() >= expected_;
}

nlohmann::ordered_json Expectation::result() const {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> reasons = reasons_;
    if (requests_ == 0)
        reasons.emplace_back("no request came");
    else if (reasons.empty() && came() < expected_)
        reasons.push_back("nothing is wrong with the " + std::to_string(requests_) +
                          " request(s) that came");
    if (untold_ > 0)
        reasons.push_back("and " + std::to_string(untold_) + " more");
    return {{"expected", expected_}, {"came", came()}, {"reasons", reasons}};
}

} // namespace velmora::ingest
