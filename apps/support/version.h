// What `tarnkit --version` prints.
#ifndef TN_KITS_APPS_SUPPORT_VERSION_H_
#define TN_KITS_APPS_SUPPORT_VERSION_H_

#include <string>

namespace tarnkit {

// Version, commit and compiler of the tool; version and instruction set of the library that it runs
// with, which need not be the one that it was built with. No line break at the end.
std::string versionText();

}  // namespace tarnkit

#endif  // TN_KITS_APPS_SUPPORT_VERSION_H_
