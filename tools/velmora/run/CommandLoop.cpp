#include "run/CommandLoop.h"

#include "LineInput.h"
#include "run/Commands.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace velmora {
namespace {

void print(const std::string &line) {
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

} // namespace

void runCommandLoop(const Commands &commands) {
    VelmoraKit::RunLoop &loop = VelmoraKit::Velmora::sharedVelmora().mainRunLoop();
    LineInput input;
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
            print(commands.answer(*line, ended));
        }
        if (input.takeTooLong())
            print(R"({"error":"the line is too long and was left out"})");
        ended = ended || !open;
    }
}

} // namespace velmora
