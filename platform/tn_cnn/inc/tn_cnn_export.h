/// \file
/// Marks what the network library exports; everything else stays hidden inside it.
#ifndef TN_CNN_EXPORT_H_
#define TN_CNN_EXPORT_H_

#if defined(TN_CNN_STATIC)
#define TN_CNN_API
#elif defined(_WIN32)
#if defined(TN_CNN_BUILDING)
#define TN_CNN_API __declspec(dllexport)
#else
#define TN_CNN_API __declspec(dllimport)
#endif
#else
#define TN_CNN_API __attribute__((visibility("default")))
#endif

#endif  // TN_CNN_EXPORT_H_
