#include "tools/receiver/ReceiveWindow.h"

#include <algorithm>
#include <utility>

namespace TESSERA {

namespace {
constexpr uint16_t kHalfRange = 0x8000;
} // namespace

ReceiveWindow::ReceiveWindow(Deliver d, uint32_t ahead) : deliver(std::move(d)), maxAhead(ahead) {}

ReceiveWindow::Arrival ReceiveWindow::accept(uint16_t sequence, BRINA::BufferCS_const audio, uint64_t nowUs) {
    if (!begun) {
        begun = true;
        // The Host numbers from 0, so a low first number means the first packets were lost; a number in
        // the upper half only comes from a sender that starts elsewhere, and the count starts there.
        nextSequence = sequence >= kHalfRange ? sequence : 0;
    }
    // The unwrapped number nearest to the next expected one.
    const auto offset =
        static_cast<int16_t>(static_cast<uint16_t>(sequence - static_cast<uint16_t>(nextSequence)));
    const int64_t unwrapped = nextSequence + offset;
    lastSequence = unwrapped;
    if (offset < 0) return Arrival::Repeat;
    if (static_cast<uint32_t>(offset) > maxAhead) return Arrival::OutOfRange;
    if (offset == 0) {
        deliver(audio);
        ++nextSequence;
        release();
        return Arrival::InOrder;
    }
    if (held.count(unwrapped) != 0) return Arrival::Repeat;
    HeldPacket& packet = held[unwrapped];
    if (audio.size > 0) packet.audio.assign(audio.data, audio.data + audio.size);
    packet.arrivedUs = nowUs;
    return Arrival::Held;
}

void ReceiveWindow::release() {
    while (!held.empty() && held.begin()->first == nextSequence) {
        const HeldPacket& packet = held.begin()->second;
        deliver(BRINA::BufferCS_const(packet.audio));
        held.erase(held.begin());
        ++nextSequence;
    }
}

uint64_t ReceiveWindow::firstGapLength() const {
    return held.empty() ? 0 : static_cast<uint64_t>(held.begin()->first - nextSequence);
}

uint64_t ReceiveWindow::firstGapSince() const {
    uint64_t since = UINT64_MAX;
    for (const auto& entry : held)
        since = std::min(since, entry.second.arrivedUs);
    return held.empty() ? 0 : since;
}

uint64_t ReceiveWindow::skipFirstGap() {
    const uint64_t skipped = firstGapLength();
    if (skipped == 0) return 0;
    nextSequence = held.begin()->first;
    release();
    return skipped;
}

} // namespace TESSERA
