#pragma once
// What a tool must know about where it runs before it does something that reaches beyond the machine.
namespace BRINA {

enum class NamespaceCheck {
    Own,     // a network namespace other than process 1's: multicast stays inside it
    Machine, // the machine's own network namespace: multicast would leave by real interfaces
    Unknown, // the namespaces can't be compared (process 1 hidden, no /proc): treated as Machine
};

// Compares the calling thread's network namespace with process 1's.
NamespaceCheck checkNetworkNamespace();
// Words for a refusal message.
const char* describe(NamespaceCheck check);
bool standardOutputIsTerminal();

} // namespace BRINA
