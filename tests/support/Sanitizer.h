#pragma once
// Whether this build runs under AddressSanitizer or ThreadSanitizer, which slow the code several times:
// end-to-end tests shorten their heaviest streams there, so that the software Target keeps up.
#ifndef __has_feature
#define __has_feature(x) 0
#endif

namespace TESTING {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || __has_feature(address_sanitizer) ||     \
    __has_feature(thread_sanitizer)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

} // namespace TESTING
