// Rows of colours into a tensor: normalised, converted to its elements, laid out as it wants them, with
// bars around them.
#ifndef TN_KITS_PREPROCESS_TN_TENSORWRITER_H_
#define TN_KITS_PREPROCESS_TN_TENSORWRITER_H_

#include <cstddef>
#include <cstdint>

#include "common/tn_arrays.h"
#include "tarnkit/src/preprocess/tn_geometry.h"

namespace Tarn::preprocess {

// What is done to a value, and how: the operations that change nothing are left out.
enum class Chain {
  kNone,
  kDivide,       // by the divisor alone
  kWhole,        // all four
  kWholePlainly  // with the processor's division: numbers that the fast one is not exact for
};

struct ChannelChain {
  Chain chain;
  float divisor, mean, deviation, scale;
  float divisor_reciprocal, deviation_reciprocal;
};

// What elements are made of normalised values.
enum class Conversion { kFloat32, kFloat16, kBfloat16, kBytes, kQuantisedBytes, kQuantisedSigned };

// Everything about the elements.
struct ElementRule {
  Conversion conversion;
  ChannelChain channels[3];
  float step;  // of quantised ones
  int zero_point;
};

// Bars are filled by a pattern of whole elements, pixels of three elements, and cache lines, which may
// begin anywhere in its first line.
constexpr std::size_t kPatternLine = 64;
constexpr std::size_t kPatternBytes = 3 * kPatternLine;

class TensorWriter {
 public:
  explicit TensorWriter(const TensorSpec& spec);

  // One tensor. by_columns: put() gets columns of the upright picture instead of rows.
  void begin(const Geometry& geometry, bool by_columns, void* tensor);
  void take(TarnCPU::Arrays& arrays);
  // Content row (or column) k: as many rows of values as the tensor has channels, in the order red,
  // green, blue, padded to kFetchLanes. To be called for all of them in order.
  void put(std::size_t k, const float* const colours[3]);

 private:
  // Columns that are turned into rows at a time. Fewer leave rows of the tensor to be written in shorter
  // pieces.
  static constexpr std::size_t kBand = 64;

  std::uint8_t* elementAt(std::size_t channel, std::size_t y, std::size_t x) const;
  void fillBar(std::size_t y, std::size_t x, std::size_t count);
  // Bars above and below, counted from the top without the content; and left and right of a row.
  void fillBars(std::size_t first, std::size_t last);
  void fillSides(std::size_t y);
  void putRow(std::size_t k, const float* const colours[3]);
  void putBand(std::size_t first, std::size_t count);

  std::size_t width_, height_, channels_, element_;
  bool interleaved_, blue_first_;
  ElementRule rule_;
  std::uint8_t bars_[3][kPatternBytes + kPatternLine];  // of each plane, its elements again and again
  Geometry geometry_ = {};
  bool by_columns_ = false;
  std::uint8_t* tensor_ = nullptr;
  std::uint8_t* band_ = nullptr;    // of elements, by columns
  std::uint8_t* turned_ = nullptr;  // the same by rows, for interleaved channels
};

}  // namespace Tarn::preprocess

#endif  // TN_KITS_PREPROCESS_TN_TENSORWRITER_H_
