#pragma once
// TESSERA::Find: which Targets are on the link-local networks of this machine, and everything a Host says to
// one outside a stream. A short-lived object: build it, open it, ask, destroy it.
#include "BRINA/BufferCS_const.h"
#include "BRINA/Network/IPAddress.h"
#include "BRINA/Network/Socket.h"
#include "discovery/FindConfig.h"
#include "discovery/SendResult.h"
#include "discovery/Target.h"
#include "discovery/TargetSetting.h"
#include "transport/wire/Packet.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace TESSERA {

class Find {
public:
    static constexpr uint32_t kReleaseNumber = 112;
    static constexpr uint32_t kAnswerTime = 100'000; // microseconds a Target has for each answer
    static constexpr uint32_t kSweepListen = 30'000; // microseconds a sweep listens on each interface
    static constexpr uint32_t kSweeps = 3;

    using AnswerMap = std::map<BRINA::IPAddress, std::vector<uint8_t>>;

    explicit Find(const FindConfig& config);
    ~Find();
    Find(const Find&) = delete;
    Find& operator=(const Find&) = delete;

    // Every usable interface; one interface by number (0: every one); one local address; named interfaces.
    bool open();
    bool open(uint16_t ifno);
    bool open(const BRINA::IPAddress& local);
    bool open(const std::vector<std::string>& names);
    void close();
    bool isOpen() const { return discoverySocket.isOpen(); }
    // The addresses a search uses now: the list given to open, or every usable link-local address.
    std::vector<BRINA::IPAddress> localInterfaces() const;

    // The product filter: id when the receiver counts, kNoProduct when it is to be ignored.
    uint64_t matchProduct(uint64_t id) const;

    // One request, one answer within 100 ms, on the discovery socket.
    SendResult sendAck(const BRINA::IPAddress& target, const Packet& request, uint16_t expected,
                       std::vector<uint8_t>& answer);

    // One multicast sweep over every interface; the last FIND_ANS per source address stays.
    bool findMultiSend(const Packet& request, AnswerMap& answers);
    // Three sweeps, HOST_REQ to each receiver heard, and the filter; adds to out.
    bool findMulti(FoundMap& out, bool watch);
    // HOST_REQ; false only when the socket fails.
    bool announceHost(const BRINA::IPAddress& target);

    // Every Output of every matching receiver; false only when a socket fails.
    bool find(TargetTable& out);
    // Output index of the receiver at address, found on whichever interface reaches it; key stays null when
    // none does.
    bool getTarget(const BRINA::IPAddress& address, uint16_t index, BRINA::IPAddress& key, Target& target);
    bool getOutputCount(const BRINA::IPAddress& target, uint16_t& count);
    bool getOutput(const BRINA::IPAddress& target, uint16_t index, BRINA::IPAddress& key, uint16_t& version,
                   std::string& name);
    bool getOutputs(const BRINA::IPAddress& target, OutputMap& out);

    // A Target's settings list and plain text requests. The text results are emptied before the request.
    bool pingTarget(const BRINA::IPAddress& target);
    bool requestText(const BRINA::IPAddress& target, std::string& text);
    bool requestTextB(const BRINA::IPAddress& target, std::string& text);
    bool requestItemText(const BRINA::IPAddress& target, uint16_t number, std::string& text);
    bool selectItem(const BRINA::IPAddress& target, bool on, uint16_t number);
    // The whole list; second asks each setting in the Target's second way of reading.
    bool getSettings(const BRINA::IPAddress& target, std::list<TargetSetting>& out, bool second);
    bool setSetting(const BRINA::IPAddress& target, uint16_t number, const std::string& text, uint16_t value);
    bool setSetting(const BRINA::IPAddress& target, uint16_t number, const std::string& text) {
        return setSetting(target, number, text, 0);
    }
    bool setSetting(const BRINA::IPAddress& target, uint16_t number, uint16_t value) {
        return setSetting(target, number, std::string(), value);
    }
    // One of the two actions on all settings: action true or false.
    bool commitSettings(const BRINA::IPAddress& target, bool action);

