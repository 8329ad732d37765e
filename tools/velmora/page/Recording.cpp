#include "page/Recording.h"

#include "Text.h"
#include "page/Base64.h"
#include "page/Summary.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace velmora::page {
namespace {

using nlohmann::json;
using nlohmann::ordered_json;

constexpr const char *mark = "velmora-ingest-recording";
constexpr int version = 1;

std::string firstLine() {
    return json{{mark, version}}.dump() + "\n";
}

/// A header may hold bytes that are no text.
ordered_json fieldOf(const std::string &bytes) {
    return isValidUTF8(bytes) ? ordered_json(bytes) : ordered_json{{"base64", base64(bytes)}};
}

std::string bytesOf(const json &field) {
    return field.is_string() ? field.get<std::string>()
                             : fromBase64(field.at("base64")).value_or("");
}

std::string lineOf(const Exchange &exchange) {
    ordered_json headers = ordered_json::array();
    for (const auto &[name, value] : exchange.request.headers)
        headers.push_back({fieldOf(name), fieldOf(value)});
    return ordered_json{{"time", exchange.time},
                        {"refusal", fieldOf(exchange.refusal)},
                        {"method", fieldOf(exchange.request.method)},
                        {"target", fieldOf(exchange.request.target)},
                        {"headers", headers},
                        {"body", base64(exchange.request.body)},
                        {"signature", fieldOf(exchange.signature)},
                        {"answer", exchange.answer.shownStatus()},
                        {"fault", exchange.answer.fault},
                        {"delay", exchange.answer.delay.count()},
                        {"delivered", exchange.isDelivered},
                        {"consequence", exchange.consequence}}
               .dump() +
           "\n";
}

/// Throws when the line is not one that `lineOf` made.
Exchange exchangeFrom(const std::string &line) {
    const json entry = json::parse(line);
    ingest::Arrival arrival;
    arrival.refusal = bytesOf(entry.at("refusal"));
    arrival.request.method = bytesOf(entry.at("method"));
    arrival.request.target = bytesOf(entry.at("target"));
    for (const json &header : entry.at("headers"))
        arrival.request.headers.emplace_back(bytesOf(header.at(0)), bytesOf(header.at(1)));
    arrival.request.body = fromBase64(entry.at("body")).value();
    arrival.answer.fault = entry.at("fault");
    arrival.answer.delay = std::chrono::duration<double>(entry.at("delay").get<double>());
    arrival.answer.status = entry.at("answer");
    if (arrival.answer.status == 0)
        arrival.answer.ending = ingest::Ending::none;

    ingest::Report found;
    if (arrival.refusal.empty())
        found = ingest::report(arrival.request, {});
    found.signature = bytesOf(entry.at("signature"));
    Exchange exchange = exchangeOf(std::move(arrival), found, entry.at("time"));
    exchange.isDelivered = entry.at("delivered");
    exchange.summary["delivered"] = exchange.isDelivered;
    exchange.consequence = entry.at("consequence");
    return exchange;
}

void requireRecording(const std::string &path, const std::string &line) {
    const json head = json::parse(line, nullptr, false);
    if (!head.is_object() || !head.contains(mark))
        throw std::runtime_error("\"" + path +
                                 "\" is not a recording of velmora ingest; --record makes one");
    if (head[mark] != version)
        throw std::runtime_error("\"" + path + "\" is a recording of version " + head[mark].dump() +
                                 ", and this program reads version " + std::to_string(version) +
                                 "; show it with the velmora that recorded it");
}

std::string reason() {
    return std::generic_category().message(errno);
}

} // namespace

std::string recordingOf(const Exchange &exchange) {
    return firstLine() + lineOf(exchange);
}

Recorder::Recorder(const std::string &path) : path_(path) {
    const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (descriptor < 0)
        throw std::runtime_error("cannot make the recording \"" + path + "\": " + reason() +
                                 "; name another file with --record");
    file_.reset(fdopen(descriptor, "w"));
    const std::string line = firstLine();
    std::fwrite(line.data(), 1, line.size(), file_.get());
    std::fflush(file_.get());
}

void Recorder::add(const Exchange &exchange) {
    const std::string line = lineOf(exchange);
    if (!file_)
        return;
    std::fwrite(line.data(), 1, line.size(), file_.get());
    if (std::fflush(file_.get()) == 0)
        return;
    std::fprintf(stderr,
                 "velmora ingest: the recording \"%s\" ends here: %s; free the disk and record "
                 "again\n",
                 visible(path_).c_str(), reason().c_str());
    file_.reset();
}

Recording readRecording(const std::string &path) {
    std::ifstream file(path);
    std::string line;
    if (!file)
        throw std::runtime_error("cannot read the recording \"" + path + "\": " + reason() +
                                 "; name the file that --record made");
    std::getline(file, line);
    requireRecording(path, line);
    Recording recording;
    for (std::size_t number = 2; std::getline(file, line); ++number) {
        // A line that was written to its end has a line feed behind it.
        const bool isCut = file.eof();
        try {
            recording.exchanges.push_back(exchangeFrom(line));
        } catch (const std::exception &) {
            if (!isCut)
                throw std::runtime_error("the recording \"" + path + "\" is damaged in line " +
                                         std::to_string(number) +
                                         "; take that line out to see the others");
            recording.cutInLine = number;
        }
    }
    return recording;
}

} // namespace velmora::page
