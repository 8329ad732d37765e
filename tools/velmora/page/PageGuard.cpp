#include "page/PageGuard.h"

#include "ingest/Endpoint.h"

#include <httplib.h>
#include <sys/random.h>

#include <array>
#include <stdexcept>

namespace velmora::page {
namespace {

using httplib::Request;
using httplib::Response;

httplib::Server::HandlerResponse refuseOtherHosts(const Request &request, Response &response) {
    if (ingest::namesLoopback(request.get_header_value("Host")))
        return httplib::Server::HandlerResponse::Unhandled;
    refuse(response, 403,
           "The page is served to this machine alone: open it by the address that "
           "velmora ingest prints.");
    return httplib::Server::HandlerResponse::Handled;
}

} // namespace

void guard(httplib::Server &server) {
    server.set_default_headers(
        {{"Content-Security-Policy",
          "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; "
          "img-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'; "
          "require-trusted-types-for 'script'; trusted-types 'none'"},
         {"X-Content-Type-Options", "nosniff"},
         {"Referrer-Policy", "no-referrer"},
         {"Cross-Origin-Resource-Policy", "same-origin"},
         {"Cross-Origin-Opener-Policy", "same-origin"},
         {"Cache-Control", "no-store"}});
    server.set_pre_routing_handler(refuseOtherHosts);
}

void refuse(Response &response, int status, const std::string &sentence) {
    response.status = status;
    response.set_content(sentence + "\n", "text/plain; charset=utf-8");
}

std::string makeToken() {
    std::array<unsigned char, 16> bytes{};
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
        throw std::runtime_error("the system has no random numbers for the page's token");
    std::string token;
    static constexpr char digits[] = "0123456789abcdef";
    for (const unsigned char byte : bytes) {
        token += digits[byte >> 4];
        token += digits[byte & 15];
    }
    return token;
}

} // namespace velmora::page
