#include "page/PageServer.h"

#include "page/Detail.h"
#include "page/Devices.h"
#include "page/PageFiles.h"
#include "page/PageGuard.h"
#include "page/Recording.h"

#include <httplib.h>

#include <charconv>
#include <thread>

namespace velmora::page {
namespace {

using httplib::Request;
using httplib::Response;
using nlohmann::ordered_json;

/// Each open page holds one for its stream.
constexpr std::size_t threads = 32;
constexpr std::size_t longestCommand = 1024;
constexpr const char *tokenHeader = "X-Velmora-Token";

void answerJson(Response &response, const ordered_json &value) {
    response.set_content(value.dump(-1, ' ', false, ordered_json::error_handler_t::replace),
                         "application/json");
}

std::uint64_t numberOf(const std::string &digits) {
    std::uint64_t number = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return number;
}

void offerFile(Response &response, const std::string &content, const std::string &name,
               const char *type) {
    response.set_header("Content-Disposition", "attachment; filename=\"" + name + "\"");
    response.set_content(content, type);
}

const char *typeOf(std::string_view path) {
    if (path.ends_with(".js"))
        return "text/javascript; charset=utf-8";
    if (path.ends_with(".css"))
        return "text/css; charset=utf-8";
    return path.ends_with(".svg") ? "image/svg+xml" : "text/html; charset=utf-8";
}

bool holds(const Exchange &exchange, const std::string &text) {
    const auto isIn = [&](const std::string &place) {
        return place.find(text) != std::string::npos;
    };
    if (isIn(exchange.request.target) || isIn(exchange.signature))
        return true;
    for (const auto &[name, value] : exchange.request.headers)
        if (isIn(name) || isIn(value))
            return true;
    return isIn(clearBodyOf(exchange));
}

} // namespace

PageServer::PageServer(ingest::Endpoint endpoint, Journal &journal, Service service,
                       ingest::Credentials credentials, ingest::Controls *controls)
    : endpoint_(std::move(endpoint)), journal_(journal), service_(std::move(service)),
      credentials_(std::move(credentials)), controls_(controls) {}

PageServer::~PageServer() = default;

void PageServer::serveStream() {
    server_->Get("/stream", [this](const Request &request, Response &response) {
        const std::string last = request.has_header("Last-Event-ID")
                                     ? request.get_header_value("Last-Event-ID")
                                     : request.get_param_value("after");
        const auto *answers = controls_ == nullptr ? nullptr : &controls_->answers;
        auto stream = std::make_shared<Stream>(service_, journal_, answers, last);
        response.set_chunked_content_provider(
            "text/event-stream", [stream](std::size_t, httplib::DataSink &sink) {
                const std::string text = stream->next();
                return sink.is_writable() && sink.write(text.data(), text.size());
            });
    });
}

void PageServer::serveRequests() {
    const auto withExchange = [this](const auto &answer) {
        return [this, answer](const Request &request, Response &response) {
            if (const Kept kept = journal_.find(numberOf(request.matches[1])))
                answer(*kept, request, response);
            else
                refuse(response, 404, "This request is no longer kept.");
        };
    };
    server_->Get(R"(/requests/(\d+))", withExchange([this](const Exchange &exchange,
                                                           const Request &, Response &response) {
                     answerJson(response, detailOf(exchange, credentials_));
                 }));
    server_->Get(
        R"(/requests/(\d+)/items/(\d+))",
        withExchange([this](const Exchange &exchange, const Request &request, Response &response) {
            answerJson(response, itemDetailOf(exchange, numberOf(request.matches[2]), journal_));
        }));
    server_->Get(R"(/requests/(\d+)/body)",
                 withExchange([](const Exchange &exchange, const Request &, Response &response) {
                     offerFile(response, clearBodyOf(exchange),
                               "request-" + std::to_string(exchange.number) + ".json",
                               "application/json");
                 }));
    server_->Get(R"(/requests/(\d+)/recording)",
                 withExchange([](const Exchange &exchange, const Request &, Response &response) {
                     offerFile(response, recordingOf(exchange),
                               "request-" + std::to_string(exchange.number) + ".recording",
                               "application/octet-stream");
                 }));
    server_->Get("/search", [this](const Request &request, Response &response) {
        const std::string text = request.get_param_value("text");
        ordered_json numbers = ordered_json::array();
        for (const Kept &kept : journal_.after(numberOf(request.get_param_value("after"))))
            if (holds(*kept, text))
                numbers.push_back(kept->number);
        answerJson(response, numbers);
    });
    server_->Get("/devices", [this](const Request &, Response &response) {
        answerJson(response, devicesOf(journal_.after(0)));
    });
}

void PageServer::serveCommands() {
    server_->Post("/commands", [this](const Request &request, Response &response) {
        const std::string &command = request.body;
        if (request.get_header_value(tokenHeader) != service_.token)
            return refuse(response, 403,
                          "The token is missing or of another run; reload the page.");
        if (controls_ == nullptr)
            return refuse(response, 403, "A recording takes no commands.");
        if (!command.starts_with("fault ") && command != "clear")
            return refuse(response, 400, "The page knows the commands fault and clear.");
        answerJson(response, *ingest::runCommand(command, *controls_));
        journal_.touch();
    });
}

void PageServer::serveFiles() {
    server_->Get("/.*", [](const Request &request, Response &response) {
        const std::string path = request.path == "/" ? "/index.html" : request.path;
        for (const PageFile &file : pageFiles())
            if (file.path == path)
                return response.set_content(std::string(file.content), typeOf(path));
        refuse(response, 404, "There is no such page here.");
    });
}

std::string PageServer::listen() {
    server_ = std::make_unique<httplib::Server>();
    server_->new_task_queue = [] { return new httplib::ThreadPool(threads); };
    server_->set_payload_max_length(longestCommand);
    guard(*server_);
    serveStream();
    serveRequests();
    serveCommands();
    serveFiles();
    bindTo(endpoint_, *server_, "--page");
    return endpoint_.url("http");
}

void PageServer::serve() {
    std::thread([this] { server_->listen_after_bind(); }).detach();
}

} // namespace velmora::page
