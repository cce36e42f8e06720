#include "BRINA/platform/OsProcess.h"

#include <sys/stat.h>
#include <unistd.h>

namespace BRINA {

namespace {

bool namespaceOf(const char* path, OsNamespaceId& id) {
    struct stat info {};
    if (::stat(path, &info) != 0) return false;
    id.device = static_cast<uint64_t>(info.st_dev);
    id.inode = static_cast<uint64_t>(info.st_ino);
    return true;
}

} // namespace

bool osNetworkNamespaces(OsNamespaceId& own, OsNamespaceId& machine) {
    // The thread's own entry first: a thread can sit in another namespace than its process.
    if (!namespaceOf("/proc/thread-self/ns/net", own) && !namespaceOf("/proc/self/ns/net", own)) return false;
    return namespaceOf("/proc/1/ns/net", machine);
}

bool osStandardOutputIsTerminal() {
    return ::isatty(STDOUT_FILENO) == 1;
}

} // namespace BRINA
