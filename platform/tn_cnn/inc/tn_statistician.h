/// \file
/// Reports on a network's run, and the printer that turns them into the text of an inference config.
#ifndef TN_STATISTICIAN_H_
#define TN_STATISTICIAN_H_

#include <cstdint>
#include <string>
#include <vector>

#include "tn_cnn_export.h"
#include "tn_inference_config.h"

namespace TarnCPU {

// The names are those that callers know.
// NOLINTBEGIN(readability-identifier-naming)

/// One run of a network.
struct NetworkReport {
  int configured_threads = 0;  ///< what the network's LayerInferenceConfig asks for; 0: nothing
  int threads = 0;             ///< what this run had
};

/// One layer in a run.
struct LayerReport {
  int index = 0;     ///< as TarnNetExtractor::extract takes it; 0 is the input, so the first is 1
  std::string name;  ///< as an inference config names it
  std::string type;  ///< in the engine's words
  std::vector<int> output_shape;     ///< of the layer's first output, batch first
  double milliseconds = 0.0;         ///< wall time of this layer alone; layers are never fused
  std::int64_t multiply_adds = 0;    ///< of convolutions and matrix products; 0 for other types
  std::int64_t parameter_bytes = 0;  ///< weights and biases, stored at `precision`
  bool has_weights = false;          ///< whether there is anything to round
  WeightPrecision precision = WeightPrecision::kF32;  ///< in force
};

/// Is told about a run, after it: the network first, then each of its layers in order.
class TN_CNN_API Statistician {
 public:
  virtual ~Statistician();
  /// Told once a run. Does nothing unless overridden.
  virtual void on_network(const NetworkReport& report);
  /// Told once for each layer that ran.
  virtual void on_layer(const LayerReport& report) = 0;
};

/// Collects the text of an inference config: settings that LayerInferenceConfig reads back, with what
/// each layer was measured at as comments. To be used by one thread at a time.
class TN_CNN_API ConfigPrinter : public Statistician {
 public:
  /// An empty text.
  ConfigPrinter();
  /// Not copied: it stands for one run.
  ConfigPrinter(const ConfigPrinter&) = delete;
  ConfigPrinter& operator=(const ConfigPrinter&) = delete;
  ~ConfigPrinter() override;

  /// Asks for the line that names the format and its version, without which the text cannot be read
  /// back, and for a word of explanation.
  void add_header();
  /// Asks for the totals.
  void add_tail();
  void on_network(const NetworkReport& report) override;
  void on_layer(const LayerReport& report) override;
  /// The text: header, settings of the network, one line a layer with aligned columns, totals; of these
  /// whatever was asked for or reported.
  std::string get_config_string() const;

 private:
  struct Notes;
  Notes* notes_;
};

// NOLINTEND(readability-identifier-naming)

}  // namespace TarnCPU

#endif  // TN_STATISTICIAN_H_
