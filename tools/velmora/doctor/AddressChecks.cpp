#include "doctor/Checks.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <future>
#include <memory>
#include <thread>

namespace velmora::doctor {
namespace {

constexpr std::chrono::seconds longestLookUp{10};

struct LookUp {
    int error = 0;
    std::string addresses;
};

std::string text(const sockaddr *address) {
    char buffer[INET6_ADDRSTRLEN] = "";
    if (address->sa_family == AF_INET) {
        sockaddr_in ipv4{};
        std::memcpy(&ipv4, address, sizeof ipv4);
        inet_ntop(AF_INET, &ipv4.sin_addr, buffer, sizeof buffer);
    } else if (address->sa_family == AF_INET6) {
        sockaddr_in6 ipv6{};
        std::memcpy(&ipv6, address, sizeof ipv6);
        inet_ntop(AF_INET6, &ipv6.sin6_addr, buffer, sizeof buffer);
    }
    return buffer;
}

LookUp lookUp(const std::string &host, const std::string &port) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *list = nullptr;
    LookUp result;
    result.error = getaddrinfo(host.c_str(), port.c_str(), &hints, &list);
    if (result.error != 0)
        return result;
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owned(list, freeaddrinfo);
    for (const addrinfo *each = list; each != nullptr; each = each->ai_next)
        result.addresses += (result.addresses.empty() ? "" : ", ") + text(each->ai_addr);
    return result;
}

} // namespace

void checkAddress(const Subject &subject, Findings &findings) {
    const nlohmann::json &ingest = subject.sdk["ingest"];
    const std::string address = textOf(ingest["address"]);
    const std::string refusal = textOf(ingest["refusal"]);
    if (!refusal.empty())
        findings.fail("ingest.address", refusal,
                      "correct ingest_base_address, or \"VMRIngestBaseAddress\" in Info.json");
    else if (ingest["placeholder"].get<bool>())
        findings.fail("ingest.address",
                      "nothing can be delivered: " + address + " is a placeholder",
                      "give ingest_base_address or \"VMRIngestBaseAddress\" in Info.json, and tell "
                      "it to this check with --ingest or --info-file");
    else if (ingest["builtIn"].get<bool>())
        findings.ok("ingest.address", "posts go to " + address + ", built into the library");
    else
        findings.ok("ingest.address", "posts go to " + address);
}

void checkInterception(const Subject &subject, Findings &findings) {
    const nlohmann::json &decision = subject.sdk["interception"];
    const std::string reason = textOf(decision["reason"]);
    const std::size_t end = reason.rfind("; ");
    if (!subject.service)
        return;
    if (!decision["allowed"].get<bool>())
        findings.fail("ingest.interception", "nothing would be sent. " + reason.substr(0, end),
                      end == std::string::npos ? "change the environment" : reason.substr(end + 2));
    else if (subject.given.allowProxy)
        findings.ok("ingest.interception", "requests may be sent, through a proxy too");
    else
        findings.ok("ingest.interception", "requests go straight to the service");
}

void checkResolution(const Subject &subject, Findings &findings) {
    if (!subject.service)
        return;
    const std::string host = subject.service->host;
    std::packaged_task<LookUp()> task(
        [host, port = subject.service->port] { return lookUp(host, port); });
    std::future<LookUp> answer = task.get_future();
    // A resolver without a network may take minutes; it is then left behind.
    std::thread(std::move(task)).detach();
    if (answer.wait_for(longestLookUp) != std::future_status::ready) {
        findings.fail("ingest.name", "looking up " + host + " takes longer than 10 s",
                      "check the network and the name servers in /etc/resolv.conf");
        return;
    }
    const LookUp found = answer.get();
    if (found.error != 0)
        findings.fail("ingest.name",
                      "the name " + host + " is not found: " + gai_strerror(found.error),
                      "check the name, the network and /etc/resolv.conf");
    else
        findings.ok("ingest.name", host + " is " + found.addresses);
}

} // namespace velmora::doctor
