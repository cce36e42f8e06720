#include "tools/receiver/HostRecord.h"

namespace TESSERA {

void HostRecord::set(const std::string& name, uint64_t productId) {
    std::lock_guard<std::mutex> lock(mutex);
    known = true;
    hostName = name;
    product = productId;
}

bool HostRecord::get(std::string& name, uint64_t& productId) const {
    std::lock_guard<std::mutex> lock(mutex);
    name = hostName;
    productId = product;
    return known;
}

} // namespace TESSERA
