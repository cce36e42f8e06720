#include "tools/receiver/Capabilities.h"

namespace TESSERA {

namespace {

constexpr uint32_t kPcmChannels = 0x01 | 0x02 | 0x10; // 1, 2 and 8 channels
constexpr uint32_t kPcmKindsDefault =
    0x0200 | 0x0400 | 0x0800 | 0x2000;                       // 16, 24, 32-bit integer, 32-bit float
constexpr uint32_t kPcmRates = 0x0006 | 0x00F8;              // both families, x1 to x16: 44.1 to 768 kHz
constexpr uint32_t kDsdChannels = 0x01 | 0x02 | 0x08 | 0x10; // 1, 2, 6 and 8 channels
constexpr uint32_t kDsdWords =
    0x00010000 | 0x00400000 | 0x00800000 | 0x02000000; // 1 bit, both byte orders, 32-bit words
constexpr uint32_t kDsdRates = 0x0006 | 0x1E00;        // both families, x64 to x512: DSD64 to DSD512
constexpr uint32_t kBitOrders = Capabilities::kDsdLsb | Capabilities::kDsdMsb;

bool within(const StreamFormat& format, const StreamFormat& mask) {
    return (format.type() & ~mask.type()) == 0 && (format.rateBits() & ~mask.rateBits()) == 0;
}

} // namespace

StreamFormat Capabilities::defaultPcm() {
    return StreamFormat(kPcmChannels | kPcmKindsDefault, kPcmRates);
}

StreamFormat Capabilities::defaultDsd(bool lsb) {
    return StreamFormat(kDsdChannels | kDsdWords | (lsb ? kDsdLsb : kDsdMsb), kDsdRates);
}

StreamFormat Capabilities::overview() const {
    uint32_t type = (pcmMask.type() | dsdLsbMask.type() | dsdMsbMask.type()) & ~kBitOrders;
    if (!dsdLsbMask.isEmpty()) type |= kDsdLsb;
    if (!dsdMsbMask.isEmpty()) type |= kDsdMsb;
    return StreamFormat(type, pcmMask.rateBits() | dsdLsbMask.rateBits() | dsdMsbMask.rateBits());
}

StreamFormat Capabilities::answer(uint64_t selector) const {
    if (selector == 0) return overview();
    if (selector & kPcmKinds) return pcmMask;
    if (selector & kDsdLsb) return dsdLsbMask;
    if (selector & kDsdMsb) return dsdMsbMask;
    return StreamFormat();
}

bool Capabilities::accepts(StreamFormat format) const {
    // One channel code, one kind, one bit and byte order for DSD, and a rate that names a real rate.
    if (!format.isValid() || format.rate() == 0) return false;
    if (format.isPcm()) return within(format, pcmMask);
    if (format.type() & kDsdLsb) return within(format, dsdLsbMask);
    return within(format, dsdMsbMask);
}

} // namespace TESSERA
