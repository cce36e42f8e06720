#pragma once
// The transfer plan of the sender's stream: the mode of its options run on the session as the driver's
// start runs it, and the plan in words.
#include "tools/send/SendOptions.h"
#include "transport/Sync.h"

#include <string>

namespace TESSERA {

class SendPlan {
public:
    // After selectFormat: fills the session's profiles for the mode; false when no plan fits.
    static bool apply(Sync& sync, const SendOptions& options);
    // The rows in use, e.g. "Fix, a cycle of 1000 us, 1 packet(s) of 44.100 frames, at most 184 bytes".
    static std::string describe(const Sync& sync);
};

} // namespace TESSERA
