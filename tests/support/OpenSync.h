#pragma once
// A session whose negotiated facts a test sets by hand, where a Target's answers would set them.
#include "transport/Sync.h"

namespace TESTING {

class OpenSync : public TESSERA::Sync {
public:
    using Sync::copyRoutine;
    using Sync::dsdLsbMask;
    using Sync::dsdMsbMask;
    using Sync::latency;
    using Sync::pcmMask;
    using Sync::sinkFormat;
    using Sync::sourceFormat;
    using Sync::target;
};

} // namespace TESTING
