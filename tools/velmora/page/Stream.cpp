#include "page/Stream.h"

#include "Digest.h"
#include "ingest/Faults.h"

#include <charconv>
#include <utility>

namespace velmora::page {
namespace {

using nlohmann::ordered_json;

constexpr std::chrono::seconds longestSilence{10};
/// Rows that are sent at once.
constexpr std::size_t mostRows = 200;

std::string event(std::string_view name, const std::string &id, const ordered_json &data) {
    std::string text = "event: ";
    text.append(name).append("\n");
    if (!id.empty())
        text += "id: " + id + "\n";
    return text + "data: " + data.dump(-1, ' ', false, ordered_json::error_handler_t::replace) +
           "\n\n";
}

ordered_json totalsView(const Totals &totals) {
    return {{"requests", totals.requests},
            {"events", totals.events},
            {"wrong", totals.wrong},
            {"failed", totals.failed}};
}

ordered_json answerView(const ingest::Answer &answer) {
    return {{"answer", answer.shownStatus()},
            {"fault", answer.fault},
            {"delay", answer.delay.count()},
            {"consequence", ingest::consequenceOf(answer)}};
}

ordered_json faultsView() {
    ordered_json list = ordered_json::array();
    for (const ingest::Fault &fault : ingest::faults())
        list.push_back({{"name", fault.name},
                        {"title", fault.title},
                        {"does", fault.does},
                        {"then", ingest::consequenceOf(*ingest::faultNamed(fault.name))}});
    return list;
}

/// The number of an identifier that this run gave out; 0 for any other.
std::uint64_t numberIn(const std::string &id, const std::string &run) {
    std::uint64_t number = 0;
    if (id.starts_with(run + "-"))
        std::from_chars(id.data() + run.size() + 1, id.data() + id.size(), number);
    return number;
}

} // namespace

Stream::Stream(const Service &service, const Journal &journal, const ingest::Answers *answers,
               const std::string &lastId)
    : service_(service), journal_(journal), answers_(answers),
      run_(sha256Text(service.token).substr(0, 8)) {
    seen_.latest = numberIn(lastId, run_);
}

std::string Stream::hello() const {
    ordered_json slices = ordered_json::array();
    for (const Slice &slice : journal_.slices()) {
        ordered_json view = totalsView(slice.totals);
        view["begin"] = slice.begin;
        slices.push_back(std::move(view));
    }
    return "retry: 1000\n" +
           event("hello", {},
                 {{"run", run_},
                  {"token", service_.token},
                  {"version", VELMORA_VERSION},
                  {"listening", service_.listening},
                  {"hasKey", service_.hasKey},
                  {"hasSecret", service_.hasSecret},
                  {"recording", service_.recording},
                  {"notice", service_.notice},
                  {"mostKept", Journal::mostKept},
                  {"latest", journal_.state().latest},
                  {"faults", answers_ == nullptr ? ordered_json::array() : faultsView()},
                  {"slices", slices}});
}

std::string Stream::stateEvent(const Journal::State &state) const {
    ordered_json view = {{"oldest", state.oldest},
                         {"latest", state.latest},
                         {"totals", totalsView(state.totals)},
                         {"answering", nullptr},
                         {"next", nullptr}};
    if (answers_ != nullptr) {
        view["answering"] = answerView(answers_->current());
        if (const auto next = answers_->next())
            view["next"] = answerView(*next);
    }
    return event("state", {}, view);
}

std::string Stream::next() {
    std::string text;
    Journal::State state;
    if (!std::exchange(isGreeted_, true)) {
        text = hello();
        state = journal_.state();
    } else {
        state = journal_.wait(seen_, longestSilence);
        if (state.latest == seen_.latest && state.version == seen_.version)
            return ":\n\n";
    }
    std::vector<Kept> rows = journal_.after(seen_.latest);
    if (rows.size() > mostRows)
        rows.resize(mostRows);
    for (const Kept &row : rows)
        text += event("request", run_ + "-" + std::to_string(row->number), row->summary);
    text += stateEvent(state);
    seen_ = state;
    if (!rows.empty())
        seen_.latest = rows.back()->number;
    return text;
}

} // namespace velmora::page
