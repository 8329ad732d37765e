#pragma once

#include "ingest/Request.h"

namespace httplib {
struct Request;
}

namespace velmora::ingest {

/// Has the server's library leave the body as it comes, until `fromWire`.
void hideFormOfBody(const httplib::Request &request);

/// The request as it came.
Request fromWire(const httplib::Request &request, std::string body);

/// Whether the library would read a body without a bound, or take it for the next request.
bool hasBodyWithoutReader(const httplib::Request &request);

/// What shows that a web page sent the request, which is open in a browser of this machine; empty
/// for anything else.
std::string signOfAPage(const httplib::Request &request);

} // namespace velmora::ingest
