#pragma once
// tessera-find's command line: what to do (list, watch, settings, a setting, an upload) and on which link.
#include <cstdint>
#include <string>
#include <vector>

namespace TESSERA {

struct FindOptions {
    enum class Mode { List, Watch, Settings, Set, Upload };
    Mode mode = Mode::List;
    std::string interfaceName, productText = "QUINTARA", hostName = "tessera-find", target;
    uint32_t output = 1;
    uint32_t seconds = 0; // --watch ends after this many; 0: on Ctrl-C only
    bool json = false, brief = false, showLog = false, help = false;
    std::vector<std::string> operands; // ADDRESS, KEY=VALUE, SLOT, FILE as the mode takes them
};

// Reads the arguments; false with the reason in error (the caller exits with status 2).
bool readFindOptions(const std::vector<std::string>& arguments, FindOptions& options, std::string& error);
std::string findUsage();

} // namespace TESSERA
