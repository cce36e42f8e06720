#pragma once
// Captures log lines through the sink's callback, so that tests compare log texts exactly.
#include <cstdint>
#include <string>
#include <vector>

namespace TESTING {

class LogCapture {
public:
    // Sets the threshold to level and starts collecting; the destructor restores -1 and stops.
    explicit LogCapture(int32_t level = 7);
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // The message texts, without the syslog header, in the order they were logged.
    std::vector<std::string> messages() const;
    // The whole datagram texts, header included.
    std::vector<std::string> lines() const;
    bool contains(const std::string& message) const;
    void clear();
};

} // namespace TESTING
