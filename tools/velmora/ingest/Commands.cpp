#include "ingest/Commands.h"

#include "JsonLine.h"
#include "LineInput.h"
#include "ingest/Faults.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <csignal>

namespace velmora::ingest {
namespace {

using nlohmann::ordered_json;

template <typename Number>
std::optional<Number> numberIn(const std::string &text, Number lowest, Number highest) {
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || !(value >= lowest) ||
        !(value <= highest))
        return std::nullopt;
    return value;
}

ordered_json refusal(std::string text) {
    return {{"error", std::move(text)}};
}

/// "NAME" from now on, "NAME next" for the next request alone.
ordered_json orderFault(const std::string &argument, Answers &answers) {
    const std::size_t blank = argument.find(' ');
    const std::string name = argument.substr(0, blank);
    const std::string which = blank == std::string::npos ? "" : argument.substr(blank + 1);
    std::optional<Answer> answer = faultNamed(name);
    if (!answer || (!which.empty() && which != "next")) {
        std::string names;
        for (const Fault &fault : faults())
            names += (names.empty() ? "" : ", ") + std::string(fault.name);
        return refusal("fault needs a name, and \"next\" after it for the next request alone; "
                       "there are: " +
                       names);
    }
    which.empty() ? answers.set(std::move(*answer)) : answers.setNext(std::move(*answer));
    return {{"command", "fault"}, {"fault", name}, {"next", !which.empty()}};
}

/// Answers the lines that have come; false when one of them was `quit`.
bool runLines(LineInput &input, bool atEnd, Controls &controls) {
    while (const std::optional<std::string> line = input.nextLine(atEnd)) {
        if (line->empty())
            continue;
        const std::optional<ordered_json> answer = runCommand(*line, controls);
        if (!answer)
            return false;
        writeLine(*answer);
    }
    return true;
}

} // namespace

std::optional<ordered_json> runCommand(const std::string &line, Controls &controls) {
    const std::size_t blank = line.find(' ');
    const std::string command = line.substr(0, blank);
    const std::string argument = blank == std::string::npos ? "" : line.substr(blank + 1);
    if (command == "quit" && argument.empty())
        return std::nullopt;
    if (command == "answer") {
        const auto status = numberIn<int>(argument, lowestStatus, highestStatus);
        if (!status)
            return refusal("answer needs a status from 200 to 599, for instance: answer 503");
        controls.answers.setStatus(*status);
        return ordered_json{{"command", command}, {"status", *status}};
    }
    if (command == "answer-body") {
        controls.answers.setBody(argument);
        return ordered_json{{"command", command}, {"bytes", argument.size()}};
    }
    if (command == "delay") {
        const auto seconds = numberIn<double>(argument, 0, longestDelay);
        if (!seconds)
            return refusal("delay needs seconds from 0 to 3600, for instance: delay 0.5");
        controls.answers.setDelay(*seconds);
        return ordered_json{{"command", command}, {"seconds", *seconds}};
    }
    if (command == "fault")
        return orderFault(argument, controls.answers);
    if (command == "clear" && argument.empty()) {
        controls.clear();
        return ordered_json{{"command", command}};
    }
    return refusal("no such command; there are: answer STATUS, answer-body TEXT, delay SECONDS, "
                   "fault NAME [next], clear, quit");
}

void serveCommands(Controls &controls, const Expectation *expectation) {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    const int ends = signalfd(-1, &signals, SFD_CLOEXEC);

    const int decided = expectation == nullptr ? -1 : expectation->descriptor();
    std::array<pollfd, 3> watched = {
        {{ends, POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}, {decided, POLLIN, 0}}};
    LineInput input;
    for (;;) {
        const int wait = expectation == nullptr ? -1 : expectation->millisecondsLeft();
        const int count = poll(watched.data(), watched.size(), wait);
        if (count == 0)
            break;
        if (count < 0)
            continue;
        if (watched[0].revents != 0 || watched[2].revents != 0)
            break;
        if (watched[1].revents == 0)
            continue;
        const bool open = input.read();
        if (!runLines(input, !open, controls))
            break;
        if (input.takeTooLong())
            writeLine(refusal("the line is too long and was left out"));
        if (!open)
            watched[1].fd = -1; // poll then leaves the input alone
    }
    close(ends);
}

} // namespace velmora::ingest
