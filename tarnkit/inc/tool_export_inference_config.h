/// \file
/// Export of a network's inference config: which precision each layer has, and what it costs.
#ifndef TOOL_EXPORT_INFERENCE_CONFIG_H_
#define TOOL_EXPORT_INFERENCE_CONFIG_H_

#include <string>

#include "tn_cnn.h"
#include "tn_kits_export.h"

namespace TarnCPU {

/// Runs a network once on zeros and writes down how. Stateless: copies are alike, and objects may be
/// used by several threads at once on different files.
class TN_KITS_API ToolExportInferenceConfig {
 public:
  /// There is nothing to set up.
  ToolExportInferenceConfig();
  /// There is nothing to copy.
  ToolExportInferenceConfig(const ToolExportInferenceConfig&) = default;
  /// There is nothing to copy.
  ToolExportInferenceConfig& operator=(const ToolExportInferenceConfig&);
  ~ToolExportInferenceConfig();

  /// Loads a model file, builds the network with `layer_config`, runs it once on one thread and light on
  /// memory, on an input of zeros, and saves what a ConfigPrinter collected from header to tail.
  /// dim_a, dim_b, dim_c: channels, rows and columns of the network's first input, 1 or more; the tensor
  ///   gets dim_a * dim_b * dim_c floats and the width dim_c.
  /// config_path: written by saveToFile; LayerInferenceConfig::from_file reads it back.
  /// layer_config: handed to the network as it is; may be null.
  /// Errors: if the model file cannot be loaded, the assertion `false && "Cann't load model file"` ends
  ///   the program, in Release too; then those of saveToFile. A network that cannot be built or run is
  ///   reported in the network library's log only, and the text is saved without any layers.
  ///   std::bad_alloc.
  void exportConfig(std::string model_path, int dim_a, int dim_b, int dim_c, std::string config_path,
                    const LayerInferenceConfig* layer_config);

  /// Writes the text, up to its first zero byte if it has one, as a text file; one that exists is
  /// replaced.
  /// Errors: if the file cannot be opened, the assertion `false && "Cann't load file"` ends the program,
  ///   in Release too. Writing itself is not checked: a full disk leaves a shorter file.
  void saveToFile(const std::string& path, const std::string& text);
};

}  // namespace TarnCPU

#endif  // TOOL_EXPORT_INFERENCE_CONFIG_H_
