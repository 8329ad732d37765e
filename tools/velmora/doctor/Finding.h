#pragma once

#include <string>
#include <utility>
#include <vector>

namespace velmora::doctor {

/// The numbers are the exit status.
enum class Severity { ok = 0, warning = 1, error = 2 };

struct Finding {
    /// Stays the same from version to version, for scripts: "store.access".
    std::string id;
    Severity severity;
    std::string message;
    /// What to do about it; empty when there is nothing to do.
    std::string remedy;
};

class Findings {
public:
    void ok(std::string id, std::string message) {
        all_.push_back({std::move(id), Severity::ok, std::move(message), {}});
    }
    void warn(std::string id, std::string message, std::string remedy) {
        all_.push_back({std::move(id), Severity::warning, std::move(message), std::move(remedy)});
    }
    void fail(std::string id, std::string message, std::string remedy) {
        all_.push_back({std::move(id), Severity::error, std::move(message), std::move(remedy)});
    }
    const std::vector<Finding> &all() const { return all_; }

private:
    std::vector<Finding> all_;
};

} // namespace velmora::doctor
