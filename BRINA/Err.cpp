#include "BRINA/Err.h"

#include <iostream>

namespace BRINA {

Err::Err(const char* f, int32_t l, int32_t c, uint32_t d) : file(f), line(l), code(c), data(d) {
    // One statement, so that lines of two threads don't interleave inside it.
    std::cerr << ("\nBRINA ASSERT[" + std::string(file) + "]Line:" + std::to_string(line) +
                  "[code:" + std::to_string(code) + " Data:" + std::to_string(data) + "]\n")
              << std::flush;
}

} // namespace BRINA
