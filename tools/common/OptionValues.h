#pragma once
// The values of command-line options: whole numbers (decimal or 0x..) and real numbers within bounds, with
// the reason in words when they aren't.
#include <cstdint>
#include <limits>
#include <string>

namespace TESSERA {

// A whole number, decimal or hexadecimal after 0x, from least to most.
bool readWhole(const std::string& text, uint64_t least, uint64_t most, uint64_t& value);
// A real number, finite, from least to most.
bool readReal(const std::string& text, double least, double most, double& value);
// "WHAT must be a whole number from LEAST to MOST, not "TEXT"".
std::string wholeError(const char* what, uint64_t least, uint64_t most, const std::string& text);
// Sets field, or says wholeError in error.
bool setWhole(const std::string& text, const char* what, uint32_t& field, std::string& error, uint64_t least,
              uint64_t most);
// Sets field, or says "WHAT must be a number from LEAST to MOST, not "TEXT"" in error.
bool setReal(const std::string& text, const char* what, double& field, std::string& error, double least,
             double most);

// The same for an unsigned field of any size, from 0 to the largest value it holds unless most is less.
template <typename T>
bool setUnsigned(const std::string& text, const char* what, T& field, std::string& error,
                 uint64_t most = std::numeric_limits<T>::max()) {
    uint64_t value = 0;
    if (!readWhole(text, 0, most, value)) {
        error = wholeError(what, 0, most, text);
        return false;
    }
    field = static_cast<T>(value);
    return true;
}

} // namespace TESSERA
