#include "doctor/Checks.h"

#include <cstdlib>
#include <filesystem>
#include <vector>

namespace velmora::doctor {
namespace {

namespace fs = std::filesystem;

/// The SDK's texts say what is wrong, then "; " and the remedy.
void tellTrouble(const std::string &subject, const std::string &kind, const std::string &trouble,
                 Findings &findings) {
    if (kind == "damaged") {
        findings.fail("store.damage", subject + " " + trouble,
                      "start the application: it sets the file aside under a new name and carries "
                      "over what can be read; then check the disk");
        return;
    }
    const std::size_t end = trouble.rfind("; ");
    findings.fail(kind == "locked" ? "store.locked" : "store.access",
                  subject + " " + trouble.substr(0, end),
                  end == std::string::npos ? "name another store" : trouble.substr(end + 2));
}

std::vector<std::string> setAsideBeside(const fs::path &store) {
    const std::string prefix = store.filename().string() + ".damaged-";
    std::vector<std::string> found;
    std::error_code error;
    for (const auto &entry : fs::directory_iterator(store.parent_path(), error)) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with(prefix) && !name.ends_with("-wal") && !name.ends_with("-shm"))
            found.push_back(entry.path().string());
    }
    return found;
}

} // namespace

void checkStore(const Subject &subject, Findings &findings) {
    const nlohmann::json &store = subject.sdk["store"];
    const std::string &path = subject.storePath;
    const std::string trouble = textOf(store["trouble"]);
    if (path.empty()) {
        findings.warn("store.place",
                      "it is not known which preferences file the application uses, and none was "
                      "checked",
                      std::getenv("HOME") != nullptr
                          ? "give --store, --bundle-id or --info-file"
                          : "give --store, or set HOME and give --bundle-id or --info-file");
        return;
    }
    if (!trouble.empty())
        tellTrouble("the preferences file " + path, textOf(store["troubleKind"]), trouble,
                    findings);
    else if (!store["exists"].get<bool>())
        findings.ok("store.access",
                    "the preferences file " + path + " is not there yet; the first start makes it");
    else
        findings.ok("store.access", "the preferences file " + path + " can be used");
    if (store["formatVersion"].is_number())
        findings.ok("store.format",
                    "the file has format " + std::to_string(store["formatVersion"].get<int>()));

    for (const std::string &file : setAsideBeside(fs::absolute(path)))
        findings.warn("store.set-aside",
                      "a damaged preferences file was set aside as " + file +
                          "; what could be read was carried over",
                      "check the disk, then delete it, with its -wal");
}

} // namespace velmora::doctor
