// The feedback decoder on any three words: the kind follows the rules, and each value obeys its form.
#include "BRINA/LittleEndian.h"
#include "transport/wire/FeedbackValue.h"

#include <cstdint>
#include <cstdlib>

namespace {

void check(bool condition) {
    if (!condition) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 6) return 0;
    const uint16_t word8 = BRINA::readLE16(data);
    const uint16_t word10 = BRINA::readLE16(data + 2);
    const uint16_t word12 = BRINA::readLE16(data + 4);
    const TESSERA::FeedbackValue f = TESSERA::FeedbackValue::decode(word8, word10, word12);
    const uint16_t bits = static_cast<uint16_t>(f.value);
    if (word8 & 0x8000) {
        // Bits 0 to 14 unchanged; the sign follows bit 14.
        check(f.kind == 2 && (bits & 0x7FFF) == (word8 & 0x7FFF) && (f.value < 0) == ((word8 & 0x4000) != 0));
    } else if (word8 != 0) {
        // An even number whose half is word8 - 8192, modulo 32,768.
        check(f.kind == 1 && (bits & 1) == 0);
        check(((bits >> 1) & 0x7FFF) == ((word8 - 8192) & 0x7FFF));
    } else if (word12 != 0) {
        // Truncated toward zero: the quotient times word12 doesn't pass the product, one more would.
        const int64_t product = (static_cast<int64_t>(word10) - word12) * 16384;
        const int64_t q = product / word12;
        check(f.kind == 3 && f.value == static_cast<int16_t>(static_cast<uint16_t>(q)));
        const int64_t magnitude = product < 0 ? -product : product;
        const int64_t qm = q < 0 ? -q : q;
        check(qm * word12 <= magnitude && (qm + 1) * word12 > magnitude);
        check(q == 0 || (q < 0) == (product < 0));
    } else {
        check(f.kind == 0 && f.value == 0);
    }
    return 0;
}
