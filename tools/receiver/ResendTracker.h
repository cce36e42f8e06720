#pragma once
// When to ask the Host for the first missing packet, when to ask again, and when to give it up.
// The Host repeats everything from the packet named, so one request covers every later gap as well.
#include <algorithm>
#include <cstdint>

namespace TESSERA {

class ResendTracker {
public:
    enum class Action { None, Ask, GiveUp };

    // A packet missing this long is given up: the Host keeps about a second, and asking for a packet
    // it no longer has ends its stream.
    static constexpr uint64_t kGiveUpAfterUs = 400000;
    static constexpr uint32_t kMaxRequests = 8;

    // Decides for the first missing packet; missingSinceUs is when it was first known missing.
    Action poll(bool gap, int64_t firstMissing, uint64_t missingSinceUs, uint64_t nowUs);
    // A request went out at nowUs.
    void asked(uint64_t nowUs);
    // A request went out for every missing packet below end.
    void reached(int64_t end) { reach = std::max(reach, end); }
    // Whether a request asked for sequence. Meant for a packet that arrives new: below the reach it was
    // missing when the request went out, so it is the Host's repeat.
    bool wasAsked(int64_t sequence) const { return sequence < reach; }
    // The wait before the first repeat of a request; each further one waits twice as long as that.
    void setRetryInterval(uint64_t microseconds) { retryUs = microseconds; }
    uint64_t retryInterval() const { return retryUs; }
    // Requests sent for the packet now tracked.
    uint32_t requests() const { return sent; }

private:
    uint64_t retryUs = 10000;
    bool tracking = false;
    int64_t tracked = 0;
    bool covered = false;   // an earlier request already reached back to the tracked packet
    uint32_t sent = 0;      // requests naming the tracked packet
    bool askedOnce = false; // any request at all in this stream
    uint64_t lastAskUs = 0;
    int64_t reach = INT64_MIN; // one past the newest packet that a request named
};

} // namespace TESSERA
