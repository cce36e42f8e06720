#pragma once
// The send trace of the worker at log level 6: the time and size of each datagram sent, in raw blocks.
#include <array>
#include <cstdint>

namespace TESSERA {

class SendTrace {
public:
    static constexpr uint32_t kRecords = 176;
    static constexpr uint32_t kSpanMicroseconds = 50000;

    // Books one send; the block goes to the log when it is full or spans 50 ms.
    void add(uint32_t time, uint32_t messageBytes);

private:
    void flush();

    std::array<uint8_t, 4 + kRecords * 8> block{}; // the head, then pairs of time and size
    uint32_t count = 0;
    uint32_t firstTime = 0;
};

} // namespace TESSERA
