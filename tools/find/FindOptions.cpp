#include "tools/find/FindOptions.h"

#include "tools/common/CommandOptions.h"
#include "tools/common/OptionValues.h"

namespace TESSERA {

namespace {

using S = const std::string&;
using O = FindOptions;
using E = std::string&;

bool setMode(O& o, FindOptions::Mode mode, E e) {
    if (o.mode != FindOptions::Mode::List && o.mode != mode) {
        e = "--watch, --settings, --set and --upload go one at a time";
        return false;
    }
    o.mode = mode;
    return true;
}

const std::vector<CommandOption<FindOptions>> kOptions = {
    {nullptr, nullptr, "Where and what", nullptr},
    {"--interface", "NAME", "search on this interface only (default: every one with a link-local address)",
     [](O& o, S v, E) { return o.interfaceName = v, true; }},
    {"--product", "TEXT", "product of the Targets to list, eight characters (default QUINTARA); any: all",
     [](O& o, S v, E) { return o.productText = v, true; }},
    {"--target", "ADDRESS", "ask the receiver at ADDRESS instead of searching",
     [](O& o, S v, E) { return o.target = v, true; }},
    {"--output", "N", "with --target: the Output's number (default 1)",
     [](O& o, S v, E e) { return setWhole(v, "--output", o.output, e, 1, 0xFFFF); }},
    {"--host", "NAME", "the name this Host gives each Target (default tessera-find)",
     [](O& o, S v, E) { return o.hostName = v, true; }},
    {nullptr, nullptr, "How", nullptr},
    {"--json", nullptr, "the list as JSON, for scripts", [](O& o, S, E) { return o.json = true, true; }},
    {"--brief", nullptr, "leave out what each Output takes (no question to the Outputs)",
     [](O& o, S, E) { return o.brief = true, true; }},
    {"--watch", nullptr, "keep the list live: a line for each Output found or lost, until Ctrl-C",
     [](O& o, S, E e) { return setMode(o, FindOptions::Mode::Watch, e); }},
    {"--seconds", "N", "with --watch: end after N seconds",
     [](O& o, S v, E e) { return setWhole(v, "--seconds", o.seconds, e, 1, 86400); }},
    {"--log", nullptr, "show the search's log on the terminal",
     [](O& o, S, E) { return o.showLog = true, true; }},
    {"--help", nullptr, "this text", [](O& o, S, E) { return o.help = true, true; }},
    {nullptr, nullptr, "One receiver (ADDRESS: its link-local address, found on any interface)", nullptr},
    {"--settings", "ADDRESS", "print the receiver's settings list",
     [](O& o, S v, E e) {
         return o.operands.insert(o.operands.begin(), v), setMode(o, O::Mode::Settings, e);
     }},
    {"--set", "ADDRESS KEY=VALUE",
     "write one setting, KEY its name or number, VALUE a number, text or choice",
     [](O& o, S v, E e) { return o.operands.insert(o.operands.begin(), v), setMode(o, O::Mode::Set, e); }},
    {"--upload", "ADDRESS SLOT FILE", "send FILE into slot SLOT (from 0) and check the Target's CRC",
     [](O& o, S v, E e) { return o.operands.insert(o.operands.begin(), v), setMode(o, O::Mode::Upload, e); }},
};

} // namespace

bool readFindOptions(const std::vector<std::string>& arguments, FindOptions& options, std::string& error) {
    std::vector<std::string> loose;
    for (size_t i = 0; i < arguments.size(); ++i) {
        if (arguments[i].rfind("-", 0) != 0)
            loose.push_back(arguments[i]);
        else if (!applyOption(kOptions, arguments, i, options, error))
            return false;
    }
    if (options.help) return true;
    options.operands.insert(options.operands.end(), loose.begin(), loose.end());
    const size_t wanted = options.mode == O::Mode::Set        ? 2
                          : options.mode == O::Mode::Upload   ? 3
                          : options.mode == O::Mode::Settings ? 1
                                                              : 0;
    if (options.operands.size() != wanted) {
        error = wanted == 0 ? "unexpected argument \"" + loose.front() + "\""
                            : "--" + std::string(options.mode == O::Mode::Set ? "set" : "upload") +
                                  " takes " + (wanted == 2 ? "ADDRESS KEY=VALUE" : "ADDRESS SLOT FILE");
        if (options.mode == O::Mode::Settings) error = "--settings takes one ADDRESS";
        return false;
    }
    if (options.seconds != 0 && options.mode != O::Mode::Watch) {
        error = "--seconds goes with --watch";
        return false;
    }
    return true;
}

std::string findUsage() {
    return "usage: tessera-find [options]\n"
           "       tessera-find --settings ADDRESS | --set ADDRESS KEY=VALUE | --upload ADDRESS SLOT FILE\n"
           "\n"
           "Searches every link-local interface for Targets as the driver does, and lists each receiver:\n"
           "its name and product, and each Output's address,port, protocol version and the formats it\n"
           "takes. The search multicasts to ff02::1 on the link and asks each receiver that answers.\n" +
           optionsHelp(kOptions, 28, 100) +
           "\nExit status: 0 done; 1 no Target found, or the receiver did not answer or refused; 2 bad\n"
           "arguments or no such interface; 3 a socket failed; 4 the upload arrived but the Target's CRC\n"
           "did not match; 5 the upload broke off.\n";
}

} // namespace TESSERA
