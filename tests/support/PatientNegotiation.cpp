#include "tests/support/PatientNegotiation.h"

#include <chrono>
#include <thread>

namespace TESTING {

bool getInfoPatiently(TESSERA::Sync& session, const BRINA::IPAddress& control, uint32_t latency,
                      bool nopBreak) {
    // The pause outlasts a stall of the Target's thread under a sanitizer with the other tests running.
    for (int i = 0; i < 5; ++i) {
        if (i != 0) std::this_thread::sleep_for(std::chrono::milliseconds(100 * i));
        if (session.getInfo(control, latency, nopBreak)) return true;
    }
    return false;
}

} // namespace TESTING
