#include "ingest/Wire.h"

#include "ingest/Endpoint.h"

#include <httplib.h>

#include <set>
#include <utility>

namespace velmora::ingest {
namespace {

/// By these headers the server would unpack the body, or take it apart, and so hide what came over
/// the wire: they are put aside behind this mark until the body is there.
constexpr const char *hidden[] = {"Content-Encoding", "Content-Type"};
constexpr char mark = '\n';

} // namespace

void hideFormOfBody(const httplib::Request &request) {
    // The request is not a constant object; only its handlers' type says so.
    httplib::Headers &headers = const_cast<httplib::Request &>(request).headers; // NOLINT
    for (const char *name : hidden) {
        const auto [from, to] = headers.equal_range(name);
        std::vector<std::string> values;
        for (auto header = from; header != to; ++header)
            values.push_back(header->second);
        headers.erase(from, to);
        for (std::string &value : values)
            headers.emplace(mark + std::string(name), std::move(value));
    }
}

Request fromWire(const httplib::Request &request, std::string body) {
    // What the server itself adds to the headers.
    static const std::set<std::string> own = {"REMOTE_ADDR", "REMOTE_PORT", "LOCAL_ADDR",
                                              "LOCAL_PORT"};
    Request result{request.method, request.target, {}, std::move(body)};
    for (const auto &[name, value] : request.headers)
        if (own.count(name) == 0)
            result.headers.emplace_back(name.starts_with(mark) ? name.substr(1) : name, value);
    return result;
}

bool hasBodyWithoutReader(const httplib::Request &request) {
    static const std::set<std::string> read = {"POST", "PUT", "PATCH", "DELETE"};
    const std::string length = request.get_header_value("Content-Length");
    return read.count(request.method) == 0 &&
           (request.has_header("Transfer-Encoding") || (!length.empty() && length != "0"));
}

std::string signOfAPage(const httplib::Request &request) {
    if (request.has_header("Origin"))
        return "header Origin is \"" + request.get_header_value("Origin") +
               "\", so a web page sent the request";
    const std::string host = request.get_header_value("Host");
    if (!namesLoopback(host))
        return "header Host is \"" + host +
               "\", which is not a loopback address, so a web page may have sent the request; post "
               "to "
               "the address that the service prints";
    return {};
}

} // namespace velmora::ingest
