#pragma once
// What one request of TESSERA::Find came to.
namespace TESSERA {

enum class SendResult {
    answered = 0,  // the expected command from the asked address, with HasContent
    error = 1,     // a send, wait or receive failed
    timeout = 2,   // nothing fitting within the answer time
    noContent = 3, // the expected command without HasContent, from wherever it came
    echoed = 4,    // the request's own command came back: refused
};

} // namespace TESSERA