    // Sends data into a slot of a Target: windows acknowledged one by one, then a CRC over the whole. limit,
    // when not 0, caps the window limit. progress hears the number of each block as it starts.
    bool Transfer(const BRINA::IPAddress& target, int slot, BRINA::BufferCS_const data, unsigned limit);
    bool Transfer(const BRINA::IPAddress& target, int slot, BRINA::BufferCS_const data, unsigned limit,
                  const std::function<void(uint16_t block, uint16_t blockCount)>& progress);
    // How the last Transfer ended: the end not reached, or answered with the Target's CRC matching or not.
    enum class TransferEnd { notReached, matched, mismatched };
    TransferEnd lastTransferEnd() const { return transferEnd; }
    // Asks about a slot with a CRC and a value; value takes the Target's answer.
    bool transferQuery(const BRINA::IPAddress& target, int slot, uint16_t& crc, uint16_t& value);

    // The watch: a thread that keeps table current from searches and the receivers' NOTIFY.
    // Its user calls open, openWatch, startWatch, collects with takeAdded and takeRemoved, and stops it.
    bool openWatch();
    void startWatch();
    void stopWatch() { watching = false; }
    void joinWatch();
    bool isWatching() const { return watching; }
    // Merges the Outputs of one receiver into table; at most one stale entry goes per call.
    bool addTarget(const BRINA::IPAddress& parent, uint64_t id, const std::string& name);
    // Removes every Output of one receiver.
    void remTarget(const BRINA::IPAddress& parent);
    void takeAdded(TargetTable& out);
    void takeRemoved(std::list<BRINA::IPAddress>& out);
    void eraseTarget(const BRINA::IPAddress& key);
    uint32_t targetCount();
    // The unicast search of one receiver: id is kNoProduct when it didn't answer or the filter refused it.
    bool probeTarget(const BRINA::IPAddress& address, uint64_t& id, std::string& name);

    // The watch's times in microseconds; tests shorten them. Set before startWatch: the watch reads them.
    struct WatchTimes {
        uint32_t startupLimit = 120'000'000; // startup mode, at most
        uint32_t period = 120'000'000;       // one listening period, at most
        uint32_t stage = 30'000'000; // first stage of a period; the silence after which a sender is asked
        uint32_t wait = 1'000'000;   // one wait on the notify port, and the pause between startup tries
    };
    WatchTimes watchTimes;

    // Unicast destinations that every FIND_REQ of a sweep also goes to. Set before a search or startWatch.
    std::vector<BRINA::IPAddress> extraDestinations;

    const FindConfig& config() const { return cfg; }
    // The list that open fixed; empty while every interface is searched.
    const std::vector<BRINA::IPAddress>& interfaceList() const { return interfaces; }

private:
    bool openInterfaces(const std::vector<BRINA::IPAddress>& list);
    bool nopBreak(const BRINA::IPAddress& target);
    // INFO_REQ; when answered, text is its payload with the receiver's address put in.
    SendResult askInfo(const BRINA::IPAddress& target, std::string& text);

    // One text request: true when answered, with the answer's payload in text.
    bool askText(const BRINA::IPAddress& target, const Packet& request, uint16_t expected, std::string& text);
    // SETTING_REQ for setting number, answered with the same number.
    bool askSetting(const BRINA::IPAddress& target, const Packet& request, uint16_t number, std::string& text,
                    uint16_t& value, uint16_t& current);
    void watchLoop();
    // Up to three FIND_REQ to a receiver: answered at the first answer, timeout after three silences (each
    // logged as retryLog), error when the socket failed.
    SendResult stillThere(const BRINA::IPAddress& address, const char* retryLog);
    void endWatch();

    FindConfig cfg;
    std::vector<BRINA::IPAddress> interfaces;
    BRINA::Socket discoverySocket;
    TransferEnd transferEnd = TransferEnd::notReached; // the user's thread only

    BRINA::Socket watchSocket;
    std::thread watchThread;
    // Set by startWatch; cleared by the user's thread to stop, or by the watch at its end; read by both.
    std::atomic<bool> watching{false};
    std::mutex tableMutex;                   // the only lock: guards table, removedList, addedList
    TargetTable table;                       // under tableMutex: written by the watch, read by the user
    std::list<BRINA::IPAddress> removedList; // under tableMutex
    std::list<BRINA::IPAddress> addedList;   // under tableMutex
};

// The first "[myaddress]" of a text longer than 10 bytes becomes the address in brackets.
std::string withAddress(const std::string& text, const BRINA::IPAddress& address);

} // namespace TESSERA
