#include "collect/Quarantine.h"

#include "collect/Moment.h"

#include <nlohmann/json.hpp>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace velmora::collect {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t mostKept = 10'000;
constexpr std::uintmax_t mostBytes = std::uintmax_t{256} << 20;

bool write(const std::string &path, const std::string &bytes) {
    std::ofstream file(path, std::ios::binary);
    file << bytes;
    return static_cast<bool>(file.flush());
}

} // namespace

Quarantine::Quarantine(std::string folder) : folder_(std::move(folder)) {
    std::error_code failed;
    fs::create_directory(folder_, failed); // a mistyped path is not made
    if (!failed)
        fs::permissions(folder_, fs::perms::owner_all, failed);
    for (fs::directory_iterator entry(folder_, failed), end; !failed && entry != end;
         entry.increment(failed))
        if (entry->path().extension() == ".body") {
            std::error_code gone;
            const std::uintmax_t bytes = entry->file_size(gone);
            kept_.push_back({entry->path().stem(), gone ? 0 : bytes});
            bytes_ += kept_.back().bytes;
        }
    if (failed)
        throw std::runtime_error("--quarantine: the folder \"" + folder_ +
                                 "\" cannot be used: " + failed.message());
    // A name begins with the moment it was made.
    std::ranges::sort(kept_, {}, &Kept::name);
}

std::string Quarantine::keep(const ingest::Request &request, const std::string &why,
                             const std::string &peer) {
    nlohmann::ordered_json head = {{"why", why},
                                   {"arrival", momentText(wallClock())},
                                   {"peer", peer},
                                   {"path", request.target},
                                   {"headers", nlohmann::ordered_json::array()}};
    for (const auto &[name, value] : request.headers)
        if (strcasecmp(name.c_str(), "Authorization") != 0)
            head["headers"].push_back(name + ": " + value);

    const std::lock_guard lock(mutex_);
    const std::string name = std::to_string(wallClock()) + "-" + std::to_string(getpid()) + "-" +
                             std::to_string(++count_);
    const std::string text =
        head.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
    const bool isKept =
        write(pathOf(name + ".body"), request.body) && write(pathOf(name + ".json"), text);
    kept_.push_back({name, request.body.size()});
    bytes_ += request.body.size();
    makeRoomLocked();
    return isKept ? name : "";
}

void Quarantine::makeRoomLocked() {
    while (kept_.size() > mostKept || bytes_ > mostBytes) {
        std::error_code ignored;
        fs::remove(pathOf(kept_.front().name + ".body"), ignored);
        fs::remove(pathOf(kept_.front().name + ".json"), ignored);
        bytes_ -= kept_.front().bytes;
        kept_.pop_front();
    }
}

} // namespace velmora::collect
