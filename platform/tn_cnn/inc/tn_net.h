/// \file
/// Networks: loaded from a file, built with an inference config, run by extractors.
///
/// The engine underneath is chosen when the library is built (TN_CNN_ENGINE); without one, LoadFile
/// fails. Every fault gives one error line in the log, tag "Tarn", and the call can be repeated. That
/// includes lack of memory, with two exceptions: create_extractor and get_input_shape throw
/// std::bad_alloc, and Mat describes what happens without memory for a tensor. No other exception leaves
/// these classes. While the engine works, its own messages on standard error are switched off for the
/// whole process.
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

/// Reads model files in the ONNX format, the only one whose sizes can be checked before the engine reads
/// it.
///
/// Checked, and refused with one error line:
///   - files of more than 2^31 - 1 bytes, and files that are cut off;
///   - tensors whose data does not match their shape, or of more than 2^31 - 1 elements;
///   - graphs nested more than 32 deep;
///   - the operator CumSum, with which the engine overruns memory;
///   - in extract: blobs of more than 2^28 elements (1 GiB as floats).
///
/// Not checked: the attributes and inputs of nodes, beyond what the engine itself checks, the memory of
/// all blobs together, and time. A damaged or hostile model can therefore end the process, overrun its
/// memory or keep it busy. So can two kinds of valid nodes with OpenCV 4.6: a Gather of one index along
/// a negative axis, and arithmetic with a constant of more dimensions than the other operand. Run models
/// from strangers in a process of their own, with limits on memory and time; SECURITY.md shows how.
class KRNetLoader {
 public:
  /// Nothing is loaded.
  TN_CNN_API KRNetLoader();
  /// Takes over the loaded model; the other has none afterwards.
  TN_CNN_API KRNetLoader(KRNetLoader&&) noexcept;
  /// Drops its own model and takes over the other's.
  TN_CNN_API KRNetLoader& operator=(KRNetLoader&&) noexcept;
  TN_CNN_API ~KRNetLoader();

  /// Reads and checks a model file. Returns false, after one error line with the reason, if the file
  /// is missing, empty, truncated or malformed, or uses layers that the engine lacks. The model loaded
  /// before is dropped in any case.
  /// flag: true only checks; the model is not kept.
  TN_CNN_API bool LoadFile(const char* path, bool flag);
  /// The same for the bytes of an ONNX file in memory, which are copied. Log lines call the model
  /// "model in memory".
  TN_CNN_API bool LoadMemory(const void* bytes, std::size_t size, bool flag);

 private:
  friend class TarnNet;
  struct Model;
  void load(std::unique_ptr<Model> model, bool check_only);
  std::unique_ptr<const Model> model_;
};

/// Runs a network, once or several times with changed inputs; made by TarnNet::create_extractor. May
/// outlive its network.
///
/// Use an extractor in one thread at a time. Runs of the same network take turns; runs of different
/// networks go on at the same time. A run with a number of threads of its own (set_num_threads) runs
/// alone, since that number belongs to the whole process.
///
/// Runs on the same inputs, machine and number of threads give the same bits. With another number of
/// threads the engine splits layers differently, and last bits can differ.
class TarnNetExtractor {
 public:
  /// Takes over inputs and results; afterwards the other may only be assigned to or destroyed.
  TN_CNN_API TarnNetExtractor(TarnNetExtractor&&) noexcept;
  /// Drops its own inputs and results and takes over the other's.
  TN_CNN_API TarnNetExtractor& operator=(TarnNetExtractor&&) noexcept;
  TN_CNN_API ~TarnNetExtractor();

  /// The engine's number of threads in this extractor's runs, instead of the config's; 0 leaves the
  /// number to the engine. Numbers above the machine's processors count as that many. A number below 0
  /// or above LayerInferenceConfig::kMostThreads gives an error line and changes nothing. The process's
  /// own number is restored after each run.
  TN_CNN_API void set_num_threads(int threads);
  /// In light mode a run keeps only the network's outputs and the extracted blob, and extracting another
  /// blob runs the network again. Otherwise, which is the default, a run keeps all blobs up to the
  /// extracted one. Results are the same bits.
  TN_CNN_API void set_light_mode(bool light);

  /// Copies an input. Earlier results are dropped, and the next extract runs the network.
  /// index: from 0, in the order of the model file.
  /// blob: floats, CHW or HWC, one image. If the model file declares a shape with as many elements, the
  ///   blob is fed in that shape, otherwise as 1 x c x h x w. A size that the network cannot take makes
  ///   extract fail.
  /// Returns 0, or -1 after one error line.
  TN_CNN_API int input(int index, const Mat& blob);

  /// Index of the network's last layer; 0 for an empty network.
  TN_CNN_API int get_last_layer_index() const;

  /// Gives the first output of a layer. Runs the network up to that layer unless an earlier run kept the
  /// blob.
  /// index: 1 (the first layer) to get_last_layer_index(), or 0 for the first input as it was fed.
  /// out: becomes a CHW float tensor. Leading dimensions of 1 are dropped until three are left, and any
  ///   further leading ones are multiplied into c: 1 x 24 x 80 x 80 gives c = 24, h = 80, w = 80;
  ///   1 x 300 x 8 gives c = 1, h = 300, w = 8; 1 x 10 gives c = 1, h = 1, w = 10. Later calls of
  ///   extract may share its elements, so change a copy.
  /// stats: gets the reports of the run that made the blob, up to that layer; none for index 0. May be
  ///   null.
  /// Returns 0, or -1 after one error line; then `out` is unchanged and `stats` gets no report.
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
  /// Drops its own network and takes over the other's.
  TN_CNN_API TarnNet& operator=(TarnNet&&) noexcept;
  TN_CNN_API ~TarnNet();

  /// Builds the network from a loaded file; the loader is not needed afterwards.
  /// config: may be null; only read during the call. A layer that the network does not have, or that has
  ///   no weights to round, gives one error line; the rest applies.
  /// Errors: if nothing was loaded, or the engine cannot build the network: one error line, and the
  /// network is empty.
  TN_CNN_API void load_tarn_net_with_inference_config(const KRNetLoader& loader,
                                                      const LayerInferenceConfig* config);

  /// A new extractor. For an empty network its input and extract fail.
  TN_CNN_API TarnNetExtractor create_extractor() const;

  /// Whether no network was built.
  TN_CNN_API bool empty() const;
  /// Number of inputs; 0 if empty.
  TN_CNN_API int get_input_count() const;
  /// The shape that the model file declares for an input, batch first; -1 for an open size. Empty if the
  /// file declares none, or there is no such input.
  TN_CNN_API std::vector<int> get_input_shape(int index) const;

 private:
  friend class TarnNetExtractor;
  struct Built;
  std::shared_ptr<Built> built_;
};

// NOLINTEND(readability-identifier-naming)

}  // namespace TarnCPU

#endif  // TN_NET_H_
