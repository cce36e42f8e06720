#include "BRINA/LogSink.h"
#include "BRINA/LogStream.h"
#include "BRINA/Network/IPAddress.h"
#include "BRINA/Network/Socket.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

std::string stamped(uint8_t priority, int64_t seconds, const char* message) {
    char text[BRINA::kLogLineCapacity];
    std::snprintf(text, sizeof text, "%s%s", BRINA::kLogHeader, message);
    const uint32_t start = BRINA::stampLogHeader(text, priority, seconds);
    return std::string(text + start);
}

TEST(LogSinkTest, HeaderCarriesPriorityAndLocalTime) {
    setenv("TZ", "UTC", 1);
    tzset();
    // clang-format off
    const struct { uint8_t priority; int64_t seconds; const char* expected; } rows[] = {
        {134, 1785765909, "<134>Aug 03 14:05:09 localhost start done"}, // a day below 10 keeps its zero
        {6, 1785765909, "<6>Aug 03 14:05:09 localhost start done"},     // no leading zeros in the priority
        {43, 1798761598, "<43>Dec 31 23:59:58 localhost start done"},
        {255, 0, "<255>Jan 01 00:00:00 localhost start done"},
    };
    // clang-format on
    for (const auto& r : rows)
        EXPECT_EQ(stamped(r.priority, r.seconds, "start done"), r.expected);
}

TEST(LogSinkTest, TwoThreadsGiveWholeSeparateDatagrams) {
    static const uint8_t loopback[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    BRINA::Socket listener;
    BRINA::IPAddress where(loopback, 0, 0);
    ASSERT_TRUE(listener.open(BRINA::Socket::IPv6Datagram) && listener.bind(where));
    listener.receiveSize = 4096;
    BRINA::initLog(16, nullptr, where.port());
    BRINA::setLogLevel(6);

    constexpr int kLines = 200; // per thread
    // The loopback drops what its queue can't hold without telling the sender, so the writers keep at most
    // 32 lines ahead of the reader; they still write at the same time as each other.
    std::atomic<int> written{0}, received{0};
    std::set<std::string> seen;
    std::string fault;
    std::thread reader([&] {
        std::vector<uint8_t> datagram;
        BRINA::IPAddress from;
        while (received.load() < 2 * kLines && listener.wait(2000000) == BRINA::Socket::WaitReadable &&
               listener.receive(datagram, from)) {
            const std::string text(datagram.begin(), datagram.end());
            const std::string message = text.substr(text.find("localhost ") + 10);
            // Whole: one thread's 300 letters and its number, nothing of the other's, no NUL or line end.
            if (text.substr(0, 5) != "<134>" || message.find_first_not_of(message[0]) != 300u ||
                message.find_first_of(std::string("\n\0", 2)) != std::string::npos)
                fault = text;
            seen.insert(message);
            received.fetch_add(1);
        }
    });
    auto writer = [&](char name) {
        const std::string body(300, name);
        for (int i = 0; i < kLines; ++i) {
            for (int spin = 0; spin < 2000 && written.load() - received.load() > 32; ++spin)
                std::this_thread::sleep_for(std::chrono::microseconds(500));
            written.fetch_add(1);
            BRINA::LogStream(6, body.c_str()) << " #" << i;
        }
    };
    std::thread a(writer, 'a'), b(writer, 'b');
    a.join();
    b.join();
    reader.join();
    BRINA::setLogLevel(-1);
    EXPECT_EQ(fault, "");
    EXPECT_EQ(seen.size(), 2u * kLines); // every line once, none in pieces
}

} // namespace
