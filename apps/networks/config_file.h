// Inference configs from files.
#ifndef TN_KITS_APPS_NETWORKS_CONFIG_FILE_H_
#define TN_KITS_APPS_NETWORKS_CONFIG_FILE_H_

#include <string>

#include "tn_cnn.h"

namespace tarnkit {

// The config of a file, the default one for an empty path. Lines that cannot be applied are left to the
// library's log. Throws Failure for a file that cannot be read.
TarnCPU::LayerInferenceConfig readConfigFile(const std::string& path);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_NETWORKS_CONFIG_FILE_H_
