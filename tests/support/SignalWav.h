#pragma once
// A WAV file of the test signal, for tests that stream a file and let the Target check it.
#include "format/StreamFormat.h"

#include <cstdint>
#include <string>

namespace TESTING {

// Writes frames of the test signal from its frame 0 in format to path; false when the file can't be written.
bool writeSignalWav(const std::string& path, TESSERA::StreamFormat format, uint32_t frames);

} // namespace TESTING
