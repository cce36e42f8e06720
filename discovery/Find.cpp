#include "discovery/Find.h"

#include "BRINA/LogStream.h"

#include <algorithm>

namespace TESSERA {

namespace {

using BRINA::IPAddress;

// The machine's link-local addresses, and ::1 when asked for, in address order.
bool usableAddresses(bool loopback, BRINA::LocalAddressMap& map) {
    if (BRINA::getMyLocalAddresV6(map, loopback)) return true;
    BRINA::LogStream(3, "error getMyLocalAddresV6 Find::open");
    return false;
}

} // namespace

Find::Find(const FindConfig& config) : cfg(config) {}

Find::~Find() {
    close();
    watchSocket.close();
}

void Find::endWatch() {
    watching = false;
    joinWatch();
}

bool Find::openInterfaces(const std::vector<IPAddress>& list) {
    BRINA::LogStream(6, "Tessera Find Library ReleaseNo : ") << kReleaseNumber;
    endWatch();
    if (discoverySocket.isOpen()) discoverySocket.close();
    if (!list.empty()) {
        interfaces = list;
        std::erase_if(interfaces, [](const IPAddress& a) { return a.scope() == 0; });
    }
    BRINA::LogStream(6, "Find::open ") << static_cast<uint32_t>(interfaces.size());
    if (!discoverySocket.open(BRINA::Socket::IPv6Datagram)) {
        BRINA::LogStream(3, "error socket open Find::open");
        return false;
    }
    IPAddress any;
    if (!discoverySocket.bind(any)) {
        BRINA::LogStream(3, "error socket bind Find::open");
        return false;
    }
    return true;
}

bool Find::open() {
    return openInterfaces({});
}

bool Find::open(const IPAddress& local) {
    if (local.isEmpty()) return open();
    return openInterfaces({local});
}

bool Find::open(uint16_t ifno) {
    if (ifno == 0) return open();
    BRINA::LocalAddressMap usable;
    if (!usableAddresses(cfg.loopback, usable)) return false;
    for (const auto& entry : usable)
        if (entry.first.scope() == ifno && openInterfaces({entry.first})) return true;
    return false;
}

bool Find::open(const std::vector<std::string>& names) {
    BRINA::LocalAddressMap usable;
    if (!usableAddresses(cfg.loopback, usable)) return false;
    std::vector<IPAddress> chosen;
    for (const std::string& name : names) {
        if (name.empty()) continue;
        const auto it = std::find_if(usable.begin(), usable.end(),
                                     [&name](const auto& entry) { return entry.second.name == name; });
        if (it == usable.end()) {
            BRINA::LogStream(3, "not much interface ") << name;
            return false;
        }
        chosen.push_back(it->first);
        BRINA::LogStream(6, "much interface ")
            << name << " " << it->first.toString() << " ifno:" << it->first.scope();
    }
    return openInterfaces(chosen);
}

void Find::close() {
    endWatch();
    discoverySocket.close();
}

std::vector<IPAddress> Find::localInterfaces() const {
    if (!interfaces.empty()) return interfaces;
    std::vector<IPAddress> list;
    BRINA::LocalAddressMap usable;
    if (!usableAddresses(cfg.loopback, usable)) return list;
    for (const auto& entry : usable)
        if (entry.first.scope() != 0) list.push_back(entry.first);
    return list;
}

uint64_t Find::matchProduct(uint64_t id) const {
    if (cfg.targetProduct == 0 || id == 0) {
        BRINA::LogStream(6, "Find Target: ") << id;
        return id;
    }
    if (id == cfg.targetProduct ||
        std::find(cfg.extraProducts.begin(), cfg.extraProducts.end(), id) != cfg.extraProducts.end()) {
        BRINA::LogStream(6, "Terget Producst : ") << id;
        return id;
    }
    BRINA::LogStream(6, "Find Skip : ") << id << " " << cfg.targetProduct;
    return kNoProduct;
}

} // namespace TESSERA
