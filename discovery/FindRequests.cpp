// The questions put to one receiver: its Outputs, its information text, and the two searches built on them.
#include "BRINA/LogStream.h"
#include "discovery/Find.h"
#include "transport/wire/DiscoveryMessages.h"
#include "transport/wire/SyncMessages.h"

namespace TESSERA {

namespace {

namespace DM = DiscoveryMessages;
using BRINA::IPAddress;

constexpr char kPlaceholder[] = "[myaddress]";

} // namespace

std::string withAddress(const std::string& text, const IPAddress& address) {
    if (text.size() <= 10) return text;
    const size_t at = text.find(kPlaceholder);
    if (at == std::string::npos) return text;
    std::string out = text;
    out.replace(at, sizeof(kPlaceholder) - 1, "[" + address.toString() + "]");
    return out;
}

bool Find::nopBreak(const IPAddress& target) {
    if (!cfg.nopBreak) return true;
    std::vector<uint8_t> answer;
    // Only the socket matters here: a Target that doesn't answer is asked for its Outputs all the same.
    return sendAck(target, SyncMessages::nopBreakRequest(), NOPBREAK_ANS, answer) != SendResult::error;
}

SendResult Find::askInfo(const IPAddress& target, std::string& text) {
    text.clear();
    std::vector<uint8_t> answer;
    const SendResult result = sendAck(target, DM::infoRequest(), INFO_ANS, answer);
    if (result == SendResult::answered && DM::readTextAnswer(BRINA::BufferCS_const(answer), INFO_ANS, text))
        text = withAddress(text, target);
    return result;
}

bool Find::getOutputCount(const IPAddress& target, uint16_t& count) {
    count = 0;
    if (!nopBreak(target)) return false;
    std::vector<uint8_t> answer;
    const SendResult result = sendAck(target, DM::outputRequest(0), OUTPUT_ANS, answer);
    if (result == SendResult::error) return false;
    DM::OutputAnswer output;
    // A Target that doesn't answer has no Outputs.
    if (result == SendResult::answered && DM::readOutputAnswer(BRINA::BufferCS_const(answer), output) &&
        output.port == 0)
        count = output.count;
    return true;
}

bool Find::getOutput(const IPAddress& target, uint16_t index, IPAddress& key, uint16_t& version,
                     std::string& name) {
    key = IPAddress();
    if (!nopBreak(target)) return false;
    std::vector<uint8_t> answer;
    const SendResult result = sendAck(target, DM::outputRequest(index), OUTPUT_ANS, answer);
    if (result == SendResult::error) return false;
    DM::OutputAnswer output;
    if (result != SendResult::answered || !DM::readOutputAnswer(BRINA::BufferCS_const(answer), output) ||
        output.port == 0)
        return true;
    version = output.version;
    name = output.name;
    if (cfg.maxVersion != 0 && cfg.maxVersion < version) {
        BRINA::LogStream(6, "Tessera Find protocol version not much : ") << cfg.maxVersion << "<" << version;
        return true;
    }
    key = target;
    key.setPort(output.port);
    return true;
}

bool Find::getOutputs(const IPAddress& target, OutputMap& out) {
    uint16_t count = 0;
    if (!getOutputCount(target, count)) return false;
    for (uint16_t index = 1; index <= count && index != 0; ++index) {
        IPAddress key;
        uint16_t version = 0;
        std::string name;
        if (!getOutput(target, index, key, version, name)) return false;
        if (!key.isEmpty()) out[key] = OutputInfo{name, version, index};
    }
    return true;
}

bool Find::find(TargetTable& out) {
    out.clear();
    FoundMap found;
    if (!findMulti(found, false)) return false;
    for (const auto& [address, receiver] : found) {
        if (!announceHost(address)) return false;
        uint16_t count = 0;
        if (!getOutputCount(address, count)) return false;
        std::string text;
        if (askInfo(address, text) == SendResult::error) return false;
        for (uint16_t index = 1; index <= count && index != 0; ++index) {
            IPAddress key;
            uint16_t version = 0;
            std::string name;
            if (!getOutput(address, index, key, version, name)) return false;
            if (key.isEmpty()) continue;
            Target& target = out[key];
            target.productId = receiver.productId;
            target.targetName = receiver.targetName;
            target.outputIndex = index;
            target.reserved = 0;
            target.protocolVersion = version;
            target.outputName = name;
            target.infoText = text;
            target.parentAddress = address;
            BRINA::LogStream(6, "Tessera Find Sink Out: ")
                << target.targetName << " " << target.outputIndex << " " << target.protocolVersion << " ["
                << address.scope() << "]";
        }
    }
    return true;
}

bool Find::getTarget(const IPAddress& address, uint16_t index, IPAddress& key, Target& target) {
    key = IPAddress();
    IPAddress copy = address;
    copy.setPort(kDiscoveryPort);
    for (const IPAddress& local : localInterfaces()) {
        copy.setScope(local.scope());
        uint16_t version = 0;
        std::string name;
        if (!getOutput(copy, index, key, version, name)) return false;
        if (key.isEmpty()) continue;
        target.outputIndex = index;
        target.reserved = 0;
        target.protocolVersion = version;
        target.parentAddress = copy;
        std::vector<uint8_t> answer;
        const SendResult result = sendAck(copy, DM::findRequest(false), FIND_ANS, answer);
        if (result == SendResult::error) return false;
        if (result == SendResult::answered)
            DM::readTextAnswer(BRINA::BufferCS_const(answer), FIND_ANS, target.targetName);
        std::string text;
        const SendResult info = askInfo(copy, text);
        if (info == SendResult::error) return false;
        if (info == SendResult::answered) target.infoText = text;
        return true;
    }
    return true;
}

} // namespace TESSERA
