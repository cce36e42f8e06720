#pragma once
// The platform's sockets behind names of our own: no OS type or number crosses this header.
#include <array>
#include <cstdint>

namespace BRINA {

// A socket handle; -1 is invalid on every platform we build for.
using OsSocketHandle = intptr_t;
constexpr OsSocketHandle kOsInvalidSocket = -1;

enum class OsFamily { IPv4, IPv6 };
enum class OsKind { Stream, Datagram };

// One end of a conversation: 16 address bytes in network order (IPv4 as ::ffff:a.b.c.d), a port, a scope.
struct OsEndpoint {
    std::array<uint8_t, 16> address{};
    uint16_t port = 0;
    uint32_t scope = 0;
};

// How a call ended, in our terms. Busy: the queue is full or empty, try again later.
// Truncated: a datagram was larger than the buffer and is gone.
enum class OsError { None, Busy, Truncated, Failed };

struct OsResult {
    int64_t bytes = 0;             // bytes moved, when error is None
    OsError error = OsError::None; // our reading of the failure
    int32_t code = 0;              // the platform's own error number, for the caller's lastError
    bool ok() const { return error == OsError::None; }
};

// Options that take an integer value; each maps to the platform's option with the same effect.
enum class OsOption {
    Broadcast,           // datagrams to broadcast addresses allowed
    NoDelay,             // stream sockets send small writes at once
    ReuseAddress,        // a port in TIME_WAIT can be bound again
    NoFragment4,         // IPv4 datagrams carry don't-fragment; too large ones fail instead
    NoFragment6,         // IPv6 datagrams are never fragmented by the sender
    V6Only,              // an IPv6 socket refuses IPv4-mapped traffic
    MulticastInterface6, // interface index for outgoing IPv6 multicast
    UnicastInterface6,   // interface index for outgoing IPv6 unicast
    ReceiveBuffer,       // bytes the system may queue for reading; it may grant less
};

// The socket library's start and end for the process; nothing to do on POSIX.
bool osSocketLibraryStart();
void osSocketLibraryStop();

OsSocketHandle osSocketOpen(OsFamily family, OsKind kind);
void osSocketClose(OsSocketHandle handle);
bool osSocketShutdown(OsSocketHandle handle);
bool osSocketSetOption(OsSocketHandle handle, OsOption option, uint32_t value);
bool osSocketSetNonBlocking(OsSocketHandle handle, bool on);

// The family says which record the endpoint is written into.
OsResult osSocketBind(OsSocketHandle handle, OsFamily family, const OsEndpoint& local);
bool osSocketLocalPort(OsSocketHandle handle, uint16_t& port);
bool osSocketListen(OsSocketHandle handle, int32_t backlog);
bool osSocketConnect(OsSocketHandle handle, OsFamily family, const OsEndpoint& remote);
OsSocketHandle osSocketAccept(OsSocketHandle handle, OsEndpoint& from);

OsResult osSocketSendTo(OsSocketHandle handle, OsFamily family, const uint8_t* data, uint32_t size,
                        const OsEndpoint& to);
// A datagram larger than size gives Truncated; from receives the sender in either family.
OsResult osSocketReceiveFrom(OsSocketHandle handle, uint8_t* data, uint32_t size, OsEndpoint& from);
OsResult osSocketSend(OsSocketHandle handle, const uint8_t* data, uint32_t size);
OsResult osSocketReceive(OsSocketHandle handle, uint8_t* data, uint32_t size);

enum class OsWait { Error, Timeout, Readable };
// Waits until the socket is readable or the time is up; 0 microseconds polls.
OsWait osSocketWaitReadable(OsSocketHandle handle, uint32_t microseconds);

bool osSocketJoinGroup6(OsSocketHandle handle, const uint8_t group[16], uint32_t interfaceIndex);
// IPv4 addresses as four bytes in network order; an all-zero interface lets the system choose.
bool osSocketJoinGroup4(OsSocketHandle handle, const uint8_t group[4], const uint8_t interfaceAddress[4]);
bool osSocketSetMulticastInterface4(OsSocketHandle handle, const uint8_t interfaceAddress[4]);

} // namespace BRINA
