#include "run/CommandLoop.h"

#include "run/Commands.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace velmora {
namespace {

/// Longer than the longest value; a line without an end must not fill the memory.
constexpr std::size_t longestLine = std::size_t{40} << 20;

void print(const std::string &line) {
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

/// Cuts what comes in from standard input into lines.
class Input {
public:
    /// Takes what is there; false at the end of the input.
    bool read() {
        char bytes[65536];
        const ssize_t count = ::read(STDIN_FILENO, bytes, sizeof bytes);
        if (count < 0)
            return errno == EINTR || errno == EAGAIN;
        buffer_.append(bytes, static_cast<std::size_t>(count));
        return count > 0;
    }

    /// The next whole line, or at the end what is left of the input.
    std::optional<std::string> nextLine(bool atEnd) {
        const std::size_t end = buffer_.find('\n', searched_);
        if (end == std::string::npos && (!atEnd || buffer_.empty())) {
            searched_ = buffer_.size();
            return std::nullopt;
        }
        std::string line = buffer_.substr(0, end);
        buffer_.erase(0, end == std::string::npos ? end : end + 1);
        searched_ = 0;
        if (line.ends_with('\r'))
            line.pop_back();
        return line;
    }

    bool isTooLong() const { return buffer_.size() > longestLine; }

private:
    std::string buffer_;
    std::size_t searched_ = 0;
};

} // namespace

void runCommandLoop(const Commands &commands) {
    VelmoraKit::RunLoop &loop = VelmoraKit::Velmora::sharedVelmora().mainRunLoop();
    Input input;
    bool open = true;
    bool ended = false;
    while (!ended) {
        pollfd waiting[] = {{STDIN_FILENO, POLLIN, 0}, {loop.descriptor(), POLLIN, 0}};
        if (poll(waiting, 2, -1) < 0 && errno != EINTR)
            return;
        loop.process();
        if (waiting[0].revents != 0)
            open = input.read();
        while (!ended) {
            const std::optional<std::string> line = input.nextLine(!open);
            if (!line)
                break;
            if (!line->empty())
                print(commands.answer(*line, ended));
        }
        if (input.isTooLong()) {
            print(R"({"error":"the line is too long; the input is given up"})");
            return;
        }
        ended = ended || !open;
    }
}

} // namespace velmora
