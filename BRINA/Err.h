#pragma once
#include <cstdint>

namespace BRINA {

// The foundation's one exception type, thrown by value; constructing it prints the assertion line.
struct Err {
    const char* file;
    int32_t line;
    int32_t code;
    uint32_t data;

    Err(const char* file, int32_t line, int32_t code, uint32_t data);
};

} // namespace BRINA
