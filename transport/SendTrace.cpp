#include "transport/SendTrace.h"

#include "BRINA/LittleEndian.h"
#include "BRINA/LogStream.h"

#include <string>

namespace TESSERA {

void SendTrace::add(uint32_t time, uint32_t messageBytes) {
    if (count == 0) firstTime = time;
    BRINA::writeLE32(block.data() + 4 + count * 8, time);
    BRINA::writeLE32(block.data() + 8 + count * 8, messageBytes + 74); // the bytes the link carries
    ++count;
    if (count == kRecords || time - firstTime >= kSpanMicroseconds) flush();
}

void SendTrace::flush() {
    BRINA::writeLE32(block.data(), (count | 0x100u) << 16);
    BRINA::LogStream(6) << std::string(reinterpret_cast<const char*>(block.data()), block.size());
    count = 0;
    block.fill(0);
}

} // namespace TESSERA
