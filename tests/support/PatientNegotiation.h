#pragma once
// The negotiation of a test Host, asked again after a pause when a busy machine kept the Target from
// answering within its 10 ms a question.
#include "BRINA/Network/IPAddress.h"
#include "transport/Sync.h"

#include <cstdint>

namespace TESTING {

// getInfo up to five times, 100, 200, 300 and 400 ms apart; true as soon as one answers in full.
bool getInfoPatiently(TESSERA::Sync& session, const BRINA::IPAddress& control, uint32_t latency = 0,
                      bool nopBreak = false);

} // namespace TESTING
