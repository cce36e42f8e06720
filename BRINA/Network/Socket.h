#pragma once
// The one wrapper of the platform's sockets. The system opens only type 3: IPv6, datagram, IPv6-only.
#include "BRINA/Network/IPAddress.h"

#include <atomic>
#include <cstdint>
#include <vector>

namespace BRINA {

class Socket {
public:
    // Socket types: the family, the kind and whether IPV6_V6ONLY is set.
    enum Type : uint32_t {
        IPv4Stream = 0,
        IPv4Datagram = 1,
        IPv6Stream = 2,
        IPv6Datagram = 3,
        IPv6DualStream = 4,
        IPv6DualDatagram = 5,
    };
    // Results of wait().
    enum WaitResult : int { WaitError = 0, WaitTimeout = 1, WaitReadable = 2 };

    Socket();
    ~Socket();
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    bool open(uint32_t type);
    void close();
    bool isOpen() const;
    bool isStream() const { return type == 0 || type == 2 || type == 4; }
    bool isDatagram() const { return type == 1 || type == 3 || type == 5; }

    bool bind(IPAddress& address);
    void setPeer(const IPAddress& address);
    void getPeer(IPAddress& address) const;
    bool send(const uint8_t* data, uint32_t size, bool retry);
    bool sendTo(const IPAddress& address, const uint8_t* data, uint32_t size, bool retry);
    bool receive(std::vector<uint8_t>& buffer, IPAddress& from);
    int wait(uint32_t microseconds);
    bool setBlocking(bool on);
    // Asks for a receive queue of this many bytes; the system may cap it.
    bool setReceiveBuffer(uint32_t bytes);
    bool joinGroup(const IPAddress& group);

    // Thin wrappers that nothing in the system uses yet.
    void shutdown();
    bool setInterface(uint32_t index);
    bool joinGroup4(const IPAddress& group, const IPAddress& interfaceAddress);
    bool joinGroup4All(const IPAddress& group);
    bool connect(const IPAddress& address);
    bool accept(Socket& socket, IPAddress& from);
    int accept(Socket& socket, IPAddress& from, uint32_t microseconds);
    int32_t sendStream(const uint8_t* data, uint32_t size);
    int32_t receiveStream(uint8_t* data, uint32_t size);
    bool sendTo4(const uint8_t* data, uint32_t size, const IPAddress& address, bool retry);
    bool receive4(std::vector<uint8_t>& buffer, IPAddress& from);

    uint32_t receiveSize = 1500;
    std::atomic<int32_t> lastError{0}; // written by whichever thread failed last; read after a failure

    bool isBlocking() const { return blocking; }
    uint32_t boundScope() const { return scope; }
    uint32_t socketType() const { return type; }

private:
    // The one path of all sends: one attempt, or with retry on until the system took every byte.
    bool sendAll(const IPAddress& to, bool ipv4Record, const uint8_t* data, uint32_t size, bool retry);

    intptr_t handle = -1; // -1 is invalid
    IPAddress peer;       // default destination of send(), scope already resolved by setPeer()
    uint32_t type = 0;
    bool blocking = true;
    uint32_t scope = 0; // interface index the socket is bound to; 0 for none
};

} // namespace BRINA
