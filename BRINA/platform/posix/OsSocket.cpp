#include "BRINA/platform/OsSocket.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace BRINA {

namespace {

#ifdef MSG_NOSIGNAL
constexpr int kSendFlags = MSG_NOSIGNAL; // a stream closed by its peer fails with EPIPE instead of SIGPIPE
#else
constexpr int kSendFlags = 0;
#endif

int fd(OsSocketHandle handle) {
    return static_cast<int>(handle);
}

// A signal that interrupts a call leaves nothing done, so trying again is right: it counts as busy.
OsResult failure(int code) {
    OsResult result;
    result.bytes = -1;
    result.code = code;
    const bool busy = code == EAGAIN || code == EWOULDBLOCK || code == ENOBUFS || code == EINTR;
    result.error = busy ? OsError::Busy : OsError::Failed;
    return result;
}

OsResult done(int64_t bytes) {
    OsResult result;
    result.bytes = bytes;
    return result;
}

socklen_t toRecord(OsFamily family, const OsEndpoint& endpoint, sockaddr_storage& record) {
    std::memset(&record, 0, sizeof record);
    if (family == OsFamily::IPv4) {
        sockaddr_in in{};
        in.sin_family = AF_INET;
        in.sin_port = htons(endpoint.port);
        std::memcpy(&in.sin_addr, endpoint.address.data() + 12, 4);
        std::memcpy(&record, &in, sizeof in);
        return sizeof in;
    }
    sockaddr_in6 in6{};
    in6.sin6_family = AF_INET6;
    in6.sin6_port = htons(endpoint.port);
    std::memcpy(&in6.sin6_addr, endpoint.address.data(), 16);
    in6.sin6_scope_id = endpoint.scope;
    std::memcpy(&record, &in6, sizeof in6);
    return sizeof in6;
}

OsEndpoint fromRecord(const sockaddr_storage& record) {
    OsEndpoint endpoint;
    if (record.ss_family == AF_INET6) {
        sockaddr_in6 in6{};
        std::memcpy(&in6, &record, sizeof in6);
        std::memcpy(endpoint.address.data(), &in6.sin6_addr, 16);
        endpoint.port = ntohs(in6.sin6_port);
        endpoint.scope = in6.sin6_scope_id;
    } else if (record.ss_family == AF_INET) {
        sockaddr_in in{};
        std::memcpy(&in, &record, sizeof in);
        endpoint.address[10] = endpoint.address[11] = 0xFF;
        std::memcpy(endpoint.address.data() + 12, &in.sin_addr, 4);
        endpoint.port = ntohs(in.sin_port);
    }
    return endpoint;
}

bool setInt(int socket, int level, int name, int value) {
    return ::setsockopt(socket, level, name, &value, sizeof value) == 0;
}

// Linux has the option itself (since 3.4), with the index in network byte order; reception stays as it is.
bool setUnicastInterface6(int socket, uint32_t index) {
#if defined(IPV6_UNICAST_IF)
    return setInt(socket, IPPROTO_IPV6, IPV6_UNICAST_IF, static_cast<int>(htonl(index)));
#elif defined(IPV6_BOUND_IF)
    return setInt(socket, IPPROTO_IPV6, IPV6_BOUND_IF, static_cast<int>(index));
#else
    (void)socket;
    (void)index;
    return false;
#endif
}

bool setNoFragment4(int socket, bool on) {
#if defined(IP_MTU_DISCOVER)
    return setInt(socket, IPPROTO_IP, IP_MTU_DISCOVER, on ? IP_PMTUDISC_DO : IP_PMTUDISC_WANT);
#elif defined(IP_DONTFRAG)
    return setInt(socket, IPPROTO_IP, IP_DONTFRAG, on ? 1 : 0);
#else
    (void)socket;
    (void)on;
    return false;
#endif
}

bool setNoFragment6(int socket, bool on) {
#if defined(IPV6_MTU_DISCOVER)
    return setInt(socket, IPPROTO_IPV6, IPV6_MTU_DISCOVER, on ? IPV6_PMTUDISC_DO : IPV6_PMTUDISC_WANT);
#elif defined(IPV6_DONTFRAG)
    return setInt(socket, IPPROTO_IPV6, IPV6_DONTFRAG, on ? 1 : 0);
#else
    (void)socket;
    (void)on;
    return false;
#endif
}

int64_t monotonicNanoseconds() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

} // namespace

