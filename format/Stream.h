#pragma once
#include <cstdint>

namespace TESSERA {

// One block of audio as the worker sees it: read-only bytes owned by the stream buffer.
struct Stream {
    const uint8_t* data = nullptr;
    uint32_t size = 0; // 0 with a null pointer: no data
};

} // namespace TESSERA
