#pragma once
// Counts every allocation of the process through a replaced global operator new, so that tests can show
// that a real-time path allocates nothing. Linked into a test only when the test calls allocationCount().
#include <cstdint>

namespace TESTING {

uint64_t allocationCount();

} // namespace TESTING
