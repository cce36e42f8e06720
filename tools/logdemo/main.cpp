// tessera-logdemo: turns the log on, writes lines at every level, and shows them arriving at a
// listener on [::1]:19640, as a log viewer would see them.
#include "BRINA/LogSink.h"
#include "BRINA/LogStream.h"
#include "BRINA/Network/IPAddress.h"
#include "BRINA/Network/Socket.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

const char* kUsage = R"(usage: tessera-logdemo [--level N] [--port P]

Turns the driver's log on, writes one line at each severity it uses (3 error, 4 warning,
6 progress, 7 debug) and listens on [::1]:P for the syslog-style datagrams, printing each as it
arrives with its severity and facility. Lines above the level are not built at all.

  --level N   log threshold, -1 to 7 (default 7: everything)
  --port P    listening port on ::1 (default 19640, where a log viewer listens)
  --help      this text

Exit status: 0 when every active line arrived, 1 when one was lost, 2 on bad arguments or
when the port is taken (stop the log viewer that holds it, or pick another port).
)";

bool parseInt(const char* text, long min, long max, long& out) {
    char* end = nullptr;
    out = std::strtol(text, &end, 10);
    return end != text && *end == '\0' && out >= min && out <= max;
}

} // namespace

int main(int argc, char** argv) {
    long level = 7;
    long port = 19640;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        }
        if ((arg == "--level" || arg == "--port") && i + 1 < argc) {
            const bool ok =
                arg == "--level" ? parseInt(argv[++i], -1, 7, level) : parseInt(argv[++i], 1, 65535, port);
            if (!ok) {
                std::fprintf(stderr, "tessera-logdemo: bad value for %s: %s\n", arg.c_str(), argv[i]);
                return 2;
            }
            continue;
        }
        std::fprintf(stderr, "tessera-logdemo: unknown option %s (see --help)\n", arg.c_str());
        return 2;
    }

    static const uint8_t loopback[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    BRINA::Socket listener;
    BRINA::IPAddress where(loopback, static_cast<uint16_t>(port), 0);
    if (!listener.open(BRINA::Socket::IPv6Datagram) || !listener.bind(where)) {
        std::fprintf(stderr, "tessera-logdemo: cannot listen on [::1]:%ld (in use by a log viewer?)\n", port);
        return 2;
    }
    listener.receiveSize = 4096;
    std::printf("listening on [::1]:%ld, log level %ld\n", port, level);

    BRINA::initLog(16, nullptr, static_cast<uint16_t>(port));
    BRINA::setLogLevel(static_cast<int32_t>(level));

    const struct {
        int32_t level;
        const char* name;
        const char* text;
    } lines[] = {{3, "an error", "an error: the Target refused the format"},
                 {4, "a warning", "a warning: the stream buffer ran empty"},
                 {6, "a progress", "progress: start SPEED=44100"},
                 {7, "a debug", "debug detail: sendAck RCV:8"}};
    int expected = 0;
    int received = 0;
    std::vector<uint8_t> datagram;
    for (const auto& l : lines) {
        BRINA::LogStream(l.level, l.text) << " (level " << l.level << ")";
        const bool active = l.level <= level;
        expected += active;
        std::printf("wrote %s line at level %d%s\n", l.name, l.level,
                    active ? "" : ": above the level, not built");
        if (!active) continue;
        BRINA::IPAddress from;
        if (listener.wait(500000) != BRINA::Socket::WaitReadable || !listener.receive(datagram, from) ||
            datagram.empty()) {
            std::printf("  lost: nothing arrived within 500 ms\n");
            continue;
        }
        const std::string text(datagram.begin(), datagram.end());
        const int priority = std::atoi(text.c_str() + 1);
        std::printf("  arrived from [%s]:%u, %zu bytes, facility %d severity %d:\n    %s\n",
                    from.toString().c_str(), from.port(), datagram.size(), priority / 8, priority % 8,
                    text.c_str());
        ++received;
    }
    std::printf("%d of %d active lines arrived\n", received, expected);
    return received == expected ? 0 : 1;
}
