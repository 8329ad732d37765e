#pragma once

#include <nlohmann/json.hpp>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vmr::test {

/// A request as a client would put it on the wire, made so that each piece can be spoilt.
struct RawPost {
    using Headers = std::vector<std::pair<std::string, std::string>>;

    std::string method = "POST";
    std::string path;
    Headers headers;
    /// Compressed.
    std::string body;

    /// A right request with key "k1" and secret "s3".
    static RawPost consents(const nlohmann::json &body);

    void setHeader(const std::string &name, const std::string &value);

    std::string bytes() const;
    /// Sends it to a loopback port and returns the whole answer.
    std::string send(int port) const;
};

/// A connection to a loopback port, ended with it.
class RawConnection {
public:
    explicit RawConnection(int port);
    RawConnection(const RawConnection &) = delete;
    RawConnection &operator=(const RawConnection &) = delete;
    ~RawConnection();

    /// As much as the other side takes.
    void send(std::string_view bytes) const;
    /// Everything until the other side ends it.
    std::string receive() const;

private:
    int descriptor_;
};

std::string sha1(const std::string &text);

/// A body that nothing is wrong with. The item's identifier is made with the envelope's "uuid".
nlohmann::json consentsBody();
nlohmann::json consentItem(const std::string &identifier, const std::string &consent);

} // namespace vmr::test
