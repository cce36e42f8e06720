#pragma once
#include <cstdint>
#include <vector>

namespace BRINA {

// A constant view of bytes; owns nothing, so its owner must outlive it.
struct BufferCS_const {
    const uint8_t* data = nullptr;
    uint32_t size = 0;

    BufferCS_const() = default;
    BufferCS_const(const uint8_t* d, uint32_t s) : data(d), size(s) {}
    explicit BufferCS_const(const std::vector<uint8_t>& v)
        : data(v.empty() ? nullptr : v.data()), size(static_cast<uint32_t>(v.size())) {}
};

} // namespace BRINA
