// tessera-send: streams the test signal or a WAV file to a Target, real or software, as the driver does.
#include "tools/send/SendExit.h"
#include "tools/send/SendOptions.h"
#include "tools/send/Sender.h"

#include <cstdio>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    TESSERA::SendOptions options;
    std::string error;
    if (!options.parse(std::vector<std::string>(argv + 1, argv + argc), error)) {
        std::fprintf(stderr, "tessera-send: %s (see --help)\n", error.c_str());
        return TESSERA::ExitUsage;
    }
    if (options.helpAsked) {
        std::fputs(TESSERA::SendOptions::help().c_str(), stdout);
        return TESSERA::ExitDone;
    }
    return TESSERA::Sender(options).run();
}
