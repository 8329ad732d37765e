#pragma once

#include "platform/SystemLog.h"

#include <string_view>

namespace vmr {

/// Hand a line to a log service as one datagram, without waiting, from any thread; what its socket
/// does not take goes to standard error. `name` is the program's where it is NULL. Each line opens
/// a socket of its own, so that a host may close all descriptors, fork, or restart the service.

/// The journal's own protocol; a line that is too long for a datagram goes as a sealed file.
void writeToJournal(std::string_view line, LogLevel level, const char *name,
                    const char *socket = "/run/systemd/journal/socket") noexcept;
/// The form that syslog's local socket takes; facility "user".
void writeToSyslog(std::string_view line, LogLevel level, const char *name,
                   const char *socket = "/dev/log") noexcept;

} // namespace vmr
