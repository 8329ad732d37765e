#include "fuzz/Fuzzer.h"
#include "ingest/JsonText.h"
#include "ingest/Report.h"

#include <zlib.h>

#include <cstdlib>

using namespace velmora::ingest;

namespace {

std::string packed(std::string_view text) {
    z_stream stream{};
    require(deflateInit2(&stream, 9, Z_DEFLATED, 15 + 16, 9, Z_DEFAULT_STRATEGY) == Z_OK);
    std::string source(text);
    std::string out(deflateBound(&stream, source.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef *>(source.data());
    stream.avail_in = static_cast<uInt>(source.size());
    stream.next_out = reinterpret_cast<Bytef *>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    require(deflate(&stream, Z_FINISH) == Z_STREAM_END);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    return out;
}

void requireAnswer(const Request &request) {
    const Report found = report(request, {"key", "secret"});
    std::size_t problems = found.findings.size();
    for (const Problems &item : found.itemProblems)
        problems += item.size();
    require(problems <= mostProblems + 1);
    require(found.isSound() == (problems == 0 && found.gzip == "sound" && found.json == "sound" &&
                                found.signature == "right"));
    const std::string line = lineAbout(request, found, 200)
                                 .dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    require(line.size() < 10'000 + 3 * problems * 512 + 8 * found.textLength);
}

/// What is taken for JSON is that, and holds the same for the parser.
void requireSameTree(const std::string &text) {
    const JsonText found = readJson(text);
    require(!found.problem.empty() || nlohmann::json::parse(text) == found.value);
}

} // namespace

/// Every body is answered, as it is and as what was packed, with bounded problems and a line.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string_view bytes = fuzzedBytes(data, size);
    for (const char *target : {"/1.0/consents", "/devices_errors", "/"})
        requireAnswer({"POST", target, {{"X-Bundle-Identifier", "a"}}, packed(bytes)});
    requireAnswer({"POST", "/1.0/consents", {}, std::string(bytes)});
    requireSameTree(std::string(bytes));
    return 0;
}
