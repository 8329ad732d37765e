#include "api/Arguments.h"
#include "api/Call.h"
#include "api/Host.h"
#include "platform/linux/LogSockets.h"

using namespace vmr;
using namespace vmr::api;

extern "C" {

velmora_result velmora_set_log_sink(velmora_log_sink sink, void *context) {
    return call([&] {
        requirePointer(reinterpret_cast<const void *>(sink), "sink");
        Host::shared().setLogSink([sink, context](std::string_view line, LogLevel level) {
            sink(static_cast<velmora_log_level>(level), line.data(), line.size(), context);
        });
    });
}

void velmora_log_to_journal(velmora_log_level level, const char *line, size_t length,
                            void *identifier) {
    const ErrnoKeeper keeper;
    writeToJournal({line, length}, static_cast<LogLevel>(level),
                   static_cast<const char *>(identifier));
}

void velmora_log_to_syslog(velmora_log_level level, const char *line, size_t length,
                           void *identifier) {
    const ErrnoKeeper keeper;
    writeToSyslog({line, length}, static_cast<LogLevel>(level),
                  static_cast<const char *>(identifier));
}

} // extern "C"
