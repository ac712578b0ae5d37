/// \file
/// Networks: loaded from a file, built with an inference config, run once an extractor.
///
/// The engine underneath is chosen when the library is built (TN_CNN_ENGINE); without one, LoadFile
/// fails. Whatever goes wrong gives one error line in the log, tag "Tarn", and the call can be repeated;
/// that goes for lack of memory too, except that create_extractor and get_input_shape throw
/// std::bad_alloc, and that a tensor's memory is as Mat says. No other exception leaves these classes.
/// While the engine works, its own messages on standard error are switched off for the whole process.
#ifndef TN_NET_H_
#define TN_NET_H_

#include <cstddef>
#include <memory>
#include <vector>

#include "tn_cnn_export.h"
#include "tn_inference_config.h"
#include "tn_mat.h"
#include "tn_statistician.h"

namespace TarnCPU {

// The names are those that callers know.
// NOLINTBEGIN(readability-identifier-naming)

/// Reads model files: ONNX, and no other format, since what is checked of a file before the engine sees
/// it has to be known of its format.
///
/// What ends a process in the engine is refused before it: tensors without the bytes of their shapes;
/// nodes with numbers that no network has (groups, strides, kernels, axes, sizes); weights that do not
/// fit what flows into them; dimensions repeated more than 10,000 times; the operator CumSum, with which
/// the engine overruns memory; and, as late as in the run, blobs of more than 2^28 elements (1 GiB).
/// That holds for common layers and common faults. It is no proof against whoever looks for another hole
/// in the engine, and bounds neither time nor the memory of all blobs together: run models from
/// strangers in a process of their own.
class KRNetLoader {
 public:
  /// Nothing is loaded.
  TN_CNN_API KRNetLoader();
  /// Takes over what was loaded; the other has nothing loaded afterwards.
  TN_CNN_API KRNetLoader(KRNetLoader&&) noexcept;
  /// Drops its own and takes over what was loaded.
  TN_CNN_API KRNetLoader& operator=(KRNetLoader&&) noexcept;
  TN_CNN_API ~KRNetLoader();

  /// Reads and checks a model file; false, after one error line with the reason, if it is missing,
  /// empty, truncated, malformed, or made of layers that the engine lacks. What was loaded before is
  /// forgotten in any case.
  /// flag: true only checks: nothing is kept to build networks from.
  TN_CNN_API bool LoadFile(const char* path, bool flag);
  /// The same for a model in memory, the bytes of an ONNX file; they are copied. Log lines call it
  /// "model in memory".
  TN_CNN_API bool LoadMemory(const void* bytes, std::size_t size, bool flag);

 private:
  friend class TarnNet;
  struct Model;
  void load(std::unique_ptr<Model> model, bool check_only);
  std::unique_ptr<const Model> model_;
};

/// One run of a network, or several with changed inputs; made by TarnNet::create_extractor. May outlive
/// its network. One extractor is to be used by one thread at a time; extractors of the same network run
/// one after another, those of different networks at the same time, except that a run for which a number
/// of threads was chosen has the engine to itself, since that number belongs to the whole process.
///
/// A run gives the same bits as another on the same inputs, machine and number of threads; with other
/// numbers the engine cuts layers up differently, and last bits can differ.
class TarnNetExtractor {
 public:
  /// Takes over inputs and results; the other is then only to be assigned to or destroyed.
  TN_CNN_API TarnNetExtractor(TarnNetExtractor&&) noexcept;
  /// Drops its own and takes over inputs and results.
  TN_CNN_API TarnNetExtractor& operator=(TarnNetExtractor&&) noexcept;
  TN_CNN_API ~TarnNetExtractor();

  /// Threads of the engine in this extractor's runs, in place of what the network's config says; 0
  /// leaves the number to the engine. More than the machine has processors count as that many; a number
  /// below 0 or above LayerInferenceConfig::kMostThreads gives an error line and changes nothing. What
  /// the process had is put back after each run.
  TN_CNN_API void set_num_threads(int threads);
  /// true frees every blob that nobody asked for as soon as the run no longer needs it; what stays are
  /// the network's outputs and the blob that was extracted, and extracting another one runs the network
  /// again. false, the default, keeps all blobs up to the extracted one. Results are the same bits.
  TN_CNN_API void set_light_mode(bool light);

  /// Feeds an input; it is copied. The network runs anew afterwards.
  /// index: from 0, in the order of the model file.
  /// blob: floats, CHW or HWC, one image: taken as 1 x c x h x w, or in the shape that the model file
  ///   declares where that has as many elements. Whether other sizes work shows when the network runs.
  /// Returns 0, or -1 after one error line.
  TN_CNN_API int input(int index, const Mat& blob);

  /// Index of the network's last layer, 0 if it has none.
  TN_CNN_API int get_last_layer_index() const;

  /// The first output of a layer; runs the network up to that layer unless an earlier run kept it.
  /// index: 1 (the first layer) to get_last_layer_index(), or 0 for the first input as it was fed.
  /// out: becomes a CHW float tensor. Dimensions of 1 are dropped in front until three are left; should
  ///   there be more, the surplus is folded into c: 1 x 24 x 80 x 80 gives c = 24, h = 80, w = 80;
  ///   1 x 300 x 8 gives c = 1, h = 300, w = 8; 1 x 10 gives c = 1, h = 1, w = 10. Its elements may be
  ///   shared with later calls of extract, so change a copy.
  /// stats: is told about the run that made the blob, up to that layer, and so nothing about the input;
  ///   null for nobody.
  /// Returns 0, or -1 after one error line; `out` is then untouched and `stats` told nothing.
  TN_CNN_API int extract(int index, Mat& out, Statistician* stats = nullptr);

 private:
  friend class TarnNet;
  struct State;
  explicit TarnNetExtractor(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

/// A network. Const operations may be called from several threads at once.
class TarnNet {
 public:
  /// Empty.
  TN_CNN_API TarnNet();
  /// Takes over the network; the other becomes empty.
  TN_CNN_API TarnNet(TarnNet&&) noexcept;
  /// Drops its own and takes over the network.
  TN_CNN_API TarnNet& operator=(TarnNet&&) noexcept;
  TN_CNN_API ~TarnNet();

  /// Builds the network from a loaded file; the loader is not needed afterwards.
  /// config: may be null; it is read during the call only. For each layer in it that the network lacks,
  ///   or that is to be rounded and has no weights, one error line; the rest is applied.
  /// If nothing was loaded, or the engine cannot build it: one error line, and the network is empty.
  TN_CNN_API void load_tarn_net_with_inference_config(const KRNetLoader& loader,
                                                      const LayerInferenceConfig* config);

  /// A fresh extractor. On an empty network, its input and extract fail.
  TN_CNN_API TarnNetExtractor create_extractor() const;

  /// Whether no network was built.
  TN_CNN_API bool empty() const;
  /// The inputs' number; 0 if empty.
  TN_CNN_API int get_input_count() const;
  /// The shape that the model file declares for an input, batch first; -1 for a size that it leaves
  /// open. Empty where the file does not say, or there is no such input.
  TN_CNN_API std::vector<int> get_input_shape(int index) const;

 private:
  friend class TarnNetExtractor;
  struct Built;
  std::shared_ptr<Built> built_;
};

// NOLINTEND(readability-identifier-naming)

}  // namespace TarnCPU

#endif  // TN_NET_H_
