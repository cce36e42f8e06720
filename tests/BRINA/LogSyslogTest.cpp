// ctest-resource-lock: port19640
// Log lines stored by a real syslog daemon: severity, facility local0 and the text unchanged.
#include "BRINA/LogSink.h"
#include "BRINA/LogStream.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace {

namespace fs = std::filesystem;

const char* findRsyslogd() {
    for (const char* p : {"/usr/sbin/rsyslogd", "/sbin/rsyslogd"})
        if (access(p, X_OK) == 0) return p;
    return nullptr;
}

// rsyslogd in the foreground on ::1, port 19640, storing "severity|facility|raw datagram" a line.
class Rsyslog {
public:
    explicit Rsyslog(const fs::path& dir) : out(dir / "stored.log") {
        const fs::path conf = dir / "rsyslog.conf";
        std::ofstream(conf) << "global(workDirectory=\"" << dir.string() << "\")\nmodule(load=\"imudp\")\n"
                            << "input(type=\"imudp\" address=\"::1\" port=\"19640\")\n"
                            << "template(name=\"fields\" type=\"string\" "
                               "string=\"%syslogseverity%|%syslogfacility%|%rawmsg%\\n\")\n"
                            << "*.* action(type=\"omfile\" file=\"" << out.string()
                            << "\" template=\"fields\")\n";
        std::string args[] = {findRsyslogd(), "-n", "-f",
                              conf.string(),  "-i", (dir / "rsyslogd.pid").string()};
        char* argv[] = {args[0].data(), args[1].data(), args[2].data(), args[3].data(),
                        args[4].data(), args[5].data(), nullptr};
        if (posix_spawn(&pid, argv[0], nullptr, nullptr, argv, environ) != 0) pid = -1;
    }
    ~Rsyslog() {
        if (pid > 0 && kill(pid, SIGTERM) == 0) waitpid(pid, nullptr, 0);
    }
    // The first stored line holding text, or "".
    std::string find(const std::string& text) const {
        std::ifstream in(out);
        for (std::string line; std::getline(in, line);)
            if (line.find(text) != std::string::npos) return line;
        return "";
    }
    pid_t pid = -1;
    const fs::path out;
};

TEST(LogSyslogTest, RsyslogStoresEveryLineWithSeverityFacilityAndText) {
    ASSERT_NE(findRsyslogd(), nullptr) << "rsyslogd not found: run scripts/setup.sh";
    const fs::path dir = fs::temp_directory_path() / ("tessera-syslog-" + std::to_string(getpid()));
    fs::create_directories(dir);
    {
        Rsyslog daemon(dir);
        ASSERT_GT(daemon.pid, 0);
        BRINA::initLog(16, nullptr, 19640);
        BRINA::setLogLevel(7);
        // The daemon takes a moment to bind; probe until a line arrives (bounded: 10 s).
        const std::string run = std::to_string(getpid()), tag = "probe-" + run;
        for (int i = 0; i < 100 && daemon.find(tag).empty(); ++i) {
            BRINA::LogStream(6, tag.c_str());
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        ASSERT_NE(daemon.find(tag), "") << "rsyslogd never stored a probe line";
        // clang-format off
        const struct { int32_t level; std::string text; } rows[] = {
            {3, "error line " + run + " code=-5"},
            {4, "warning line " + run + " Underrun "},
            {6, "start SPEED=44100 run " + run},
            {7, "debug line " + run + " 4000000000"},
        };
        // clang-format on
        for (const auto& r : rows)
            BRINA::LogStream(r.level, r.text.c_str());
        for (const auto& r : rows) {
            std::string l;
            for (int i = 0; i < 50 && (l = daemon.find(r.text)).empty(); ++i)
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
            // The datagram: "<PRI>Mmm DD hh:mm:ss localhost " and the text, unchanged to its end.
            const std::string head = std::to_string(r.level) + "|16|<" + std::to_string(128 + r.level) + ">";
            EXPECT_EQ(l.substr(0, head.size()), head) << r.text;
            EXPECT_EQ(l.substr(std::min(l.size(), head.size() + 16)), "localhost " + r.text);
        }
        BRINA::setLogLevel(-1);
    }
    fs::remove_all(dir);
}

} // namespace
