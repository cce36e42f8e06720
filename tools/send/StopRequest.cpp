#include "tools/send/StopRequest.h"

#include <csignal>
#include <signal.h>

namespace TESSERA {

namespace {

volatile std::sig_atomic_t stopAsked = 0;

void onSignal(int) {
    stopAsked = 1;
}

} // namespace

void StopRequest::install() {
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    // The first signal asks for the clean end; should that hang, the second one ends the program.
    action.sa_flags = SA_RESETHAND;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool StopRequest::asked() {
    return stopAsked != 0;
}

} // namespace TESSERA
