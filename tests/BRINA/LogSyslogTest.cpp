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

class Rsyslog {
public:
    explicit Rsyslog(const fs::path& dir) : out(dir / "stored.log") {
        const fs::path conf = dir / "rsyslog.conf";
        std::ofstream(conf) << "global(workDirectory=\"" << dir.string() << "\")\n"
                            << "module(load=\"imudp\")\n"
                            << "input(type=\"imudp\" address=\"::1\" port=\"19640\")\n"
                            << "template(name=\"fields\" type=\"string\" "
                               "string=\"%syslogseverity%|%syslogfacility%|%rawmsg%\\n\")\n"
                            << "*.* action(type=\"omfile\" file=\"" << out.string()
                            << "\" template=\"fields\")\n";
        const std::string pidFile = (dir / "rsyslogd.pid").string();
        std::vector<std::string> args = {findRsyslogd(), "-n", "-f", conf.string(), "-i", pidFile};
        std::vector<char*> argv;
        for (auto& a : args)
            argv.push_back(a.data());
        argv.push_back(nullptr);
        if (posix_spawn(&pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0) pid = -1;
    }
    ~Rsyslog() {
        if (pid > 0) {
            kill(pid, SIGTERM);
            waitpid(pid, nullptr, 0);
        }
    }
    std::vector<std::string> lines() const {
        std::vector<std::string> all(1);
        for (std::ifstream in(out); std::getline(in, all.back());)
            all.emplace_back();
        return all;
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
        const std::string tag = "probe-" + std::to_string(getpid());
        bool ready = false;
        for (int i = 0; i < 100 && !ready; ++i) {
            BRINA::LogStream(6, tag.c_str());
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            for (const auto& l : daemon.lines())
                ready = ready || l.find(tag) != std::string::npos;
        }
        ASSERT_TRUE(ready) << "rsyslogd never stored a probe line";

        const std::string run = std::to_string(getpid());
        const struct {
            int32_t level;
            std::string text;
        } rows[] = {{3, "error line " + run + " code=-5"},
                    {4, "warning line " + run + " Underrun "},
                    {6, "start SPEED=44100 run " + run},
                    {7, "debug line " + run + " 4000000000"}};
        for (const auto& r : rows)
            BRINA::LogStream(r.level, r.text.c_str());

        // Bounded: 5 s for the daemon to store all four lines.
        for (int i = 0; i < 50; ++i, std::this_thread::sleep_for(std::chrono::milliseconds(100))) {
            size_t found = 0;
            for (const auto& l : daemon.lines())
                for (const auto& r : rows)
                    found += l.find(r.text) != std::string::npos;
            if (found == std::size(rows)) break;
        }
        for (const auto& r : rows) {
            // "severity|facility|<PRI>Mmm DD hh:mm:ss localhost " and the text, unchanged to its end.
            const std::string pri = std::to_string(r.level) + "|16|<" + std::to_string(128 + r.level) + ">";
            size_t found = 0;
            for (const auto& l : daemon.lines()) {
                if (l.find(r.text) == std::string::npos) continue;
                ++found;
                EXPECT_EQ(l.substr(0, pri.size()), pri);
                EXPECT_EQ(l.substr(pri.size() + 16), "localhost " + r.text);
            }
            EXPECT_EQ(found, 1u) << "not stored once: " << r.text;
        }
        BRINA::setLogLevel(-1);
    }
    fs::remove_all(dir);
}

} // namespace
