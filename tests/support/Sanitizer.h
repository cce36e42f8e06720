#pragma once
// Whether this build runs under AddressSanitizer or ThreadSanitizer, which slow the code several times:
// end-to-end tests shorten their heaviest streams there, so that the software Target keeps up.

namespace TESTING {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
#else
constexpr bool kSanitized = false;
#endif

} // namespace TESTING
