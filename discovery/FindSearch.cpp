// The multicast search: sweeps over every interface, the Host's greeting, and the product filter.
#include "BRINA/LogStream.h"
#include "BRINA/Time.h"
#include "discovery/Find.h"
#include "transport/wire/DiscoveryMessages.h"

#include <utility>

namespace TESSERA {

namespace {

namespace DM = DiscoveryMessages;

// ff02::1, all nodes of the link, on the interface with this scope.
BRINA::IPAddress allNodes(uint32_t scope) {
    const uint8_t group[16] = {0xFF, 0x02, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    return BRINA::IPAddress(group, kDiscoveryPort, scope);
}

} // namespace

bool Find::findMultiSend(const Packet& request, AnswerMap& answers) {
    for (const BRINA::IPAddress& local : localInterfaces()) {
        BRINA::LogStream(7, "Find Multi Send : ") << local.scope();
        // Send results are not looked at: an interface that can't send simply stays silent.
        discoverySocket.sendTo(allNodes(local.scope()), request.data(), request.size(), false);
        for (const BRINA::IPAddress& extra : extraDestinations)
            discoverySocket.sendTo(extra, request.data(), request.size(), false);
        const uint32_t start = BRINA::nowMicroseconds();
        uint32_t remaining = kSweepListen;
        for (;;) {
            const int waited = discoverySocket.wait(remaining);
            if (waited == BRINA::Socket::WaitError) return false;
            if (waited == BRINA::Socket::WaitTimeout) break;
            std::vector<uint8_t> datagram;
            BRINA::IPAddress from;
            const uint32_t spent = BRINA::nowMicroseconds() - start;
            remaining = spent >= kSweepListen ? 0 : kSweepListen - spent;
            if (!discoverySocket.receive(datagram, from)) return false;
            BRINA::LogStream(7, "Find Multi Ack Rcv : ") << static_cast<uint32_t>(datagram.size());
            const BRINA::BufferCS_const message(datagram);
            uint16_t command = 0;
            if (!DM::commandOf(message, command) || command != FIND_ANS || !DM::hasContent(message)) continue;
            BRINA::LogStream(7, "FindMultiAck[") << discoverySocket.boundScope() << "," << from.scope()
                                                 << "]Valid : " << from.toStringWithPort();
            answers[from] = std::move(datagram);
        }
    }
    return true;
}

bool Find::findMulti(FoundMap& out, bool watch) {
    const Packet request = DM::findRequest(watch);
    AnswerMap answers;
    for (uint32_t sweep = 0; sweep < kSweeps; ++sweep)
        if (!findMultiSend(request, answers)) return false;
    for (const auto& [address, datagram] : answers) {
        // Every receiver that answered is greeted, also one that the filter refuses next.
        if (!announceHost(address)) return false;
        uint64_t product = 0;
        std::string name;
        DM::readFindAnswer(BRINA::BufferCS_const(datagram), product, name);
        if (matchProduct(product) == kNoProduct) continue;
        out[address] = FoundTarget{product, name};
    }
    return true;
}

bool Find::announceHost(const BRINA::IPAddress& target) {
    std::vector<uint8_t> answer;
    return sendAck(target, DM::hostRequest(cfg.ownProduct, cfg.hostName), HOST_ANS, answer) !=
           SendResult::error;
}

} // namespace TESSERA
