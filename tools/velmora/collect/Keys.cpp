#include "collect/Keys.h"

#include "Signature.h"
#include "Text.h"
#include "ingest/HeaderCheck.h"
#include "ingest/JsonText.h"
#include "ingest/SignatureCheck.h"

#include <openssl/crypto.h>
#include <sys/stat.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace velmora::collect {

using ingest::Kind;

Keys::Keys(std::string path) : path_(std::move(path)) {
    reload();
}

void Keys::reload() {
    std::ifstream file(path_);
    auto table = std::make_shared<Table>();
    std::string line;
    for (std::size_t number = 1; std::getline(file, line); ++number) {
        if (line.starts_with('#') || line.find_first_not_of(" \t\r") == std::string::npos)
            continue;
        std::istringstream words(line);
        std::string key;
        std::string secret;
        std::string more;
        const bool isWhole = static_cast<bool>(words >> key >> secret) && !(words >> more);
        const bool isNew = isWhole && !table->contains(key);
        // The line is not shown: it may hold a secret.
        if (!isNew || !isValidUTF8(line))
            throw std::runtime_error("--keys: line " + std::to_string(number) + " of \"" + path_ +
                                     "\" is not \"KEY SECRET\" with a key of its own; both are "
                                     "UTF-8 without blanks");
        Tokens tokens;
        for (const Kind kind : {Kind::Consents, Kind::DevicesErrors})
            tokens.at(static_cast<std::size_t>(kind)) =
                tokenFor(secret, ingest::signedPath(kind), key);
        table->emplace(std::move(key), std::move(tokens));
    }
    if (!file.is_open() || file.bad())
        throw std::runtime_error("--keys: \"" + path_ +
                                 "\" cannot be read; give a file with a line \"KEY SECRET\" for "
                                 "each API key");
    if (table->empty())
        throw std::runtime_error("--keys: \"" + path_ +
                                 "\" holds no key; every request would be "
                                 "refused");
    const std::lock_guard lock(mutex_);
    table_ = std::move(table);
}

bool Keys::isOpenToAll() const {
    struct stat file {};
    return ::stat(path_.c_str(), &file) == 0 && (file.st_mode & S_IROTH) != 0;
}

std::shared_ptr<const Keys::Table> Keys::table() const {
    const std::lock_guard lock(mutex_);
    return table_;
}

std::string Keys::refusalOf(const ingest::Request &request, Kind kind) const {
    const auto key = ingest::onlyHeader(request, "X-Api-Key");
    if (!key)
        return "header X-Api-Key is not there exactly once";
    const auto keys = table();
    const auto found = keys->find(*key);
    if (found == keys->end())
        return "header X-Api-Key is " + ingest::inQuotes(*key) + ", which is not a key of --keys";
    const auto token = ingest::tokenOf(request);
    if (!token)
        return "header Authorization is not \"Token token=\" and 40 lower-case hexadecimal digits";
    const std::string &expected = found->second.at(static_cast<std::size_t>(kind));
    // In a time that tells nothing about the right one.
    if (CRYPTO_memcmp(token->data(), expected.data(), expected.size()) != 0)
        return "header Authorization holds a wrong token: it was made with another secret, another "
               "API key or another path";
    return {};
}

} // namespace velmora::collect
