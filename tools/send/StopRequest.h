#pragma once
// Ctrl-C and SIGTERM as a request to end the stream cleanly: the handler only sets a flag, which the
// main loop reads.
namespace TESSERA {

class StopRequest {
public:
    // Installs the handler for SIGINT and SIGTERM; a second signal takes the default action (the end).
    static void install();
    static bool asked();
};

} // namespace TESSERA
