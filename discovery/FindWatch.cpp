// The watch: startup, then rounds of a multicast search and a period of listening to NOTIFY.
#include "BRINA/LogStream.h"
#include "BRINA/Time.h"
#include "discovery/Find.h"
#include "transport/wire/DiscoveryMessages.h"

#include <algorithm>
#include <cstdio>
#include <set>

namespace TESSERA {

namespace {

namespace DM = DiscoveryMessages;
using BRINA::IPAddress;

constexpr uint32_t kTracedLength = 300; // longest datagram traced at level 7

// What the watch keeps of one sender of NOTIFY.
struct WatchEntry {
    bool valid = false;
    uint16_t counter = 0;
    uint32_t lastChange = 0;
    uint64_t productId = kNoProduct;
    std::string targetName;
};

// True when more than span microseconds have passed since start, by the wrap-around rule.
bool over(uint32_t start, uint32_t span) {
    return static_cast<int32_t>((BRINA::nowMicroseconds() - start) - span) > 0;
}

IPAddress allNodes(uint32_t scope) {
    const uint8_t group[16] = {0xFF, 0x02, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    return IPAddress(group, 0, scope);
}

void trace(const IPAddress& from, const std::vector<uint8_t>& datagram) {
    if (datagram.size() > kTracedLength) return;
    BRINA::LogStream line(7);
    if (!line.active()) return;
    std::string hex;
    char digits[3];
    for (uint8_t b : datagram) {
        std::snprintf(digits, sizeof digits, "%02x", b);
        hex += digits;
    }
    line << from.toStringWithPort() << " " << from.scope() << " " << hex;
}

} // namespace

bool Find::openWatch() {
    watchSocket.close();
    if (!watchSocket.open(BRINA::Socket::IPv6Datagram)) {
        BRINA::LogStream(3, "error socket open Find::open");
        return false;
    }
    IPAddress any;
    any.setPort(kNotifyPort);
    if (!watchSocket.bind(any)) {
        BRINA::LogStream(3, "error socket bind Find::open");
        return false;
    }
    for (const IPAddress& local : localInterfaces()) {
        if (local.scope() == 0) continue;
        if (!watchSocket.joinGroup(allNodes(local.scope()))) {
            BRINA::LogStream(3, "MULTI  member error:") << discoverySocket.lastError.load();
            return false;
        }
    }
    std::lock_guard<std::mutex> lock(tableMutex);
    table.clear();
    removedList.clear();
    addedList.clear();
    watching = false;
    return true;
}

void Find::startWatch() {
    joinWatch();
    watching = true;
    watchThread = std::thread([this] {
        watchLoop();
        watching = false;
    });
}

void Find::joinWatch() {
    if (watchThread.joinable()) watchThread.join();
}

SendResult Find::stillThere(const IPAddress& address, const char* retryLog) {
    for (int attempt = 0; attempt < 3; ++attempt) {
        std::vector<uint8_t> answer;
        const SendResult result = sendAck(address, DM::findRequest(false), FIND_ANS, answer);
        if (result == SendResult::error) return result;
        uint64_t product = 0;
        std::string name;
        if (result == SendResult::answered &&
            DM::readFindAnswer(BRINA::BufferCS_const(answer), product, name)) {
            BRINA::LogStream(6, "can not lost: ") << product;
            return result;
        }
        BRINA::LogStream(6, retryLog);
    }
    return SendResult::timeout;
}

void Find::watchLoop() {
    FoundMap found;
    std::set<IPAddress> known;
    // Startup: until a receiver is found twice over, or the limit; a stop waits for its end.
    const uint32_t t0 = BRINA::nowMicroseconds();
    while (found.empty() && !over(t0, watchTimes.startupLimit)) {
        if (!findMulti(found, true)) return;
        if (!found.empty()) {
            if (!findMulti(found, true)) return;
            if (!found.empty()) {
                BRINA::LogStream(6, "Startup mode finish");
                break;
            }
        }
        BRINA::LogStream(6, "Startup mode retry");
        BRINA::sleepMilliseconds(watchTimes.wait / 1000);
    }
    bool firstPass = true;
    while (watching) {
        if (!firstPass) {
            found.clear();
            if (!findMulti(found, true)) return;
        }
        firstPass = false;
        for (const IPAddress& address : known) {
            if (found.count(address) != 0) continue;
            const SendResult result = stillThere(address, "retry 1");
            if (result == SendResult::error) return;
            if (result == SendResult::answered) continue;
            BRINA::LogStream(6, "lost 1");
            remTarget(address);
        }
        known.clear();
        for (const auto& [address, receiver] : found) {
            if (!addTarget(address, receiver.productId, receiver.targetName)) return;
            known.insert(address);
        }

        // Listening: NOTIFY keeps a receiver alive; a sender silent for a stage is asked directly.
        std::map<IPAddress, WatchEntry> heard;
        const uint32_t t1 = BRINA::nowMicroseconds();
        bool stageTwo = false, compared = false;
        const char* ending = nullptr;
        while (watching && ending == nullptr) {
            const int waited = watchSocket.wait(watchTimes.wait);
            if (waited == BRINA::Socket::WaitError) return;
            if (waited == BRINA::Socket::WaitReadable) {
                std::vector<uint8_t> datagram;
                IPAddress from;
                if (!watchSocket.receive(datagram, from)) return;
                if (datagram.empty()) continue;
                trace(from, datagram);
                if (!interfaces.empty() &&
                    std::none_of(interfaces.begin(), interfaces.end(),
                                 [&from](const IPAddress& a) { return a.scope() == from.scope(); }))
                    continue;
                const BRINA::BufferCS_const message(datagram);
                uint16_t counter = 0;
                if (!Packet::isValid(message)) {
                    BRINA::LogStream(7, "Receive Data Err:") << static_cast<uint32_t>(datagram.size());
                    continue;
                }
                if (DM::readNotify(message, counter)) {
                    WatchEntry& entry = heard[from];
                    if (!entry.valid) {
                        entry.valid = true;
                        entry.counter = counter;
                        entry.lastChange = BRINA::nowMicroseconds();
                        if (!probeTarget(from, entry.productId, entry.targetName)) return;
                        known.insert(from);
                        if (entry.productId != kNoProduct &&
                            !addTarget(from, entry.productId, entry.targetName))
                            return;
                    } else if (counter != entry.counter) {
                        entry.counter = counter;
                        entry.lastChange = BRINA::nowMicroseconds();
                        // 0 comes after a restart of the receiver: ask it anew.
                        if (counter == 0 && !probeTarget(from, entry.productId, entry.targetName)) return;
                        if (entry.productId != kNoProduct &&
                            !addTarget(from, entry.productId, entry.targetName))
                            return;
                    }
                }
            }
            if (!stageTwo) {
                if (!over(t1, watchTimes.stage)) continue;
                stageTwo = true;
            }
            if (heard.empty()) {
                ending = "exit notify mode alldown : ";
                break;
            }
            for (auto& [address, entry] : heard) {
                if (!over(entry.lastChange, watchTimes.stage)) continue;
                const SendResult result = stillThere(address, "retry 2");
                if (result == SendResult::error) return;
                if (result == SendResult::answered) {
                    entry.lastChange = BRINA::nowMicroseconds();
                    continue;
                }
                BRINA::LogStream(6, "lost 2");
                entry.valid = false;
                remTarget(address);
                known.erase(address);
            }
            if (std::none_of(heard.begin(), heard.end(), [](const auto& e) { return e.second.valid; })) {
                ending = "exit notify mode alldown : ";
                break;
            }
            if (!compared) {
                compared = true;
                if (std::any_of(found.begin(), found.end(),
                                [&heard](const auto& f) { return heard.count(f.first) == 0; })) {
                    ending = "exit notify mode nomuch : ";
                    break;
                }
            }
            if (over(t1, watchTimes.period)) ending = "exit time mode : ";
        }
        if (ending != nullptr) BRINA::LogStream(6, ending) << targetCount();
    }
}

} // namespace TESSERA
