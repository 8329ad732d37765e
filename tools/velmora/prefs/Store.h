#pragma once

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace velmora::prefs {

/// The preferences file of another process, for the rest of this one. What the library logs about
/// the file goes to standard error.
class Store {
public:
    /// Throws std::runtime_error when `mustExist` and the file is not there.
    Store(const std::string &path, bool mustExist, bool sharedFolder);

    /// null when nothing is stored.
    nlohmann::ordered_json value(const std::string &key) const;
    std::vector<std::string> keys() const;
    void put(const std::string &key, const std::string &type, const std::string &text);
    void remove(const std::string &key);

    /// Writes a line for each change until SIGINT or SIGTERM. An empty key watches all.
    void watch(const std::string &key, const std::string &path);

    /// Whether the library had something to say about the file: what was asked may then have been
    /// done in memory only.
    static bool hadTrouble();
};

} // namespace velmora::prefs
