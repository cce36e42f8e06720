#include "tools/receiver/TargetDiscoveryMessages.h"

#include "tools/receiver/TargetCommands.h"
#include "tools/receiver/TargetWireBasics.h"

namespace TESSERA::TargetWire {

bool readFindRequest(BRINA::BufferCS_const message, uint16_t& searchKind) {
    PacketHeader header;
    if (!readHeader(message, FIND_REQ, header)) return false;
    searchKind = header.word8();
    return true;
}

bool readOutputRequest(BRINA::BufferCS_const message, uint16_t& index) {
    PacketHeader header;
    if (!readHeader(message, OUTPUT_REQ, header)) return false;
    index = header.word8();
    return true;
}

bool readInfoRequest(BRINA::BufferCS_const message) {
    PacketHeader header;
    return readHeader(message, INFO_REQ, header);
}

bool readHostRequest(BRINA::BufferCS_const message, uint64_t& productId, std::string& hostName) {
    PacketHeader header;
    if (!readHeader(message, HOST_REQ, header)) return false;
    productId = header.value64();
    hostName = payloadText(message);
    return true;
}

bool readNopBreakRequest(BRINA::BufferCS_const message) {
    PacketHeader header;
    return readHeader(message, NOPBREAK_REQ, header);
}

Packet findAnswer(uint64_t productId, const std::string& name) {
    return withText(answerValue(FIND_ANS, productId), name);
}

Packet outputCountAnswer(uint16_t count) {
    return answer(OUTPUT_ANS, count);
}

Packet outputAnswer(uint16_t controlPort, uint16_t protocolVersion, const std::string& name) {
    return withText(answer(OUTPUT_ANS, 0, 0, controlPort, protocolVersion), name);
}

Packet infoAnswer(const std::string& text) {
    return withText(answer(INFO_ANS), text);
}

Packet hostAnswer() {
    return answer(HOST_ANS);
}

Packet nopBreakAnswer() {
    return answer(NOPBREAK_ANS);
}

Packet notify(uint16_t counter) {
    return Packet(NOTIFY, counter, 0, 0, 0);
}

} // namespace TESSERA::TargetWire
