#pragma once
// The Sync session: everything the Host holds for its stream to one Target. For now the formats: what the
// host delivers, what goes on the wire, what the Target takes, and the routine that copies between them.
#include "CopyRoutines.h"
#include "StreamFormat.h"

#include <cstdint>

namespace TESSERA {

// The session with one Target; its sockets, threads and negotiation live here too. The stream buffer
// derives from it.
class Sync {
public:
    Sync() = default;
    virtual ~Sync() = default;
    Sync(const Sync&) = delete;
    Sync& operator=(const Sync&) = delete;

    // Whether the Target takes this concrete format, by the capability mask that its kind and bit order pick.
    bool canFormat(uint32_t typeWord, uint32_t rateWord) const;
    // Settles sourceFormat, sinkFormat and copyRoutine for what the host delivers; on failure none changes.
    bool selectFormat(uint32_t typeWord, uint32_t rateWord);
    // Swaps copyRoutine for the member of its pair that hostInvert XOR targetInvert asks for.
    void setPlayPhase(bool hostInvert, bool targetInvert);

    // Public fields, no accessors: the driver reads formats and masks, the negotiation writes the masks.
    // Set by selectFormat on the host's thread before the worker exists, then switched and called by the
    // worker alone: never touched by two threads at once, so a plain pointer.
    CopyRoutine copyRoutine = copyPlain;
    // What Stream blocks hold. Written by selectFormat before the worker starts; read-only while it runs.
    StreamFormat sourceFormat;
    // What goes on the wire. Same writer and readers as sourceFormat.
    StreamFormat sinkFormat;
    // The Target's capabilities: PCM, DSD of bit order LSB, DSD of bit order MSB. Written by the
    // negotiation on the host's thread; read-only afterwards.
    StreamFormat pcmMask;
    StreamFormat dsdLsbMask;
    StreamFormat dsdMsbMask;
};

} // namespace TESSERA
