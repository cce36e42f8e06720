#pragma once
// Catches the log's warnings and errors for the status line, and hands every line to the console when
// the user turned the log on.
#include <cstdint>
#include <string>

namespace TESSERA {

class WarningWatch {
public:
    // Installs the watch as the log's callback; warnings are always watched. consoleLevel: lines up to
    // this level are also written to the terminal (-1: none).
    static void start(int32_t consoleLevel);
    // The callback: counts lines of level 4 or worse and keeps the latest text.
    static void onLine(const char* text);
    static uint32_t count();
    static std::string last();
};

} // namespace TESSERA
