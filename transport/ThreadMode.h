#pragma once
// The worker's mode word: priority, sleeping rules, socket mode, processor and feedback depth.
#include <cstdint>

namespace TESSERA {

constexpr uint32_t CRITICAL = 0x001;      // time critical priority, else highest
constexpr uint32_t NOSHORTSLEEP = 0x002;  // waits of 100 us or less are spun
constexpr uint32_t NOSLEEP4CORE = 0x004;  // the loop spins instead of waiting in the socket (3 or more cores)
constexpr uint32_t SOCKETNOBLOCK = 0x008; // the control socket is non-blocking for the whole session
constexpr uint32_t OCCUPIED = 0x010;      // the worker takes one processor for itself
constexpr uint32_t FEEDBACK = 0x0E0;      // feedback average depth, less 1
constexpr uint32_t NOFASTFEEDBACK = 0x100; // no catching up after lateness
constexpr uint32_t SLEEP0ONCE = 0x200;     // one yield in each wait for the next cycle
constexpr uint32_t SLEEP0ALWAYS = 0x400;   // a yield in each pass of the wait
constexpr uint32_t NOSLEEPFORCE = 0x800;   // as NOSLEEP4CORE on any machine

} // namespace TESSERA
