/// \file
/// Reports on a network's run, and a printer that writes them as the text of an inference config.
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
  int configured_threads = 0;  ///< as the network's LayerInferenceConfig says; 0: the engine's choice
  int threads = 0;             ///< of this run
};

/// One layer in a run.
struct LayerReport {
  int index = 0;                     ///< as in TarnNetExtractor::extract: 1 for the first layer
  std::string name;                  ///< as in an inference config
  std::string type;                  ///< the engine's name of the type
  std::vector<int> output_shape;     ///< of the layer's first output, batch first
  double milliseconds = 0.0;         ///< wall time of this layer; layers are never fused
  std::int64_t multiply_adds = 0;    ///< of convolutions and matrix products; 0 for other types
  std::int64_t parameter_bytes = 0;  ///< size of weights and biases at `precision`
  bool has_weights = false;          ///< whether it has weights that can be rounded
  WeightPrecision precision = WeightPrecision::kF32;  ///< of its weights
};

/// Receives the reports of a run after it: the network's first, then each layer's in order.
class TN_CNN_API Statistician {
 public:
  virtual ~Statistician();
  /// Called once per run. Does nothing unless overridden.
  virtual void on_network(const NetworkReport& report);
  /// Called once for each layer that ran.
  virtual void on_layer(const LayerReport& report) = 0;
};

/// Writes the text of an inference config: the settings of a run, which LayerInferenceConfig reads back,
/// and comments with what was measured for each layer. Use an object in one thread at a time.
class TN_CNN_API ConfigPrinter : public Statistician {
 public:
  /// An empty text.
  ConfigPrinter();
  /// Not copied: an object belongs to one run.
  ConfigPrinter(const ConfigPrinter&) = delete;
  ConfigPrinter& operator=(const ConfigPrinter&) = delete;
  ~ConfigPrinter() override;

  /// Adds the line with the format's name and version, without which the text cannot be read back, and
  /// a line of explanation.
  void add_header();
  /// Adds a line with totals.
  void add_tail();
  void on_network(const NetworkReport& report) override;
  void on_layer(const LayerReport& report) override;
  /// The text of what was added or reported: header, settings of the network, one line per layer with
  /// aligned columns, totals.
  std::string get_config_string() const;

 private:
  struct Notes;
  Notes* notes_;
};

// NOLINTEND(readability-identifier-naming)

}  // namespace TarnCPU

#endif  // TN_STATISTICIAN_H_
