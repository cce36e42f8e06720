#pragma once
// The Host that last made itself known (HOST_REQ or SYNCHOST_REQ), for the status line.
#include <cstdint>
#include <mutex>
#include <string>

namespace TESSERA {

class HostRecord {
public:
    void set(const std::string& name, uint64_t productId);
    // False while no Host has made itself known.
    bool get(std::string& name, uint64_t& productId) const;

private:
    mutable std::mutex mutex; // written by the control threads, read by the status line
    bool known = false;
    std::string hostName;
    uint64_t product = 0;
};

} // namespace TESSERA
