// What a detector's classes are called.
#ifndef TN_KITS_APPS_DETECTORS_LABEL_NAMES_H_
#define TN_KITS_APPS_DETECTORS_LABEL_NAMES_H_

#include <string>
#include <vector>

namespace tarnkit {

// Reads names from a file, one a line, for the classes 0, 1, 2 ...; blanks around a name, carriage
// returns, a byte order mark and empty lines at the end are passed over. Throws Failure naming the file,
// and the line where there is one, for a file without names, an empty line between names, a name with
// control characters, or more text than names have (1 MiB).
std::vector<std::string> readLabelNames(const std::string& path);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_DETECTORS_LABEL_NAMES_H_
