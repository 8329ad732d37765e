#include "collect/StoredEvents.h"

#include "collect/Database.h"
#include "collect/Moment.h"
#include "collect/Sink.h"

#include <filesystem>

namespace velmora::collect {
namespace {

using nlohmann::ordered_json;

constexpr std::string_view rows = R"(
SELECT e.id, k.api_key, hex(e.device), lower(hex(e.event)), r.kind, e.date, e.content, r.arrival,
       r.envelope
FROM events e JOIN requests r ON r.id = e.request JOIN api_keys k ON k.id = e.api_key
WHERE e.id > ? ORDER BY e.id)";
enum Column { row, apiKey, device, event, kind, date, content, arrival, envelope };

std::string withDashes(std::string_view digits) {
    std::string text(digits);
    for (const std::size_t place : {20U, 16U, 12U, 8U})
        if (text.size() >= place)
            text.insert(place, "-");
    return text;
}

/// A text is one, bytes are any other JSON.
ordered_json contentOf(const Statement &row) {
    if (row.isNull(content))
        return nullptr;
    return row.isBlob(content) ? ordered_json::parse(row.bytes(content))
                               : ordered_json(row.bytes(content));
}

ordered_json lineOf(const Statement &row) {
    const bool isConsent = row.bytes(kind) == nameOf(ingest::Kind::Consents);
    return {{"row", row.number(Column::row)},
            {"arrival", momentText(row.number(arrival))},
            {"apiKey", row.bytes(apiKey)},
            {"device", withDashes(row.bytes(device))},
            {"eventId", row.bytes(event)},
            {"kind", row.bytes(kind)},
            {"date", row.bytes(date)},
            {isConsent ? "consent" : "entry", contentOf(row)},
            {"envelope", ordered_json::parse(row.bytes(envelope))}};
}

/// In quotes throughout, which every reader takes; nothing for what is absent.
std::string field(std::string_view text) {
    std::string quoted = "\"";
    for (const char c : text)
        quoted += c == '"' ? "\"\"" : std::string(1, c);
    return quoted + "\"";
}

std::string recordOf(const Statement &row) {
    std::string text = std::to_string(row.number(Column::row)) + "," +
                       momentText(row.number(arrival)) + "," + field(row.bytes(apiKey)) + "," +
                       withDashes(row.bytes(device));
    for (const Column column : {event, kind, date})
        text += "," + field(row.bytes(column));
    text += "," + (row.isNull(content) ? "" : field(row.bytes(content)));
    return text + "," + field(row.bytes(envelope)) + "\r\n";
}

std::int64_t count(Database &database, std::string_view sql) {
    Statement statement(database, sql);
    statement.step();
    return statement.number(0);
}

} // namespace

void exportEvents(const std::string &path, ExportForm form, std::int64_t after, std::FILE *out) {
    Database database(path, Database::Mode::readOnly);
    Statement statement(database, rows);
    statement.bind(1, after);
    if (form == ExportForm::csv)
        std::fputs("row,arrival,apiKey,device,eventId,kind,date,content,envelope\r\n", out);
    while (statement.step()) {
        const std::string text =
            form == ExportForm::csv ? recordOf(statement) : lineOf(statement).dump() + "\n";
        if (std::fwrite(text.data(), 1, text.size(), out) != text.size())
            return; // the program's end says so
    }
}

ordered_json statsOf(const std::string &path) {
    Database database(path, Database::Mode::readOnly);
    database.run("BEGIN"); // all of one moment
    ordered_json stats = {
        {"events", count(database, "SELECT count(*) FROM events")},
        {"devices",
         count(database, "SELECT count(*) FROM (SELECT DISTINCT api_key, device FROM events)")},
        {"apiKeys", count(database, "SELECT count(*) FROM api_keys")},
        {"requests", count(database, "SELECT count(*) FROM requests")},
        {"itemsReceived", count(database, "SELECT coalesce(sum(items), 0) FROM requests")},
        {"itemsKnown", count(database, "SELECT coalesce(sum(items - added), 0) FROM requests")},
        {"bytesReceived", count(database, "SELECT coalesce(sum(bytes), 0) FROM requests")}};
    Statement kinds(database, "SELECT kind, sum(added) FROM requests GROUP BY kind");
    while (kinds.step())
        stats["byKind"][std::string(kinds.bytes(0))] = kinds.number(1);
    Statement span(database, "SELECT min(arrival), max(arrival) FROM requests");
    if (span.step() && !span.isNull(0)) {
        stats["first"] = momentText(span.number(0));
        stats["last"] = momentText(span.number(1));
    }
    std::error_code gone;
    stats["fileBytes"] = std::filesystem::file_size(path, gone);
    return stats;
}

} // namespace velmora::collect
