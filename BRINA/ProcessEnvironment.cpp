#include "BRINA/ProcessEnvironment.h"

#include "BRINA/platform/OsProcess.h"

namespace BRINA {

NamespaceCheck checkNetworkNamespace() {
    OsNamespaceId own, machine;
    if (!osNetworkNamespaces(own, machine)) return NamespaceCheck::Unknown;
    return own == machine ? NamespaceCheck::Machine : NamespaceCheck::Own;
}

const char* describe(NamespaceCheck check) {
    switch (check) {
    case NamespaceCheck::Own:
        return "in a network namespace of its own";
    case NamespaceCheck::Machine:
        return "in the machine's own network namespace";
    case NamespaceCheck::Unknown:
        break;
    }
    return "unable to compare its network namespace with process 1's";
}

bool standardOutputIsTerminal() {
    return osStandardOutputIsTerminal();
}

} // namespace BRINA
