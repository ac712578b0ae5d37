/// \file
/// Settings of a network: the precision of each layer's weights, and the number of threads.
///
/// docs/inference-config.md describes their text form. ConfigPrinter writes it, LayerInferenceConfig
/// reads it.
#ifndef TN_INFERENCE_CONFIG_H_
#define TN_INFERENCE_CONFIG_H_

#include <map>
#include <string>

#include "tn_cnn_export.h"

namespace TarnCPU {

// The names are those that callers know.
// NOLINTBEGIN(readability-identifier-naming)

/// The precision to which a layer's weights and biases are rounded when the network is built, to nearest
/// with ties to even. The arithmetic is f32 at every setting.
enum class WeightPrecision {
  kF32,   ///< not rounded
  kF16,   ///< IEEE half precision: 11 significant bits; beyond 65504 they become infinite
  kBf16,  ///< the upper half of a float: 8 significant bits, the range of f32
};

/// "f32", "f16" or "bf16".
TN_CNN_API const char* to_string(WeightPrecision precision);

/// Settings with value semantics. Use an object in one thread at a time.
class LayerInferenceConfig {
 public:
  /// All layers f32; the engine chooses the number of threads.
  TN_CNN_API LayerInferenceConfig();

  /// Reads a file like from_text, with the path as source. A file that cannot be read or has more than
  /// 64 MiB gives the default settings and one error line in the log.
  TN_CNN_API static LayerInferenceConfig from_file(const std::string& path);
  /// Reads settings. A line that does not parse is skipped and gives one error line in the log, which
  /// begins with "source:line: "; all other lines apply. Of two lines for the same setting the later one
  /// applies, with a log line too.
  TN_CNN_API static LayerInferenceConfig from_text(const std::string& text,
                                                   const std::string& source = "inference config");

  /// Sets a layer's precision. Layers have the names that Statistician and ConfigPrinter report. A name
  /// that the network does not have gives a log line when the network is built.
  TN_CNN_API void set_precision(const std::string& layer, WeightPrecision precision);
  /// kF32 for a layer that was not set.
  TN_CNN_API WeightPrecision get_precision(const std::string& layer) const;
  /// All layers that were set.
  TN_CNN_API const std::map<std::string, WeightPrecision>& get_precisions() const;

  /// The largest number that set_num_threads takes.
  static constexpr int kMostThreads = 1024;
  /// The number of threads with which extractors start; 0 leaves it to the engine. A number below 0 or
  /// above kMostThreads changes nothing and gives one error line in the log.
  TN_CNN_API void set_num_threads(int threads);
  /// The number set last; 0 by default.
  TN_CNN_API int get_num_threads() const;

 private:
  std::map<std::string, WeightPrecision> precisions_;
  int threads_ = 0;
};

// NOLINTEND(readability-identifier-naming)

}  // namespace TarnCPU

#endif  // TN_INFERENCE_CONFIG_H_
