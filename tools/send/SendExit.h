#pragma once
// The exit status of tessera-send, one value for each way a run can end; --help lists them.
namespace TESSERA {

enum SendExit : int {
    ExitDone = 0,       // streamed to the end, or stopped by Ctrl-C, and closed with the Target
    ExitFailed = 1,     // a failure on this side: sockets, the WAV file, no plan fits
    ExitUsage = 2,      // bad arguments
    ExitSilent = 3,     // the Target didn't answer the negotiation
    ExitRefused = 4,    // the Target refused the format or the stream
    ExitEndedEarly = 5, // the stream ended before its end: the Target fell silent or closed it
};

} // namespace TESSERA
