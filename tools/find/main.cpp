// tessera-find: lists the receivers and Outputs on the link-local networks, keeps the list live, and reads,
// writes and uploads into one receiver, as the driver and its control panel do.
#include "BRINA/ConsoleLog.h"
#include "BRINA/LogSink.h"
#include "BRINA/Network/IPAddress.h"
#include "BRINA/Time.h"
#include "discovery/Find.h"
#include "tools/common/FormatText.h"
#include "tools/common/JsonWriter.h"
#include "tools/common/OptionValues.h"
#include "tools/find/FindOptions.h"
#include "tools/find/SettingText.h"
#include "transport/Sync.h"
#include "transport/wire/SyncCommands.h"
#include "transport/wire/TransferMessages.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <list>
#include <map>
#include <net/if.h>
#include <string>
#include <vector>

namespace {

using BRINA::IPAddress;
using TESSERA::FindOptions;
using TESSERA::FormatText;

enum Status { kDone = 0, kNone = 1, kBadArguments = 2, kSocketFailed = 3, kCrcMismatch = 4, kBrokeOff = 5 };

std::atomic<bool> interrupted{
    false}; // set by the signal handler, read by the watch's loop on the main thread

int fail(int status, const std::string& message) {
    std::fflush(stdout);
    std::fprintf(stderr, "tessera-find: %s\n", message.c_str());
    return status;
}

std::string productText(uint64_t id) {
    if (id == 0) return "";
    std::string text;
    for (int i = 0; i < 8; ++i)
        text += static_cast<char>((id >> (8 * i)) & 0xFF);
    return text;
}

// What the Output at key takes, one mask a line; empty when it didn't say.
std::vector<std::string> formatsOf(const IPAddress& key, const std::string& hostName) {
    TESSERA::Sync sync;
    if (!sync.open(1, 10000, static_cast<uint16_t>(key.scope()), hostName, 0) || !sync.getSinkFormats(key))
        return {};
    std::vector<std::string> lines;
    for (const TESSERA::StreamFormat mask : {sync.getPcmMask(), sync.getDsdLsbMask(), sync.getDsdMsbMask()})
        if (!mask.isEmpty()) lines.push_back(FormatText::describeMask(mask));
    return lines;
}

// The interface of a scope by name, for a user who reaches a link-local address through it.
std::string interfaceOf(uint32_t scope) {
    char name[IF_NAMESIZE] = {};
    return scope != 0 && if_indextoname(scope, name) ? name : "";
}

void printTable(const TESSERA::TargetTable& table, const FindOptions& options) {
    // Each receiver with its Outputs by number.
    std::map<IPAddress, std::vector<std::pair<IPAddress, TESSERA::Target>>> receivers;
    for (const auto& [key, t] : table)
        receivers[t.parentAddress].emplace_back(key, t);
    TESSERA::JsonWriter json;
    if (options.json) {
        json.open();
        json.openArray("receivers");
    }
    for (auto& [receiver, outputs] : receivers) {
        std::sort(outputs.begin(), outputs.end(),
                  [](const auto& a, const auto& b) { return a.second.outputIndex < b.second.outputIndex; });
        const TESSERA::Target& first = outputs.front().second;
        const std::string where = interfaceOf(receiver.scope());
        if (options.json) {
            json.open();
            json.text("address", receiver.toString());
            json.text("interface", where);
            json.text("name", first.targetName);
            json.text("product", productText(first.productId));
            json.text("info", first.infoText);
            json.openArray("outputs");
        } else {
            std::printf("%s%s%s at %s%s\n", &receiver == &receivers.begin()->first ? "" : "\n",
                        first.targetName.c_str(),
                        first.productId ? (" (" + productText(first.productId) + ")").c_str() : "",
                        receiver.toString().c_str(), where.empty() ? "" : (" on " + where).c_str());
            if (!first.infoText.empty()) std::printf("  %s\n", first.infoText.c_str());
        }
        for (const auto& [key, t] : outputs) {
            const std::vector<std::string> takes =
                options.brief ? std::vector<std::string>{} : formatsOf(key, options.hostName);
            if (options.json) {
                json.open();
                json.text("endpoint", key.toStringWithPort());
                json.integer("number", t.outputIndex);
                json.text("name", t.outputName);
                json.integer("version", t.protocolVersion);
                json.openArray("takes");
                for (const std::string& line : takes)
                    json.text("", line);
                json.closeArray();
                json.close();
                continue;
            }
            std::printf("  Output %u \"%s\"  %s  version %u\n", t.outputIndex, t.outputName.c_str(),
                        key.toStringWithPort().c_str(), t.protocolVersion);
            for (const std::string& line : takes)
                std::printf("    takes %s\n", line.c_str());
            if (takes.empty() && !options.brief) std::printf("    takes: the Output did not say\n");
        }
        if (options.json) json.closeArray(), json.close();
    }
    if (options.json) {
        json.closeArray();
        json.close();
        std::printf("%s\n", json.str().c_str());
    } else if (table.empty()) {
        std::printf("no Target found\n");
    }
}

int list(TESSERA::Find& find, const FindOptions& options) {
    TESSERA::TargetTable table;
    if (options.target.empty()) {
        if (!find.find(table)) return fail(kSocketFailed, "a socket failed during the search");
    } else {
        IPAddress address, key;
        TESSERA::Target target;
        if (!address.parse(options.target))
            return fail(kBadArguments, "not an IPv6 address: " + options.target);
        if (!find.getTarget(address, static_cast<uint16_t>(options.output), key, target))
            return fail(kSocketFailed, "a socket failed while asking " + options.target);
        if (!key.isEmpty()) table[key] = target;
    }
    printTable(table, options);
    return table.empty() ? kNone : kDone;
}

int watch(TESSERA::Find& find, const FindOptions& options) {
    // Short enough that Ctrl-C ends the program soon, and that a gone receiver shows within seconds.
    find.watchTimes.startupLimit =
        options.seconds != 0 && options.seconds < 5 ? options.seconds * 1'000'000 : 5'000'000;
    find.watchTimes.stage = 5'000'000;
    if (!find.openWatch()) return fail(kSocketFailed, "cannot listen for NOTIFY on port 19643");
    std::signal(SIGINT, [](int) { interrupted = true; });
    std::signal(SIGTERM, [](int) { interrupted = true; });
    find.startWatch();
    const uint32_t start = BRINA::nowMicroseconds();
    while (!interrupted && find.isWatching() &&
           (options.seconds == 0 || BRINA::nowMicroseconds() - start < options.seconds * 1'000'000u)) {
        BRINA::sleepMilliseconds(50);
        TESSERA::TargetTable added;
        std::list<IPAddress> removed;
        find.takeAdded(added);
        find.takeRemoved(removed);
        for (const IPAddress& key : removed)
            std::printf("lost  %s\n", key.toStringWithPort().c_str());
        for (const auto& [key, t] : added)
            std::printf("found %s  %s, Output %u \"%s\", version %u\n", key.toStringWithPort().c_str(),
                        t.targetName.c_str(), t.outputIndex, t.outputName.c_str(), t.protocolVersion);
        std::fflush(stdout);
    }
    const bool failed = !find.isWatching() && !interrupted;
    find.stopWatch();
    find.joinWatch();
    std::printf("watched %u Outputs\n", find.targetCount());
    return failed ? fail(kSocketFailed, "the watch ended: a socket failed") : kDone;
}

int settings(TESSERA::Find& find, const IPAddress& receiver, const FindOptions& options) {
    std::list<TESSERA::TargetSetting> list;
    if (!find.getSettings(receiver, list, false))
        return fail(kNone, "the receiver did not answer every question of its settings list");
    if (options.mode == FindOptions::Mode::Settings) {
        int number = 0;
        for (const auto& s : list)
            std::printf("%3d  %s\n", ++number, TESSERA::SettingText::describe(s).c_str());
        if (list.empty()) std::printf("the receiver has no settings\n");
        return kDone;
    }
    const std::string& pair = options.operands[1];
    const size_t equals = pair.find('=');
    if (equals == std::string::npos)
        return fail(kBadArguments, "--set takes KEY=VALUE, not \"" + pair + "\"");
    const std::string key = pair.substr(0, equals), text = pair.substr(equals + 1);
    uint16_t number = 0;
    const TESSERA::TargetSetting* found = nullptr;
    for (const auto& s : list) {
        ++number;
        if (s.name == key || std::to_string(number) == key) {
            found = &s;
            break;
        }
    }
    if (!found) return fail(kBadArguments, "the receiver has no setting \"" + key + "\"");
    uint16_t value = 0;
    std::string error;
    if (!TESSERA::SettingText::read(*found, text, value, error)) return fail(kBadArguments, error);
    const std::string written = found->kind == TESSERA::TargetSetting::Text ? text : std::string();
    if (!find.setSetting(receiver, number, written, value))
        return fail(kNone, "the receiver refused " + found->name + " = " + text);
    if (!find.getSettings(receiver, list, false) || list.size() < number)
        return fail(kNone, "the receiver took the value but did not answer the reading after it");
    std::printf("%3u  %s\n", number,
                TESSERA::SettingText::describe(*std::next(list.begin(), number - 1)).c_str());
    return kDone;
}

int upload(TESSERA::Find& find, const IPAddress& receiver, const FindOptions& options) {
    uint32_t slot = 0;
    std::string error;
    if (!TESSERA::setWhole(options.operands[1], "SLOT", slot, error, 0, 0xFFFE))
        return fail(kBadArguments, error);
    std::ifstream file(options.operands[2], std::ios::binary);
    if (!file) return fail(kBadArguments, "cannot read " + options.operands[2]);
    const std::vector<uint8_t> data{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    // The blocks this file fills, from the slot's shape; the progress hears only the slot's block count.
    std::vector<uint8_t> answer;
    TESSERA::TransferMessages::TransferAnswer shape;
    uint32_t blocks = 0;
    if (find.sendAck(receiver, TESSERA::TransferMessages::slotRequest(static_cast<uint16_t>(slot)),
                     TESSERA::TRANSFER_ANS, answer) == TESSERA::SendResult::answered &&
        TESSERA::TransferMessages::readTransferAnswer(BRINA::BufferCS_const(answer), shape)) {
        const uint64_t blockBytes = (shape.word10 + 1ull) * (shape.word12 + 1ull);
        blocks = static_cast<uint32_t>((data.size() + blockBytes - 1) / blockBytes);
    }
    const uint32_t start = BRINA::nowMicroseconds();
    const bool sent = find.Transfer(receiver, static_cast<int>(slot), BRINA::BufferCS_const(data), 0,
                                    [blocks](uint16_t block, uint16_t slotBlocks) {
                                        const uint32_t of = blocks != 0 ? blocks : slotBlocks, width = 30;
                                        const uint32_t done =
                                            std::min(width, width * (block + 1u) / std::max(of, 1u));
                                        std::printf("\r[%s%s] block %u of %u", std::string(done, '#').c_str(),
                                                    std::string(width - done, ' ').c_str(), block + 1u, of);
                                        std::fflush(stdout);
                                    });
    const double seconds = (BRINA::nowMicroseconds() - start) / 1e6;
    std::printf("\n");
    switch (find.lastTransferEnd()) {
    case TESSERA::Find::TransferEnd::matched:
        std::printf("sent %zu bytes into slot %u in %.2f s; the Target's CRC matched\n", data.size(), slot,
                    seconds);
        return sent ? kDone : kBrokeOff;
    case TESSERA::Find::TransferEnd::mismatched:
        return fail(kCrcMismatch,
                    "sent " + std::to_string(data.size()) + " bytes, but the Target's CRC did not match");
    default:
        return fail(kBrokeOff,
                    "the upload broke off (no such slot, too large for it, or the receiver went silent)");
    }
}

} // namespace

int main(int argc, char** argv) {
    FindOptions options;
    std::string error;
    if (!TESSERA::readFindOptions(std::vector<std::string>(argv + 1, argv + argc), options, error))
        return fail(kBadArguments, error + " (see --help)");
    if (options.help) {
        std::fputs(TESSERA::findUsage().c_str(), stdout);
        return kDone;
    }
    TESSERA::FindConfig config;
    config.hostName = options.hostName;
    config.targetProduct = options.productText == "any" ? 0 : TESSERA::makeProductId(options.productText);
    if (config.targetProduct == TESSERA::kNoProduct ||
        (options.productText != "any" && options.productText.size() != 8))
        return fail(kBadArguments, "a product is eight characters, or any: " + options.productText);
    IPAddress receiver;
    if (!options.operands.empty() && !receiver.parse(options.operands[0]))
        return fail(kBadArguments, "not an IPv6 address: " + options.operands[0]);
    if (options.showLog) {
        BRINA::ConsoleLog::start(16, 19640);
        BRINA::setLogLevel(7);
    }
    TESSERA::Find find(config);
    const bool opened = options.interfaceName.empty()
                            ? find.open()
                            : find.open(std::vector<std::string>{options.interfaceName});
    if (!opened)
        return options.interfaceName.empty()
                   ? fail(kSocketFailed, "cannot search on this machine")
                   : fail(kBadArguments, "cannot search on " + options.interfaceName);
    switch (options.mode) {
    case FindOptions::Mode::List:
        return list(find, options);
    case FindOptions::Mode::Watch:
        return watch(find, options);
    default:
        break;
    }
    IPAddress key;
    TESSERA::Target target;
    if (!find.getTarget(receiver, 1, key, target))
        return fail(kSocketFailed, "a socket failed while asking " + options.operands[0]);
    if (key.isEmpty()) return fail(kNone, "no receiver answers at " + options.operands[0]);
    return options.mode == FindOptions::Mode::Upload ? upload(find, target.parentAddress, options)
                                                     : settings(find, target.parentAddress, options);
}
