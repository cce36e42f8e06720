#pragma once
// How long a test Host keeps asking a busy Target: five tries, 100, 200, 300 and 400 ms apart, which
// outlasts a stall of the Target's thread under a sanitizer with the other tests running.
#include "transport/SessionSetup.h"

namespace TESTING {

inline const TESSERA::Patience kTestPatience{5, 100, {}};

} // namespace TESTING
