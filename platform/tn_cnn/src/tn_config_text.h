// Text that the writer and the reader of inference configs share.
#ifndef TN_KITS_PLATFORM_TN_CNN_SRC_TN_CONFIG_TEXT_H_
#define TN_KITS_PLATFORM_TN_CNN_SRC_TN_CONFIG_TEXT_H_

#include <string>

namespace TarnCPU {

constexpr char kConfigFormat[] = "tarn-inference-config 1";
constexpr char kAutoThreads[] = "auto";
constexpr char kNoWeights[] = "-";

// A name as one word of a line: in quotes with escapes if the reader would not read the bare name back.
std::string quoteName(const std::string& name);

// The text with a blank for each control character, so that it stays on one line.
std::string withoutControls(std::string text);

}  // namespace TarnCPU

#endif  // TN_KITS_PLATFORM_TN_CNN_SRC_TN_CONFIG_TEXT_H_
