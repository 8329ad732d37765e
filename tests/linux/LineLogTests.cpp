#include "platform/linux/LineLog.h"
#include "platform/linux/OwnedDescriptor.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace vmr::test {
namespace {

using testing::ElementsAre;

/// Standard error goes into a pipe as long as this lives.
class CapturedStandardError {
public:
    CapturedStandardError() : saved_(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)) {
        int ends[2];
        EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
        reader_ = OwnedDescriptor(ends[0]);
        const OwnedDescriptor writer(ends[1]);
        ::dup2(writer.get(), STDERR_FILENO);
    }
    ~CapturedStandardError() { restore(); }

    void closeReader() { OwnedDescriptor closed = std::move(reader_); }
    std::string text() {
        restore();
        std::string all;
        char piece[4096];
        for (ssize_t count = 0; (count = ::read(reader_.get(), piece, sizeof piece)) > 0;)
            all.append(piece, static_cast<std::size_t>(count));
        return all;
    }
    void restore() { ::dup2(saved_.get(), STDERR_FILENO); }

private:
    OwnedDescriptor saved_;
    OwnedDescriptor reader_;
};

TEST(StandardErrorTest, ALineCarriesDateProgramProcessAndThread) {
    CapturedStandardError captured;
    writeToStandardError("[VMR] text\nwith a second line");
    EXPECT_THAT(captured.text(),
                testing::MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\."
                                      "[0-9]{6}[+-][0-9]{4} velmora_[a-z_]*\\[[0-9]+:[0-9]+\\] "
                                      "\\[VMR\\] text\nwith a second line\n"));
}

TEST(StandardErrorTest, LinesOfSeveralThreadsStayWhole) {
    CapturedStandardError captured;
    std::vector<std::thread> threads;
    for (char letter : {'a', 'b', 'c'})
        threads.emplace_back([letter] {
            for (int line = 0; line < 20; ++line)
                writeToStandardError(std::string(300, letter));
        });
    for (auto &thread : threads)
        thread.join();
    const std::string all = captured.text();
    std::size_t lines = 0;
    for (std::size_t start = 0; start < all.size(); ++lines) {
        const std::size_t end = all.find('\n', start);
        ASSERT_NE(end, std::string::npos);
        const std::string line = all.substr(all.find("] ", start) + 2, 301);
        EXPECT_EQ(line, std::string(300, line.front()) + "\n");
        start = end + 1;
    }
    EXPECT_EQ(lines, 60U);
}

TEST(StandardErrorTest, AReaderThatDoesNotReadHoldsUpNobody) {
    CapturedStandardError captured;
    const std::string line(1000, 'x');
    for (int i = 0; i < 1000; ++i) // more than fits
        writeToStandardError(line);
    EXPECT_GT(captured.text().size(), 10 * line.size());
}

TEST(StandardErrorTest, AReaderThatIsGoneRaisesNoSignal) {
    {
        CapturedStandardError captured;
        captured.closeReader();
        errno = ENOENT;
        LineLog(writeToStandardError).write("nobody reads this");
        EXPECT_EQ(errno, ENOENT);
    }
    sigset_t pending;
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    EXPECT_EQ(sigismember(&mask, SIGPIPE), 0);
}

/// What a sink gets of a line.
std::string written(std::string_view line) {
    std::string got;
    LineLog([&](std::string_view text, LogLevel) { got = text; }).write(line);
    return got;
}

TEST(LineLogTest, ATextOfAnotherNeitherSteersATerminalNorPassesForALine) {
    EXPECT_EQ(written("last: a\x1b[2J\r\t\x7f\u009b\u202eb\u2028c\xff\xe2\x82"),
              "last: a\\u001b[2J\\u000d\\u0009\\u007f\\u009b\\u202eb\\u2028c\\xff\\xe2\\x82");
    EXPECT_EQ(written("{\n    a = 1;\n}\n2026-11-21 kiosk[1:1] forged"),
              "{\n        a = 1;\n    }\n    2026-11-21 kiosk[1:1] forged");
    EXPECT_EQ(written("⚠️ ✅ é \\u001b"), "⚠️ ✅ é \\u001b");
    const std::string long1 = written(std::string(100'000'000, 'x'));
    EXPECT_EQ(long1.substr(1024 * 1024), "... (98951424 bytes more)");
}

TEST(LineLogTest, TheSinkMayThrowAndLogItself) {
    std::vector<std::string> lines;
    LineLog *self = nullptr;
    LineLog log([&](std::string_view line, LogLevel) {
        lines.emplace_back(line);
        self->write("about " + lines.back());
        throw std::runtime_error("full");
    });
    self = &log;
    log.write("one");
    log.write("two");
    EXPECT_THAT(lines, ElementsAre("one", "two"));
}

} // namespace
} // namespace vmr::test
