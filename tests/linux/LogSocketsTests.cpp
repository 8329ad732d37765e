#include "platform/linux/LogSockets.h"
#include "platform/linux/OwnedDescriptor.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cstring>
#include <string>

namespace vmr::test {
namespace {

/// What listens in the place of the service.
class LogService : public testing::Test {
protected:
    LogService() {
        sockaddr_un place{};
        place.sun_family = AF_UNIX;
        path.copy(place.sun_path, sizeof place.sun_path - 1);
        EXPECT_EQ(::bind(socket_.get(), reinterpret_cast<sockaddr *>(&place), sizeof place), 0);
    }

    /// The next datagram, or what the file in it holds.
    std::string read() {
        std::string bytes(1 << 20, '\0');
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))];
        iovec part{bytes.data(), bytes.size()};
        msghdr message{};
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        const ssize_t count = ::recvmsg(socket_.get(), &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
        bytes.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
        if (const cmsghdr *attached = CMSG_FIRSTHDR(&message)) {
            int number = -1;
            std::memcpy(&number, CMSG_DATA(attached), sizeof number);
            const OwnedDescriptor file(number);
            struct stat about {};
            ::fstat(file.get(), &about);
            bytes.resize(static_cast<std::size_t>(about.st_size));
            EXPECT_EQ(::pread(file.get(), bytes.data(), bytes.size(), 0), about.st_size);
            EXPECT_LT(::write(file.get(), "x", 1), 0) << "sealed";
        }
        return bytes;
    }

    TemporaryFolder folder_;
    const std::string path = folder_.file("log");
    const OwnedDescriptor socket_{::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
};

std::string journalEntry(const std::string &head, std::string_view size, const std::string &line) {
    return head + "MESSAGE\n" + std::string(size) + line + "\n";
}

TEST_F(LogService, TheJournalGetsALineWholeHoweverLong) {
    writeToJournal("two\n    lines", LogLevel::error, "a kiosk\nFIELD=x", path.c_str());
    EXPECT_EQ(read(), journalEntry("PRIORITY=3\nSYSLOG_IDENTIFIER=a?kiosk?FIELD=x\n",
                                   std::string_view("\x0d\0\0\0\0\0\0\0", 8), "two\n    lines"));
    const std::string line(1024 * 1024, 'x');
    writeToJournal(line, LogLevel::debug, "kiosk", path.c_str());
    EXPECT_EQ(read(), journalEntry("PRIORITY=7\nSYSLOG_IDENTIFIER=kiosk\n",
                                   std::string_view("\0\0\x10\0\0\0\0\0", 8), line));
}

TEST_F(LogService, SyslogGetsPriorityTimeNameAndLine) {
    writeToSyslog("a line", LogLevel::info, std::string(300, 'k').c_str(), path.c_str());
    EXPECT_THAT(read(), testing::MatchesRegex("<14>[A-Z][a-z][a-z] [ 0-9][0-9] "
                                              "[0-9][0-9]:[0-9][0-9]:[0-9][0-9] "
                                              "k{64}\\[[0-9]+\\]: a line"));
}

TEST_F(LogService, WhatTheServiceDoesNotTakeGoesToStandardErrorAtOnce) {
    testing::internal::CaptureStderr();
    // Until nothing more fits, which nobody waits for.
    for (int i = 0; i < 10'000; ++i)
        writeToSyslog("full", LogLevel::warning, nullptr, path.c_str());
    writeToJournal("absent", LogLevel::warning, nullptr, "/nowhere");
    const std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_THAT(errors, testing::HasSubstr("] full\n"));
    EXPECT_THAT(errors, testing::HasSubstr("] absent\n"));
}

} // namespace
} // namespace vmr::test
