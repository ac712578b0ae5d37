// The library's one check macro: preconditions that stay active in every build and report through the
// platform's own assertion facility, which then aborts.
#ifndef TN_KITS_COMMON_TN_CHECK_H_
#define TN_KITS_COMMON_TN_CHECK_H_

// Declares the reporting function of each C library; assert itself is not used.
#include <assert.h>

#include <cstdio>
#include <cstdlib>

// TN_CHECK_AT(condition, text, file, line): reports `text` as failed at `file` and `line`, whatever
// the place of the code: callers match crash reports by these. All three are literals.
#if defined(__GLIBC__)
#define TN_CHECK_AT(condition, text, file, line) \
  ((condition) ? static_cast<void>(0) : __assert_fail(text, file, line, __PRETTY_FUNCTION__))
#elif defined(_WIN32)
#define TN_CHECK_WIDEN_(literal) L##literal
#define TN_CHECK_WIDEN(literal) TN_CHECK_WIDEN_(literal)
#define TN_CHECK_AT(condition, text, file, line) \
  ((condition) ? static_cast<void>(0) : _wassert(TN_CHECK_WIDEN(text), TN_CHECK_WIDEN(file), line))
#else
#define TN_CHECK_AT(condition, text, file, line) \
  ((condition)                                   \
       ? static_cast<void>(0)                    \
       : (std::fprintf(stderr, "%s:%d: Assertion `%s' failed.\n", file, line, text), std::abort()))
#endif

// TN_CHECK(condition): as assert(condition), also in Release.
#define TN_CHECK(condition) TN_CHECK_AT(condition, #condition, __FILE__, __LINE__)

#endif  // TN_KITS_COMMON_TN_CHECK_H_
