// The watch's table of Outputs: merged per receiver, and handed to the user as added and removed keys.
#include "BRINA/LogStream.h"
#include "discovery/Find.h"
#include "transport/wire/DiscoveryMessages.h"

#include <utility>

namespace TESSERA {

namespace {
namespace DM = DiscoveryMessages;
}

bool Find::addTarget(const BRINA::IPAddress& parent, uint64_t id, const std::string& name) {
    // Every request before the lock: the user's thread never waits on the network.
    OutputMap outputs;
    if (!getOutputs(parent, outputs)) return false;
    std::lock_guard<std::mutex> lock(tableMutex);
    for (auto it = table.begin(); it != table.end(); ++it) {
        if (it->second.parentAddress != parent) continue;
        const auto output = outputs.find(it->first);
        if (output != outputs.end() && output->second.outputIndex == it->second.outputIndex &&
            output->second.protocolVersion == it->second.protocolVersion)
            continue;
        BRINA::LogStream(6, "del Target: ") << it->second.targetName << " " << it->second.outputIndex;
        removedList.push_back(it->first);
        table.erase(it);
        break;
    }
    for (const auto& [key, info] : outputs) {
        if (table.count(key) != 0) continue;
        Target& target = table[key];
        target.productId = id;
        target.outputIndex = info.outputIndex;
        target.protocolVersion = info.protocolVersion;
        target.outputName = info.outputName;
        target.targetName = name;
        target.parentAddress = parent;
        addedList.push_back(key);
        BRINA::LogStream(6, "add Target: ") << name << " " << info.outputIndex;
    }
    return true;
}

void Find::remTarget(const BRINA::IPAddress& parent) {
    std::lock_guard<std::mutex> lock(tableMutex);
    for (auto it = table.begin(); it != table.end();) {
        if (it->second.parentAddress != parent) {
            ++it;
            continue;
        }
        BRINA::LogStream(6, "rem Target: ") << it->second.targetName << " " << it->second.outputIndex;
        removedList.push_back(it->first);
        it = table.erase(it);
    }
}

void Find::takeAdded(TargetTable& out) {
    out.clear();
    std::lock_guard<std::mutex> lock(tableMutex);
    for (const BRINA::IPAddress& key : addedList) {
        const auto it = table.find(key);
        if (it != table.end()) out.emplace(key, it->second);
    }
    addedList.clear();
}

void Find::takeRemoved(std::list<BRINA::IPAddress>& out) {
    out.clear();
    std::lock_guard<std::mutex> lock(tableMutex);
    std::swap(out, removedList);
}

void Find::eraseTarget(const BRINA::IPAddress& key) {
    std::lock_guard<std::mutex> lock(tableMutex);
    table.erase(key);
}

uint32_t Find::targetCount() {
    std::lock_guard<std::mutex> lock(tableMutex);
    return static_cast<uint32_t>(table.size());
}

bool Find::probeTarget(const BRINA::IPAddress& address, uint64_t& id, std::string& name) {
    std::vector<uint8_t> answer;
    const SendResult result = sendAck(address, DM::findRequest(false), FIND_ANS, answer);
    if (result == SendResult::error) return false;
    if (!announceHost(address)) return false;
    uint64_t product = 0;
    if (result != SendResult::answered || !DM::readFindAnswer(BRINA::BufferCS_const(answer), product, name)) {
        id = kNoProduct;
        return true;
    }
    id = matchProduct(product);
    return true;
}

} // namespace TESSERA
