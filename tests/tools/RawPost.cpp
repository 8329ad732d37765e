#include "tools/RawPost.h"

#include "support/Gzip.h"

#include <netinet/in.h>
#include <openssl/evp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

namespace vmr::test {
namespace {

constexpr const char *device = "00000000-0000-0000-0000-000000000000";
constexpr const char *date = "2026-03-04 15:06:06 +0100";

std::string digest(const EVP_MD *kind, const std::string &text) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> raw{};
    unsigned length = 0;
    EVP_Digest(text.data(), text.size(), raw.data(), &length, kind, nullptr);
    std::string out;
    std::array<char, 3> digits{};
    for (unsigned i = 0; i < length; ++i) {
        std::snprintf(digits.data(), digits.size(), "%02x", raw[i]);
        out += digits.data();
    }
    return out;
}

} // namespace

RawPost RawPost::consents(const nlohmann::json &body) {
    RawPost result;
    result.path = "/1.0/consents";
    result.body = gzip(body.dump());
    result.headers = {{"Host", "localhost"},
                      {"Authorization", "Token token=" + sha1("s3/consents/k1/")},
                      {"Accept", "application/json"},
                      {"Content-Type", "application/json"},
                      {"X-Api-Key", "k1"},
                      {"X-Bundle-Identifier", "com.example.kiosk"},
                      {"Content-Encoding", "gzip"}};
    return result;
}

void RawPost::setHeader(const std::string &name, const std::string &value) {
    std::erase_if(headers, [&](const auto &header) { return header.first == name; });
    headers.emplace_back(name, value);
}

std::string RawPost::bytes() const {
    std::string bytes = method + " " + path + " HTTP/1.1\r\n";
    for (const auto &[name, value] : headers)
        bytes += name + ": " + value + "\r\n";
    return bytes + "Content-Length: " + std::to_string(body.size()) +
           "\r\nConnection: close\r\n\r\n" + body;
}

std::string RawPost::send(int port) const {
    const RawConnection connection(port);
    connection.send(bytes());
    return connection.receive();
}

RawConnection::RawConnection(int port)
    : descriptor_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(descriptor_, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0)
        throw std::runtime_error("cannot connect");
}

RawConnection::~RawConnection() {
    close(descriptor_);
}

void RawConnection::send(std::string_view bytes) const {
    while (!bytes.empty()) {
        // Who was answered already sends no more: the service reads no more.
        pollfd either{descriptor_, POLLIN | POLLOUT, 0};
        if (poll(&either, 1, -1) != 1 || (either.revents & POLLOUT) == 0)
            return;
        const ssize_t count =
            ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count <= 0)
            return;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

std::string RawConnection::receive() const {
    std::string answer;
    std::array<char, 4096> piece;
    for (ssize_t count = 0; (count = recv(descriptor_, piece.data(), piece.size(), 0)) > 0;)
        answer.append(piece.data(), static_cast<std::size_t>(count));
    return answer;
}

std::string sha1(const std::string &text) {
    return digest(EVP_sha1(), text);
}

nlohmann::json consentItem(const std::string &identifier, const std::string &consent) {
    return {{"consentString", consent},
            {"localDate", date},
            {"eventId", digest(EVP_sha256(), identifier + ";" + consent + ";" + date)}};
}

nlohmann::json consentsBody() {
    return {{"batch", {consentItem(device, "COtest")}},
            {"postDate", date},
            {"os", "ios"},
            {"uuid", device},
            {"uuidV", "6F1E0B57-2C0A-4B7E-9D55-0C9F3E1A7D42"},
            {"bundleId", "com.example.kiosk"},
            {"sdkVersion", "87fc04-Debug"},
            {"appVersion", "2.5"},
            {"systemVersion", "12"},
            {"deviceModel", "x86_64"}};
}

} // namespace vmr::test
