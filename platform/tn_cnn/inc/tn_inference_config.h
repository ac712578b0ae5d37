/// \file
/// How a network is to run: the precision of each layer's weights and the number of threads.
///
/// docs/inference-config.md has the text form, which ConfigPrinter writes and this class reads.
#ifndef TN_INFERENCE_CONFIG_H_
#define TN_INFERENCE_CONFIG_H_

#include <map>
#include <string>

#include "tn_cnn_export.h"

namespace TarnCPU {

// The names are those that callers know.
// NOLINTBEGIN(readability-identifier-naming)

/// What a layer's weights and biases are rounded to, to nearest with ties to even, when the network is
/// built. The arithmetic stays that of f32 at every setting.
enum class WeightPrecision {
  kF32,   ///< as they are in the model file
  kF16,   ///< IEEE half precision: 11 significant bits; beyond 65504 they become infinite
  kBf16,  ///< the upper half of a float: 8 significant bits, the range of f32
};

/// "f32", "f16" or "bf16".
TN_CNN_API const char* to_string(WeightPrecision precision);

/// Plain settings with value semantics; one object is to be used by one thread at a time, different ones
/// are independent.
class LayerInferenceConfig {
 public:
  /// All layers f32, threads left to the engine.
  TN_CNN_API LayerInferenceConfig();

  /// Reads a file of settings. A file that cannot be read gives the default settings and one error line
  /// in the log; what is in it is treated as by from_text, with the path in front.
  TN_CNN_API static LayerInferenceConfig from_file(const std::string& path);
  /// Reads settings. Each line that does not parse gets one error line in the log, which begins with
  /// "source:line: ", and is skipped; all others apply; "-" says f32. Of two lines for the same setting
  /// the later one counts, with a log line too.
  TN_CNN_API static LayerInferenceConfig from_text(const std::string& text,
                                                   const std::string& source = "inference config");

  /// Layers go by the names that Statistician and ConfigPrinter report. Whether a network has such a
  /// layer shows when it is built.
  TN_CNN_API void set_precision(const std::string& layer, WeightPrecision precision);
  /// kF32 for layers of which nothing was said.
  TN_CNN_API WeightPrecision get_precision(const std::string& layer) const;
  /// All layers of which something was said.
  TN_CNN_API const std::map<std::string, WeightPrecision>& get_precisions() const;

  /// The largest number that set_num_threads takes.
  static constexpr int kMostThreads = 1024;
  /// How many threads extractors start out with; 0 leaves the number to the engine. Numbers below 0 or
  /// above kMostThreads change nothing and give one error line in the log.
  TN_CNN_API void set_num_threads(int threads);
  /// What set_num_threads took last; 0 at first.
  TN_CNN_API int get_num_threads() const;

 private:
  std::map<std::string, WeightPrecision> precisions_;
  int threads_ = 0;
};

// NOLINTEND(readability-identifier-naming)

}  // namespace TarnCPU

#endif  // TN_INFERENCE_CONFIG_H_
