#pragma once

#include <string>

namespace httplib {
struct Response;
class Server;
} // namespace httplib

namespace velmora::page {

/// Has the server answer this machine alone, and browsers take nothing from elsewhere into the
/// page.
void guard(httplib::Server &server);

/// Answers with a sentence.
void refuse(httplib::Response &response, int status, const std::string &sentence);

/// A token that nobody guesses. Throws std::runtime_error when the system has no random numbers.
std::string makeToken();

} // namespace velmora::page
