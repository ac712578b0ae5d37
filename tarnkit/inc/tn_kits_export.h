/// \file
/// Marks what the shared library exports; everything else stays hidden inside it.
#ifndef TN_KITS_EXPORT_H_
#define TN_KITS_EXPORT_H_

#if defined(TN_KITS_STATIC)
#define TN_KITS_API
#elif defined(_WIN32)
#if defined(TN_KITS_BUILDING)
#define TN_KITS_API __declspec(dllexport)
#else
#define TN_KITS_API __declspec(dllimport)
#endif
#else
#define TN_KITS_API __attribute__((visibility("default")))
#endif

#endif  // TN_KITS_EXPORT_H_
