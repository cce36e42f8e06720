#include "BRINA/Network/Socket.h"

#include "BRINA/Err.h"
#include "BRINA/platform/OsSocket.h"

#include <algorithm>
#include <cstdlib>

namespace BRINA {

namespace {

constexpr const char* kSourcePath = "BRINA/src/Network/Socket";
constexpr int32_t kListenBacklog = 1000;

// Set by the first socket object, made before any thread of the system starts. Two first objects
// racing would only start the library twice, which the platform counts.
std::atomic<bool> libraryStarted{false};

void stopLibraryAtExit() {
    osSocketLibraryStop();
}

OsFamily familyOf(uint32_t type) {
    return type <= Socket::IPv4Datagram ? OsFamily::IPv4 : OsFamily::IPv6;
}

OsEndpoint endpointOf(const IPAddress& address, uint32_t scope) {
    OsEndpoint endpoint;
    std::copy(address.bytes(), address.bytes() + 16, endpoint.address.begin());
    endpoint.port = address.port();
    endpoint.scope = scope;
    return endpoint;
}

} // namespace

Socket::Socket() {
    if (libraryStarted.load(std::memory_order_acquire)) return;
    if (!osSocketLibraryStart()) throw Err(kSourcePath, 79, 0, 0);
    if (std::atexit(stopLibraryAtExit) != 0) throw Err(kSourcePath, 76, 0, 0);
    libraryStarted.store(true, std::memory_order_release);
}

Socket::~Socket() {
    close();
}

bool Socket::open(uint32_t newType) {
    close();
    type = newType;
    scope = 0; // a new handle is bound nowhere, so no scope of an earlier binding applies to it
    if (type > IPv6DualDatagram) return false;
    const OsFamily family = familyOf(type);
    handle = osSocketOpen(family, isStream() ? OsKind::Stream : OsKind::Datagram);
    if (handle == kOsInvalidSocket) return false;
    if (type == IPv4Datagram) {
        if (!osSocketSetOption(handle, OsOption::Broadcast, 1)) {
            close();
            return false;
        }
        osSocketSetNonBlocking(handle, false);
    }
    // The results don't matter: an option that means nothing to a socket changes nothing.
    if (isStream()) osSocketSetOption(handle, OsOption::NoDelay, 1);
    osSocketSetOption(handle, OsOption::ReuseAddress, 1);
    // The sender never fragments; a dual-stack socket carries IPv4 datagrams as well.
    if (family == OsFamily::IPv4 || type >= IPv6DualStream)
        osSocketSetOption(handle, OsOption::NoFragment4, 1);
    if (family == OsFamily::IPv6) {
        osSocketSetOption(handle, OsOption::NoFragment6, 1);
        osSocketSetOption(handle, OsOption::V6Only, type < IPv6DualStream ? 1 : 0);
    }
    blocking = true;
    return true;
}

void Socket::close() {
    if (handle == kOsInvalidSocket) return;
    if (isStream()) osSocketShutdown(handle);
    osSocketClose(handle);
    handle = kOsInvalidSocket;
}

bool Socket::isOpen() const {
    return handle != kOsInvalidSocket;
}

bool Socket::bind(IPAddress& address) {
    scope = 0;
    // Only a link-local address, or ::1 with an interface named, ties the socket to an interface.
    if (address.isLinkLocal() || (address.isLoopback() && address.scope() != 0)) scope = address.scope();
    const OsResult bound = osSocketBind(handle, familyOf(type), endpointOf(address, scope));
    if (!bound.ok()) {
        lastError.store(bound.code, std::memory_order_relaxed);
        return false;
    }
    if (address.port() == 0) {
        uint16_t port = 0;
        if (!osSocketLocalPort(handle, port)) return false;
        address.setPort(port);
    }
    if (isStream() && !osSocketListen(handle, kListenBacklog)) return false;
    // Multicast and unicast leave by the bound interface; a failure here leaves the system's choice.
    if (scope != 0 && osSocketSetOption(handle, OsOption::MulticastInterface6, scope))
        osSocketSetOption(handle, OsOption::UnicastInterface6, scope);
    return true;
}

void Socket::setPeer(const IPAddress& address) {
    peer = IPAddress(address.bytes(), address.port(), scope != 0 ? scope : address.scope());
}

void Socket::getPeer(IPAddress& address) const {
    address = IPAddress(peer.bytes(), peer.port(), scope != 0 ? 0 : peer.scope());
}

bool Socket::send(const uint8_t* data, uint32_t size, bool retry) {
    return sendAll(peer, familyOf(type) == OsFamily::IPv4, data, size, retry);
}

bool Socket::sendAll(const IPAddress& to, bool ipv4Record, const uint8_t* data, uint32_t size, bool retry) {
    const OsEndpoint endpoint = endpointOf(to, to.scope());
    const OsFamily family = ipv4Record ? OsFamily::IPv4 : OsFamily::IPv6;
    bool switched = false;
    bool sent = false;
    for (;;) {
        const OsResult result = osSocketSendTo(handle, family, data, size, endpoint);
        if (!result.ok()) {
            lastError.store(result.code, std::memory_order_relaxed);
            if (!retry || result.error != OsError::Busy) break;
        } else if (result.bytes >= size) {
            sent = true;
            break;
        } else {
            if (!retry) break;
            // Only a stream takes part of the bytes; it goes on with the rest, never repeats them.
            data += result.bytes;
            size -= static_cast<uint32_t>(result.bytes);
        }
        // The next attempt waits in the system instead of spinning.
        if (!blocking) switched = setBlocking(true);
    }
    // Back to non-blocking also after a failure, so that the caller finds the mode it set.
    if (switched) setBlocking(false);
    return sent;
}

bool Socket::sendTo(const IPAddress& address, const uint8_t* data, uint32_t size, bool retry) {
    const IPAddress saved = peer;
    setPeer(address);
    const bool sent = send(data, size, retry);
    peer = saved;
    return sent;
}

bool Socket::receive(std::vector<uint8_t>& buffer, IPAddress& from) {
    buffer.resize(receiveSize);
    OsEndpoint sender;
    const OsResult result = osSocketReceiveFrom(handle, buffer.data(), receiveSize, sender);
    if (result.ok()) {
        from = IPAddress(sender.address.data(), sender.port, sender.scope);
        buffer.resize(static_cast<size_t>(result.bytes));
        return true;
    }
    buffer.clear();
    // Nothing waiting, a signal, or a datagram above receiveSize (dropped): true and empty, as callers
    // expect. Any other failure stays, so false ends the caller's loop instead of spinning it.
    if (result.error == OsError::Busy || result.error == OsError::Truncated) return true;
    lastError.store(result.code, std::memory_order_relaxed);
    return false;
}

int Socket::wait(uint32_t microseconds) {
    switch (osSocketWaitReadable(handle, microseconds)) {
    case OsWait::Readable:
        return WaitReadable;
    case OsWait::Timeout:
        return WaitTimeout;
    case OsWait::Error:
        break;
    }
    return WaitError;
}

bool Socket::setBlocking(bool on) {
    if (!osSocketSetNonBlocking(handle, !on)) return false;
    blocking = on;
    return true;
}

bool Socket::joinGroup(const IPAddress& group) {
    return osSocketJoinGroup6(handle, group.bytes(), group.scope());
}

bool Socket::setReceiveBuffer(uint32_t bytes) {
    return osSocketSetOption(handle, OsOption::ReceiveBuffer, bytes);
}

void Socket::shutdown() {
    osSocketShutdown(handle);
}

bool Socket::setInterface(uint32_t index) {
    return osSocketSetOption(handle, OsOption::MulticastInterface6, index) &&
           osSocketSetOption(handle, OsOption::UnicastInterface6, index);
}

bool Socket::connect(const IPAddress& address) {
    return osSocketConnect(handle, familyOf(type), endpointOf(address, 0));
}

bool Socket::accept(Socket& socket, IPAddress& from) {
    socket.close();
    OsEndpoint remote;
    const OsSocketHandle accepted = osSocketAccept(handle, remote);
    if (accepted == kOsInvalidSocket) return false;
    socket.handle = accepted;
    socket.type = type;
    socket.blocking = true; // an accepted socket starts blocking whatever its listener's mode
    socket.scope = 0;
    std::copy(remote.address.begin(), remote.address.end(), from.bytes());
    from.setPort(remote.port);
    return true;
}

int Socket::accept(Socket& socket, IPAddress& from, uint32_t microseconds) {
    const int ready = wait(microseconds);
    if (ready != WaitReadable) return ready;
    return accept(socket, from) ? WaitReadable : WaitError;
}

int32_t Socket::sendStream(const uint8_t* data, uint32_t size) {
    return static_cast<int32_t>(osSocketSend(handle, data, size).bytes);
}

int32_t Socket::receiveStream(uint8_t* data, uint32_t size) {
    return static_cast<int32_t>(osSocketReceive(handle, data, size).bytes);
}

} // namespace BRINA
