#include "run/Commands.h"

#include "Arguments.h"
#include "CommandError.h"
#include "Text.h"
#include "TypedValue.h"

#include <filesystem>
#include <thread>

namespace velmora {
namespace {

using VelmoraKit::Result;
using VelmoraKit::Velmora;

void require(const Result &result) {
    if (!result)
        throw CommandError(result.message());
}

VelmoraKit::Preferences &preferences() {
    return Velmora::sharedVelmora().preferences();
}

/// Ends the command's name; what follows a key is the text, blanks and all, which may be empty.
std::string_view requireText(std::string_view afterCommand, std::string_view afterKey,
                             std::string_view name) {
    if (afterKey.empty() && !afterCommand.ends_with(' '))
        throw CommandError(std::string(name) + " is missing");
    return afterKey;
}

/// Null when the system does not tell, as it does not without a free descriptor.
nlohmann::json threadCount() {
    std::error_code problem;
    const std::filesystem::directory_iterator tasks("/proc/self/task", problem);
    if (problem)
        return nullptr;
    return std::distance(begin(tasks), end(tasks));
}

} // namespace

const Commands::Entry Commands::table[] = {
    {"set", &Commands::set},
    {"put", &Commands::put},
    {"set-on-thread", &Commands::setOnThread},
    {"remove", &Commands::remove},
    {"get", &Commands::get},
    {"foreground", &Commands::foreground},
    {"start", &Commands::startAgain},
    {"device-response", &Commands::deviceResponse},
    {"device-update", &Commands::deviceUpdate},
    {"wait", &Commands::wait},
    {"settle", &Commands::settle},
    {"status", &Commands::status},
    {"erase", &Commands::erase},
    {"help", &Commands::help},
};

std::string Commands::answer(std::string_view line, bool &ended) const {
    try {
        if (!isValidUTF8(line))
            throw CommandError("the line is not valid UTF-8: " + escaped(line.substr(0, 64)));
        std::string_view arguments = line;
        const std::string_view name = takeWord(arguments);
        if (name == "quit") {
            requireEnd(arguments);
            ended = true;
            return Answer{{"command", "quit"}}.dump();
        }
        Answer result{{"command", name}};
        result.update(carryOut(name, arguments));
        return result.dump();
    } catch (const std::exception &problem) {
        return Answer{{"error", problem.what()}}.dump(-1, ' ', false,
                                                      Answer::error_handler_t::replace);
    }
}

Commands::Answer Commands::carryOut(std::string_view name, std::string_view arguments) const {
    for (const Entry &entry : table)
        if (entry.name == name)
            return (this->*entry.handler)(arguments);
    throw CommandError("\"" + std::string(name.substr(0, 64)) +
                       "\" is not a command; \"help\" names them");
}

Commands::Answer Commands::set(std::string_view arguments) const {
    std::string_view text = arguments;
    const std::string_view key = requireWord(text, "KEY");
    require(preferences().setString(key, requireText(arguments, text, "TEXT")));
    return Answer::object();
}

Commands::Answer Commands::put(std::string_view arguments) const {
    std::string_view text = arguments;
    const std::string_view key = requireWord(text, "KEY");
    const std::string_view type = requireWord(text, "TYPE");
    const std::string_view value = requireText(arguments, text, "VALUE");
    if (putTyped(std::string(key), type, value) != VELMORA_OK)
        throw CommandError(velmora_last_error_message());
    return Answer::object();
}

Commands::Answer Commands::setOnThread(std::string_view arguments) const {
    std::string_view text = arguments;
    const std::string_view key = requireWord(text, "KEY");
    const std::string_view value = requireText(arguments, text, "TEXT");
    Result result;
    std::thread([&] { result = preferences().setString(key, value); }).join();
    require(result);
    return Answer::object();
}

Commands::Answer Commands::remove(std::string_view arguments) const {
    const std::string_view key = requireWord(arguments, "KEY");
    requireEnd(arguments);
    require(preferences().remove(key));
    return Answer::object();
}

Commands::Answer Commands::get(std::string_view arguments) const {
    const std::string_view key = requireWord(arguments, "KEY");
    requireEnd(arguments);
    const std::optional<std::string> json = preferences().json(key);
    return {{"value", json ? Answer::parse(*json) : Answer(nullptr)}};
}

Commands::Answer Commands::foreground(std::string_view arguments) const {
    requireEnd(arguments);
    require(Velmora::sharedVelmora().applicationWillEnterForeground());
    return Answer::object();
}

Commands::Answer Commands::startAgain(std::string_view arguments) const {
    requireEnd(arguments);
    require(start());
    return Answer::object();
}

Commands::Answer Commands::deviceResponse(std::string_view arguments) const {
    require(Velmora::sharedVelmora().onDeviceDataUpdateRequestResponse(std::string(arguments)));
    return Answer::object();
}

Commands::Answer Commands::deviceUpdate(std::string_view arguments) const {
    requireEnd(arguments);
    require(Velmora::sharedVelmora().performDeviceDataUpdateRequest());
    return Answer::object();
}

Commands::Answer Commands::wait(std::string_view arguments) const {
    const double seconds = secondsFrom(requireWord(arguments, "SECONDS"));
    requireEnd(arguments);
    require(Velmora::sharedVelmora().mainRunLoop().run(seconds));
    return Answer::object();
}

Commands::Answer Commands::settle(std::string_view arguments) const {
    const double seconds = secondsFrom(requireWord(arguments, "SECONDS"));
    requireEnd(arguments);
    return {{"settled", Velmora::sharedVelmora().mainRunLoop().runUntilIdle(seconds)}};
}

Commands::Answer Commands::status(std::string_view arguments) const {
    requireEnd(arguments);
    const std::string json = Velmora::sharedVelmora().status();
    if (json.empty())
        throw CommandError(velmora_last_error_message());
    // Read as the kind of object that finds its keys quickly: a configuration may be large.
    Answer result = nlohmann::json::parse(json);
    result["threads"] = threadCount();
    return result;
}

Commands::Answer Commands::erase(std::string_view arguments) const {
    requireEnd(arguments);
    require(Velmora::sharedVelmora().erase());
    return Answer::object();
}

Commands::Answer Commands::help(std::string_view arguments) const {
    requireEnd(arguments);
    Answer names = Answer::array();
    for (const Entry &entry : table)
        names.push_back(entry.name);
    names.push_back("quit");
    return {{"commands", names}, {"more", "velmora run --help"}};
}

} // namespace velmora
