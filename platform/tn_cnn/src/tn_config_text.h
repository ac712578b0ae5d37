// Words that the writer and the reader of inference configs agree on.
#ifndef TN_KITS_PLATFORM_TN_CNN_SRC_TN_CONFIG_TEXT_H_
#define TN_KITS_PLATFORM_TN_CNN_SRC_TN_CONFIG_TEXT_H_

#include <string>

namespace TarnCPU {

constexpr char kConfigFormat[] = "tarn-inference-config 1";
constexpr char kAutoThreads[] = "auto";
constexpr char kNoWeights[] = "-";

// A name as one word of a line: as it is, or in quotes with escapes where the reader would split it or
// take it for something else.
std::string quoteName(const std::string& name);

}  // namespace TarnCPU

#endif  // TN_KITS_PLATFORM_TN_CNN_SRC_TN_CONFIG_TEXT_H_