bool osSocketLibraryStart() {
    return true;
}

void osSocketLibraryStop() {}

OsSocketHandle osSocketOpen(OsFamily family, OsKind kind) {
    int type = kind == OsKind::Stream ? SOCK_STREAM : SOCK_DGRAM;
#ifdef SOCK_CLOEXEC
    type |= SOCK_CLOEXEC; // a program that the driver starts doesn't inherit its sockets
#endif
    const int socket = ::socket(family == OsFamily::IPv4 ? AF_INET : AF_INET6, type, 0);
    if (socket < 0) return kOsInvalidSocket;
#ifdef SO_NOSIGPIPE
    setInt(socket, SOL_SOCKET, SO_NOSIGPIPE, 1);
#endif
    return socket;
}

void osSocketClose(OsSocketHandle handle) {
    ::close(fd(handle));
}

bool osSocketShutdown(OsSocketHandle handle) {
    return ::shutdown(fd(handle), SHUT_RDWR) == 0;
}

bool osSocketSetOption(OsSocketHandle handle, OsOption option, uint32_t value) {
    const int socket = fd(handle);
    const int on = value != 0 ? 1 : 0;
    switch (option) {
    case OsOption::Broadcast:
        return setInt(socket, SOL_SOCKET, SO_BROADCAST, on);
    case OsOption::NoDelay:
        return setInt(socket, IPPROTO_TCP, TCP_NODELAY, on);
    case OsOption::ReuseAddress:
        return setInt(socket, SOL_SOCKET, SO_REUSEADDR, on);
    case OsOption::NoFragment4:
        return setNoFragment4(socket, on != 0);
    case OsOption::NoFragment6:
        return setNoFragment6(socket, on != 0);
    case OsOption::V6Only:
        return setInt(socket, IPPROTO_IPV6, IPV6_V6ONLY, on);
    case OsOption::MulticastInterface6:
        return setInt(socket, IPPROTO_IPV6, IPV6_MULTICAST_IF, static_cast<int>(value));
    case OsOption::UnicastInterface6:
        return setUnicastInterface6(socket, value);
    case OsOption::ReceiveBuffer:
        return setInt(socket, SOL_SOCKET, SO_RCVBUF, static_cast<int>(std::min<uint32_t>(value, INT32_MAX)));
    }
    return false;
}

// FIONBIO sets the one flag in one call, where fcntl would read and write all file flags.
bool osSocketSetNonBlocking(OsSocketHandle handle, bool on) {
    int value = on ? 1 : 0;
    return ::ioctl(fd(handle), FIONBIO, &value) == 0;
}

OsResult osSocketBind(OsSocketHandle handle, OsFamily family, const OsEndpoint& local) {
    sockaddr_storage record;
    const socklen_t length = toRecord(family, local, record);
    if (::bind(fd(handle), reinterpret_cast<const sockaddr*>(&record), length) != 0) return failure(errno);
    return done(0);
}

bool osSocketLocalPort(OsSocketHandle handle, uint16_t& port) {
    sockaddr_storage record{};
    socklen_t length = sizeof record;
    if (::getsockname(fd(handle), reinterpret_cast<sockaddr*>(&record), &length) != 0) return false;
    port = fromRecord(record).port;
    return true;
}

bool osSocketListen(OsSocketHandle handle, int32_t backlog) {
    return ::listen(fd(handle), backlog) == 0;
}

bool osSocketConnect(OsSocketHandle handle, OsFamily family, const OsEndpoint& remote) {
    sockaddr_storage record;
    const socklen_t length = toRecord(family, remote, record);
    return ::connect(fd(handle), reinterpret_cast<const sockaddr*>(&record), length) == 0;
}

OsSocketHandle osSocketAccept(OsSocketHandle handle, OsEndpoint& from) {
    sockaddr_storage record{};
    socklen_t length = sizeof record;
#ifdef SOCK_CLOEXEC
    const int socket = ::accept4(fd(handle), reinterpret_cast<sockaddr*>(&record), &length, SOCK_CLOEXEC);
#else
    const int socket = ::accept(fd(handle), reinterpret_cast<sockaddr*>(&record), &length);
#endif
    if (socket < 0) return kOsInvalidSocket;
    from = fromRecord(record);
    return socket;
}

