#include "platform/linux/LogSockets.h"

#include "platform/linux/LineLog.h"
#include "platform/linux/OwnedDescriptor.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace vmr {
namespace {

using Head = std::array<char, 160>;

/// The name without characters that would end its field.
std::array<char, 65> shownName(const char *name) noexcept {
    std::array<char, 65> shown{};
    std::snprintf(shown.data(), shown.size(), "%s",
                  name != nullptr ? name : program_invocation_short_name);
    std::replace_if(
        shown.begin(), shown.end(),
        [](unsigned char c) { return (c > 0 && c <= 0x20) || c == 0x7f; }, '?');
    return shown;
}

/// A file that holds the parts and can never be changed; none where there is no memory.
OwnedDescriptor sealedFile(iovec *parts, std::size_t count) noexcept {
    OwnedDescriptor file(::memfd_create("log", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    const bool isWritten = ::writev(file.get(), parts, static_cast<int>(count)) >= 0 &&
                           ::fcntl(file.get(), F_ADD_SEALS,
                                   F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL) == 0;
    return isWritten ? std::move(file) : OwnedDescriptor();
}

bool send(const char *path, msghdr message) noexcept {
    sockaddr_un place{};
    place.sun_family = AF_UNIX;
    std::snprintf(place.sun_path, sizeof place.sun_path, "%s", path);
    message.msg_name = &place;
    message.msg_namelen = sizeof place;
    const OwnedDescriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    return ::sendmsg(socket.get(), &message, MSG_NOSIGNAL | MSG_DONTWAIT) >= 0;
}

bool send(const char *path, iovec *parts, std::size_t count) noexcept {
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = count;
    return send(path, message);
}

bool sendDescriptor(const char *path, int descriptor) noexcept {
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
    msghdr message{};
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr *attached = CMSG_FIRSTHDR(&message);
    attached->cmsg_level = SOL_SOCKET;
    attached->cmsg_type = SCM_RIGHTS;
    attached->cmsg_len = CMSG_LEN(sizeof(int));
    std::memcpy(CMSG_DATA(attached), &descriptor, sizeof descriptor);
    return send(path, message);
}

} // namespace

void writeToJournal(std::string_view line, LogLevel level, const char *name,
                    const char *socket) noexcept {
    Head head;
    const int length =
        std::snprintf(head.data(), head.size(), "PRIORITY=%d\nSYSLOG_IDENTIFIER=%s\nMESSAGE\n",
                      static_cast<int>(level), shownName(name).data());
    // The form of a text that may hold line feeds: its length, lowest byte first.
    std::array<char, 8> size{};
    for (std::size_t i = 0; i < size.size(); ++i)
        size[i] = static_cast<char>(std::uint64_t{line.size()} >> (8 * i));
    std::array<iovec, 4> parts{piece({head.data(), static_cast<std::size_t>(length)}),
                               piece({size.data(), size.size()}), piece(line), piece("\n")};
    bool isSent = send(socket, parts.data(), parts.size());
    if (!isSent && errno == EMSGSIZE) {
        const OwnedDescriptor file = sealedFile(parts.data(), parts.size());
        isSent = file && sendDescriptor(socket, file.get());
    }
    if (!isSent)
        writeToStandardError(line, level);
}

void writeToSyslog(std::string_view line, LogLevel level, const char *name,
                   const char *socket) noexcept {
    constexpr int userFacility = 8;
    // The names of the C library follow the host's language.
    constexpr char months[] = "JanFebMarAprMayJunJulAugSepOctNovDec";
    const time_t now = ::time(nullptr);
    tm local{};
    ::localtime_r(&now, &local);
    Head head;
    const int length = std::snprintf(
        head.data(), head.size(),
        "<%d>%.3s %2d %02d:%02d:%02d %s[%d]: ", userFacility | static_cast<int>(level),
        months + 3 * local.tm_mon, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
        shownName(name).data(), ::getpid());
    std::array<iovec, 2> parts{piece({head.data(), static_cast<std::size_t>(length)}), piece(line)};
    if (!send(socket, parts.data(), parts.size()))
        writeToStandardError(line, level);
}

} // namespace vmr
