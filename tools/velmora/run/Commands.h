#pragma once

#include <VelmoraKit/VelmoraKit.h>

#include <nlohmann/json.hpp>

#include <string>
#include <string_view>

namespace velmora {

/// Carries out the commands that play the host application.
class Commands {
public:
    Commands(VelmoraKit::OptionalText apiKey, VelmoraKit::OptionalText secret)
        : apiKey_(std::move(apiKey)), secret_(std::move(secret)) {}

    VelmoraKit::Result start() const {
        return VelmoraKit::Velmora::initWithApiKey(apiKey_, secret_);
    }
    /// The answer to one line, without a line feed. Sets `ended` when the line was "quit".
    std::string answer(std::string_view line, bool &ended) const;

private:
    using Answer = nlohmann::ordered_json;
    using Handler = Answer (Commands::*)(std::string_view arguments) const;
    struct Entry {
        std::string_view name;
        Handler handler;
    };
    static const Entry table[];

    Answer carryOut(std::string_view name, std::string_view arguments) const;

    Answer set(std::string_view arguments) const;
    Answer put(std::string_view arguments) const;
    Answer setOnThread(std::string_view arguments) const;
    Answer remove(std::string_view arguments) const;
    Answer get(std::string_view arguments) const;
    Answer foreground(std::string_view arguments) const;
    Answer startAgain(std::string_view arguments) const;
    Answer deviceResponse(std::string_view arguments) const;
    Answer deviceUpdate(std::string_view arguments) const;
    Answer wait(std::string_view arguments) const;
    Answer settle(std::string_view arguments) const;
    Answer status(std::string_view arguments) const;
    Answer erase(std::string_view arguments) const;
    Answer help(std::string_view arguments) const;

    VelmoraKit::OptionalText apiKey_;
    VelmoraKit::OptionalText secret_;
};

} // namespace velmora
