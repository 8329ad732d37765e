#include "ingest/Session.h"

#include "JsonLine.h"
#include "Text.h"
#include "ingest/Commands.h"
#include "ingest/Report.h"
#include "page/PageGuard.h"
#include "page/PageServer.h"
#include "page/Recording.h"
#include "page/Summary.h"
#include "page/TokenSteps.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>

namespace velmora::ingest {
namespace {

using nlohmann::ordered_json;

std::int64_t millisecondsNow() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

/// Everybody who is told of a request.
struct Listeners {
    std::mutex mutex;
    page::Journal journal;
    std::unique_ptr<page::Recorder> recorder;
    std::unique_ptr<Expectation> expectation;

    /// One at a time: in the order of their lines, and no more memory than one takes.
    void arrived(Arrival arrival, const Credentials &credentials) {
        const std::lock_guard lock(mutex);
        const int answer = arrival.answer.shownStatus();
        Report found;
        if (arrival.refusal.empty())
            found = report(arrival.request, credentials);
        writeLine(arrival.refusal.empty()
                      ? lineAbout(arrival.request, found, answer)
                      : lineAboutRefused(arrival.request, arrival.refusal, answer));
        if (expectation)
            arrival.refusal.empty() ? expectation->note(found)
                                    : expectation->noteRefused(arrival.refusal);
        page::maskIn(found, credentials);
        const page::Kept kept =
            journal.add(page::exchangeOf(std::move(arrival), found, millisecondsNow()));
        if (recorder)
            recorder->add(*kept);
    }
};

/// Leaves the servers' threads everything that they use. Every line is flushed, so nothing is lost
/// by not waiting for open connections.
[[noreturn]] void end(int status) {
    std::_Exit(status);
}

page::Service serviceOf(const SessionOptions &options) {
    page::Service service;
    service.token = page::makeToken();
    service.hasKey = options.credentials.apiKey.has_value();
    service.hasSecret = options.credentials.secret.has_value();
    return service;
}

[[noreturn]] void replay(const SessionOptions &options) {
    const page::Recording recording = page::readRecording(options.replay);
    page::Journal journal;
    page::Service service = serviceOf(options);
    service.recording = options.replay;
    if (recording.cutInLine != 0) {
        service.notice = "The recording is cut off in line " + std::to_string(recording.cutInLine) +
                         "; what comes before it is shown.";
        std::fprintf(stderr,
                     "velmora ingest: \"%s\" is cut off in line %zu; what comes before it "
                     "is shown\n",
                     visible(options.replay).c_str(), recording.cutInLine);
    }
    for (const page::Exchange &exchange : recording.exchanges)
        journal.add(exchange);
    page::PageServer server(options.page.value_or(Endpoint()), journal, std::move(service),
                            options.credentials, nullptr);
    writeLine({{"replaying", options.replay},
               {"requests", recording.exchanges.size()},
               {"page", server.listen()}});
    server.serve();
    Answers none({});
    Controls controls{none, [] {}};
    serveCommands(controls, nullptr);
    end(0);
}

} // namespace

void runSession(const SessionOptions &options) {
    if (!options.replay.empty())
        replay(options);
    Listeners listeners;
    if (!options.recording.empty())
        listeners.recorder = std::make_unique<page::Recorder>(options.recording);

    Answers answers(options.answer);
    Controls controls{answers, [&] { listeners.journal.clear(); }};
    answers.onChange([&] { listeners.journal.touch(); });
    Server server(
        options.server, answers,
        {[&](Arrival arrival) { listeners.arrived(std::move(arrival), options.credentials); },
         [&] {
             if (listeners.expectation)
                 listeners.expectation->answered();
         }});
    if (options.expected)
        listeners.expectation = std::make_unique<Expectation>(
            *options.expected, std::chrono::duration<double>(options.timeout));
    ordered_json line = {{"listening", server.listen()}};
    std::unique_ptr<page::PageServer> pageServer;
    if (options.page) {
        page::Service service = serviceOf(options);
        service.listening = line["listening"];
        pageServer = std::make_unique<page::PageServer>(
            *options.page, listeners.journal, std::move(service), options.credentials, &controls);
        line["page"] = pageServer->listen();
    }
    writeLine(line); // before any line about a request
    if (pageServer)
        pageServer->serve();
    server.serve();
    serveCommands(controls, listeners.expectation.get());
    if (!listeners.expectation)
        end(0);
    writeLine(listeners.expectation->result());
    end(listeners.expectation->isMet() ? 0 : 1);
}

} // namespace velmora::ingest
