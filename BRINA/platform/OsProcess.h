#pragma once
// Facts about the running process that only the platform can tell, behind names of our own.
#include <cstdint>

namespace BRINA {

// The identity of a network namespace: the device and inode of its entry under /proc.
struct OsNamespaceId {
    uint64_t device = 0;
    uint64_t inode = 0;
    bool operator==(const OsNamespaceId& o) const { return device == o.device && inode == o.inode; }
};

// The calling thread's network namespace and that of process 1, the machine's own; false when either
// can't be read (no /proc, or process 1 hidden from us).
bool osNetworkNamespaces(OsNamespaceId& own, OsNamespaceId& machine);
bool osStandardOutputIsTerminal();

} // namespace BRINA
