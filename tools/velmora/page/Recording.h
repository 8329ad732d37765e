#pragma once

#include "page/Exchange.h"

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace velmora::page {

/// A recording is a text: a line that says so, then a line of JSON for each request, with the body
/// as it came in base64. It holds neither the secret nor what is found in a request, which is found
/// anew when it is shown; only the verdict on the signature is kept, since that takes the secret.
std::string recordingOf(const Exchange &exchange);

/// Writes a recording while requests come. From one thread at a time.
class Recorder {
public:
    /// Makes the file, for its user alone. Throws std::runtime_error when it is there already or
    /// cannot be made.
    explicit Recorder(const std::string &path);

    /// When it cannot be written any more, a line on standard error tells so, once.
    void add(const Exchange &exchange);

private:
    struct Close {
        void operator()(std::FILE *file) const { std::fclose(file); }
    };
    const std::string path_;
    std::unique_ptr<std::FILE, Close> file_;
};

struct Recording {
    std::vector<Exchange> exchanges;
    /// The line in which it is cut off; 0 when it is whole.
    std::size_t cutInLine = 0;
};

/// Throws std::runtime_error with a sentence for a file that is no recording, one of another
/// version, or damaged before its end.
Recording readRecording(const std::string &path);

} // namespace velmora::page
