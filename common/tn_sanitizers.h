// Whether the build runs under a sanitizer.
#ifndef TN_KITS_COMMON_TN_SANITIZERS_H_
#define TN_KITS_COMMON_TN_SANITIZERS_H_

// TN_ADDRESS_SANITIZER is defined in builds under AddressSanitizer: g++ has a macro for that, clang a
// feature.
#if defined(__SANITIZE_ADDRESS__)
#define TN_ADDRESS_SANITIZER
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TN_ADDRESS_SANITIZER
#endif
#endif

#endif  // TN_KITS_COMMON_TN_SANITIZERS_H_