OsResult osSocketSendTo(OsSocketHandle handle, OsFamily family, const uint8_t* data, uint32_t size,
                        const OsEndpoint& to) {
    sockaddr_storage record;
    const socklen_t length = toRecord(family, to, record);
    const ssize_t sent =
        ::sendto(fd(handle), data, size, kSendFlags, reinterpret_cast<const sockaddr*>(&record), length);
    if (sent < 0) return failure(errno);
    return done(sent);
}

OsResult osSocketReceiveFrom(OsSocketHandle handle, uint8_t* data, uint32_t size, OsEndpoint& from) {
    sockaddr_storage record{};
    iovec part{data, size};
    msghdr message{};
    message.msg_name = &record;
    message.msg_namelen = sizeof record;
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    const ssize_t received = ::recvmsg(fd(handle), &message, 0);
    if (received < 0) return failure(errno);
    from = fromRecord(record);
    if (message.msg_flags & MSG_TRUNC) {
        OsResult result = failure(EMSGSIZE);
        result.error = OsError::Truncated;
        return result;
    }
    return done(received);
}

OsResult osSocketSend(OsSocketHandle handle, const uint8_t* data, uint32_t size) {
    const ssize_t sent = ::send(fd(handle), data, size, kSendFlags);
    if (sent < 0) return failure(errno);
    return done(sent);
}

OsResult osSocketReceive(OsSocketHandle handle, uint8_t* data, uint32_t size) {
    const ssize_t received = ::recv(fd(handle), data, size, 0);
    if (received < 0) return failure(errno);
    return done(received);
}

// ppoll: no limit on the descriptor's number as with select, and microseconds as the caller gave them.
OsWait osSocketWaitReadable(OsSocketHandle handle, uint32_t microseconds) {
    if (handle == kOsInvalidSocket) return OsWait::Error; // poll would skip it and just sleep
    pollfd entry{fd(handle), POLLIN, 0};
    const int64_t deadline = monotonicNanoseconds() + static_cast<int64_t>(microseconds) * 1000;
    int64_t left = static_cast<int64_t>(microseconds) * 1000;
    for (;;) {
        const timespec timeout{static_cast<time_t>(left / 1000000000), static_cast<long>(left % 1000000000)};
        const int ready = ::ppoll(&entry, 1, &timeout, nullptr);
        if (ready > 0) return (entry.revents & POLLNVAL) != 0 ? OsWait::Error : OsWait::Readable;
        if (ready == 0) return OsWait::Timeout;
        if (errno != EINTR) return OsWait::Error;
        left = deadline - monotonicNanoseconds(); // a signal doesn't shorten the wait
        if (left <= 0) return OsWait::Timeout;
    }
}

bool osSocketJoinGroup6(OsSocketHandle handle, const uint8_t group[16], uint32_t interfaceIndex) {
    ipv6_mreq request{};
    std::memcpy(&request.ipv6mr_multiaddr, group, 16);
    request.ipv6mr_interface = interfaceIndex;
    return ::setsockopt(fd(handle), IPPROTO_IPV6, IPV6_JOIN_GROUP, &request, sizeof request) >= 0;
}

bool osSocketJoinGroup4(OsSocketHandle handle, const uint8_t group[4], const uint8_t interfaceAddress[4]) {
    ip_mreq request{};
    std::memcpy(&request.imr_multiaddr, group, 4);
    std::memcpy(&request.imr_interface, interfaceAddress, 4);
    return ::setsockopt(fd(handle), IPPROTO_IP, IP_ADD_MEMBERSHIP, &request, sizeof request) == 0;
}

bool osSocketSetMulticastInterface4(OsSocketHandle handle, const uint8_t interfaceAddress[4]) {
    in_addr address{};
    std::memcpy(&address, interfaceAddress, 4);
    return ::setsockopt(fd(handle), IPPROTO_IP, IP_MULTICAST_IF, &address, sizeof address) == 0;
}

} // namespace BRINA
