/// \file
/// Which build of the library a program runs with, for logs and fault reports.
#ifndef TN_VERSION_H_
#define TN_VERSION_H_

#include "tn_kits_export.h"

namespace Tarn {

/// The version of the library that is loaded, "MAJOR.MINOR.PATCH". Before 1.0.0 a new MINOR may change
/// the interfaces; a new PATCH never does.
/// The text lives as long as the library. Any thread. Errors: none.
TN_KITS_API const char* libraryVersion();

/// The instruction set that the kernels use on this processor, by the name that Highway gives it:
/// "SSSE3", "SSE4", "AVX2", "AVX3" (the first AVX-512 servers), "AVX3_DL" (those since Ice Lake), or
/// "SCALAR" or "EMU128" for the baseline. Results do not depend on it, speed does.
/// The text lives as long as the library. Any thread. Errors: none.
TN_KITS_API const char* instructionSet();

}  // namespace Tarn

#endif  // TN_VERSION_H_
