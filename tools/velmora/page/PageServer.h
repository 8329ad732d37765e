#pragma once

#include "ingest/Commands.h"
#include "ingest/Endpoint.h"
#include "ingest/Request.h"
#include "page/Journal.h"
#include "page/Stream.h"

#include <memory>
#include <string>

namespace velmora::page {

/// Serves the page to this machine alone, on threads of its own from `serve` to the end of the
/// process, and must live as long. What the page shows is found in the journal; what it changes are
/// commands, and for those it hands back the token that its stream began with.
class PageServer {
public:
    /// `controls` may be null: then nothing can be changed.
    PageServer(ingest::Endpoint endpoint, Journal &journal, Service service,
               ingest::Credentials credentials, ingest::Controls *controls);
    PageServer(const PageServer &) = delete;
    PageServer &operator=(const PageServer &) = delete;
    ~PageServer();

    /// Returns the page's address, or throws std::runtime_error with a sentence that says what
    /// hinders it.
    std::string listen();
    void serve();

private:
    void serveFiles();
    void serveRequests();
    void serveStream();
    void serveCommands();

    ingest::Endpoint endpoint_;
    Journal &journal_;
    Service service_;
    ingest::Credentials credentials_;
    ingest::Controls *controls_;
    std::unique_ptr<httplib::Server> server_;
};

} // namespace velmora::page
