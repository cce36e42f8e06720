#include "tools/receiver/ResendTracker.h"

#include <algorithm>

namespace TESSERA {

ResendTracker::Action ResendTracker::poll(bool gap, int64_t firstMissing, uint64_t missingSinceUs,
                                          uint64_t nowUs) {
    if (!gap) {
        tracking = false;
        return Action::None;
    }
    if (!tracking || firstMissing != tracked) {
        tracking = true;
        tracked = firstMissing;
        sent = 0;
        // A request sent after this packet was known missing made the Host repeat it already.
        covered = askedOnce && lastAskUs >= missingSinceUs;
    }
    if (nowUs >= missingSinceUs && nowUs - missingSinceUs >= kGiveUpAfterUs) return Action::GiveUp;
    const uint32_t attempts = sent + (covered ? 1 : 0);
    if (attempts == 0) return Action::Ask;
    // One interval before the first repeat, two before each further one: a wait that kept doubling would
    // let a packet whose repeats are lost too outlast the play-out buffer after three or four tries.
    const uint64_t wait = retryUs << std::min<uint32_t>(attempts - 1, 1);
    if (nowUs < lastAskUs + wait) return Action::None;
    return attempts >= kMaxRequests ? Action::GiveUp : Action::Ask;
}

void ResendTracker::asked(uint64_t nowUs) {
    ++sent;
    askedOnce = true;
    lastAskUs = nowUs;
}

} // namespace TESSERA
