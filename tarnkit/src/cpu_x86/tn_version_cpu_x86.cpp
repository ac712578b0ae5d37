// The library's version, and the instruction set that run-time dispatch chose.

#include "tn_version.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tarnkit/src/cpu_x86/tn_version_cpu_x86.cpp"
#include "hwy/foreach_target.h"  // compiles this file again for every CPU target
#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace Tarn::HWY_NAMESPACE {
namespace {

// Dispatched like the kernels: names the set that they run on, which need not be the best of the
// processor.
const char* TargetInUse() { return hwy::TargetName(HWY_TARGET); }

}  // namespace
}  // namespace Tarn::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Tarn {

HWY_EXPORT(TargetInUse);

const char* libraryVersion() { return TN_KITS_VERSION; }

const char* instructionSet() { return HWY_DYNAMIC_DISPATCH(TargetInUse)(); }

}  // namespace Tarn
#endif  // HWY_ONCE
