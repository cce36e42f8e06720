// tessera-find: searches the link-local networks for Targets as the driver does, or looks up one pinned
// receiver, and lists the Outputs it finds.
#include "BRINA/ConsoleLog.h"
#include "BRINA/LogSink.h"
#include "BRINA/Network/IPAddress.h"
#include "BRINA/ProcessEnvironment.h"
#include "discovery/Find.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

const char* kUsage = R"(usage: tessera-find [options]

Searches every link-local interface for Targets by multicast, as the driver does when it starts,
and lists each Output of each Target of the product asked for, in address order. With --target it
asks one receiver at a known address instead, as the driver does for a Target named in its settings.

  --interface NAME    search on this interface only (default: every one with a link-local address)
  --product TEXT      the product of the Targets to list, eight characters (default QUINTARA);
                      any lists Targets of every product
  --target ADDRESS    look up the receiver at ADDRESS instead of searching
  --output N          with --target: the Output's number (default 1)
  --host NAME         the name this Host gives each Target (default tessera-find)
  --log               show the search's log on the terminal
  --help              this text

The search multicasts, so it runs only inside a network namespace of its own (unshare -n, ip netns).
Exit status: 0 when an Output was found, 1 when none was (or the search was refused), 2 on bad
arguments, 3 when a socket failed.
)";

void print(const BRINA::IPAddress& key, const TESSERA::Target& t) {
    std::printf("%s  %s, Output %u \"%s\", version %u\n", key.toStringWithPort().c_str(),
                t.targetName.c_str(), t.outputIndex, t.outputName.c_str(), t.protocolVersion);
    if (!t.infoText.empty()) std::printf("    %s\n", t.infoText.c_str());
}

} // namespace

int main(int argc, char** argv) {
    std::string interfaceName, productText = TESSERA::kProductText, targetText, hostName = "tessera-find";
    unsigned long output = 1;
    bool showLog = false;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "--help" || arg == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        } else if (arg == "--log") {
            showLog = true;
        } else if (arg == "--interface" && hasValue) {
            interfaceName = argv[++i];
        } else if (arg == "--product" && hasValue) {
            productText = argv[++i];
        } else if (arg == "--target" && hasValue) {
            targetText = argv[++i];
        } else if (arg == "--host" && hasValue) {
            hostName = argv[++i];
        } else if (arg == "--output" && hasValue) {
            char* end = nullptr;
            output = std::strtoul(argv[++i], &end, 10);
            if (*end != '\0' || output == 0 || output > 0xFFFF) {
                std::fprintf(stderr, "tessera-find: bad value for --output: %s\n", argv[i]);
                return 2;
            }
        } else {
            std::fprintf(stderr, "tessera-find: unknown option %s (see --help)\n", arg.c_str());
            return 2;
        }
    }
    TESSERA::FindConfig config;
    config.hostName = hostName;
    config.targetProduct = productText == "any" ? 0 : TESSERA::makeProductId(productText);
    if (config.targetProduct == TESSERA::kNoProduct || (productText != "any" && productText.size() != 8)) {
        std::fprintf(stderr, "tessera-find: a product is eight characters, or any: %s\n",
                     productText.c_str());
        return 2;
    }
    BRINA::IPAddress pinned;
    if (!targetText.empty() && !pinned.parse(targetText)) {
        std::fprintf(stderr, "tessera-find: not an IPv6 address: %s\n", targetText.c_str());
        return 2;
    }
    // Checked before any interface is looked at or any datagram sent.
    const BRINA::NamespaceCheck where = BRINA::checkNetworkNamespace();
    if (where != BRINA::NamespaceCheck::Own) {
        std::fprintf(stderr,
                     "tessera-find: search refused: the process is %s; run it inside a network namespace "
                     "of its own (unshare -n, ip netns exec)\n",
                     BRINA::describe(where));
        return 1;
    }
    if (showLog) {
        BRINA::ConsoleLog::start(16, 19640);
        BRINA::setLogLevel(7);
    }
    TESSERA::Find find(config);
    const bool opened =
        interfaceName.empty() ? find.open() : find.open(std::vector<std::string>{interfaceName});
    if (!opened) {
        std::fprintf(stderr, "tessera-find: cannot search on %s\n",
                     interfaceName.empty() ? "this machine" : interfaceName.c_str());
        return interfaceName.empty() ? 3 : 2;
    }
    TESSERA::TargetTable table;
    if (targetText.empty()) {
        if (!find.find(table)) {
            std::fprintf(stderr, "tessera-find: a socket failed during the search\n");
            return 3;
        }
    } else {
        BRINA::IPAddress key;
        TESSERA::Target target;
        if (!find.getTarget(pinned, static_cast<uint16_t>(output), key, target)) {
            std::fprintf(stderr, "tessera-find: a socket failed while asking %s\n", targetText.c_str());
            return 3;
        }
        if (!key.isEmpty()) table[key] = target;
    }
    for (const auto& [key, target] : table)
        print(key, target);
    if (table.empty()) std::printf("no Target found\n");
    return table.empty() ? 1 : 0;
}
