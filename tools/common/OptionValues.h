#pragma once
// The values of command-line options: whole numbers (decimal or 0x..) and real numbers within bounds, with
// the reason in words when they aren't.
#include <cstdint>
#include <string>

namespace TESSERA {

// A whole number, decimal or hexadecimal after 0x, from least to most.
bool readWhole(const std::string& text, uint64_t least, uint64_t most, uint64_t& value);
// Sets field, or says "WHAT must be a whole number from LEAST to MOST, not "TEXT"" in error.
bool setWhole(const std::string& text, const char* what, uint32_t& field, std::string& error, uint64_t least,
              uint64_t most);
// Sets field, or says "WHAT must be a number from LEAST to MOST, not "TEXT"" in error.
bool setReal(const std::string& text, const char* what, double& field, std::string& error, double least,
             double most);

} // namespace TESSERA
