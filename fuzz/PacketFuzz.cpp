// Any datagram through the validity test, payloadSize and every Sync reader: nothing read past its end.
#include "transport/wire/Packet.h"
#include "transport/wire/SyncMessages.h"

#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

using BRINA::BufferCS_const;
using TESSERA::Packet;
using TESSERA::PacketHeader;
namespace SM = TESSERA::SyncMessages;

void check(bool condition) {
    if (!condition) std::abort();
}

// A reader may accept a datagram only when it is a valid message of the reader's command.
void checkReaders(BufferCS_const d, bool valid, uint16_t command) {
    uint16_t a = 0, b = 0, c = 0;
    uint64_t value = 0;
    std::string text;
    SM::StreamInfo info;
    BufferCS_const audio;
    TESSERA::StreamFormat format;
    check(SM::readStreamInfo(d, info) == (valid && command == TESSERA::STREAM_INFO));
    check(!info.resend || info.feedback.kind == TESSERA::FeedbackValue::None);
    check(SM::readConnectAnswer(d, a, info.invert) == (valid && command == TESSERA::CONNECT_ANS));
    check(SM::readFormatAnswer(d, format) == (valid && command == TESSERA::NOPBREAK_ANS));
    check(SM::readProfileAnswer(d, a, b, c) == (valid && command == TESSERA::PROFILE_ANS));
    check(SM::readSyncHostRequest(d, value, text) == (valid && command == TESSERA::SYNCHOST_REQ));
    if (SM::readDataSizeProbe(d, a, b)) check(a == Packet::payloadSize(d));
    if (SM::readStreamData(d, a, b, audio)) check(audio.data + audio.size <= d.data + d.size);
    if (SM::readTargetLogLine(d, text)) check(text.size() == Packet::payloadSize(d));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const BufferCS_const d(data, static_cast<uint32_t>(size));
    const bool valid = Packet::isValid(d);
    const uint16_t payload = Packet::payloadSize(d);
    if (!valid) {
        check(payload == 0);
        checkReaders(d, false, 0);
        return 0;
    }
    const PacketHeader header(data);
    const uint32_t length = header.sizeField() & 0xFFF8u;
    const uint32_t pad = header.sizeField() & 7u;
    check(size >= PacketHeader::kSize && header.magic() == 100 && length <= size);
    // The payload lies inside both the datagram and the length that sizeField states.
    check(PacketHeader::kSize + payload + pad <= (length < 16 + pad ? 16 + pad : length));
    check(PacketHeader::kSize + payload <= size);
    check(payload == Packet::payloadSize(header.sizeField()));
    if (length >= 16 + pad) check(payload == length - pad - 16);
    std::string text;
    check(Packet::readText(d, text) && text.size() == payload);
    // Built again with that payload, a canonical sizeField gives the same payload back.
    Packet again(header.command());
    check(again.setText(text) && Packet::payloadSize(again.header().sizeField()) == payload);
    check(Packet::isValid(again.datagram()) && again.size() == again.datagram().size);
    checkReaders(d, true, header.command());
    return 0;
}
