// The matching modes kPillow...: Pillow's Image.resize on bytes.
#ifndef TN_KITS_PREPROCESS_TN_PILLOW_H_
#define TN_KITS_PREPROCESS_TN_PILLOW_H_

#include "tarnkit/src/preprocess/tn_geometry.h"
#include "tarnkit/src/preprocess/tn_rgbrows.h"

namespace Tarn::preprocess {

// The samples of every output along an axis, in groups, and their weights of 1 << 22, each in parts that
// a multiplication of bytes by them can take (GroupForm).
struct GroupTaps {
  std::size_t most = 0;             // groups that an output has at most
  std::int32_t* first = nullptr;    // sample number, from the first needed one on
  std::int32_t* groups = nullptr;   // their number
  std::int32_t* weights = nullptr;  // `most` groups for each output
};

// A group's samples and the 32-bit words with their weights.
enum class GroupForm {
  kTwo,     // 2 words: the low 16 bits of both, signed; then what is above
  kFour,    // 3 words: the low 16 bits, signed, of the first and third, of the second and fourth; then
            // bytes with what is above
  kDigits,  // four samples in 3 words: bytes of the lowest 8 bits, signed; of the next ones; of the rest
};

class Pillow {
 public:
  static constexpr bool kUpright = true;
  static constexpr bool kKeepsTables = false;

  Pillow(const TensorSpec& spec, const FrameView& frame, const Geometry& geometry);
  void take(TarnCPU::Arrays& arrays);
  void begin();
  void row(std::size_t k, const float* out[3]);

 private:
  static constexpr std::size_t kBand = 16;  // rows that are resized across at a time

  struct Axis {
    AxisGeometry geometry;
    bool resized;
    std::size_t most;    // samples that an output has at most
    SampleRange needed;  // counted as the region's axis is
    GroupForm form;
    GroupTaps taps;
  };
  static Axis makeAxis(const AxisGeometry& geometry, Resampling filter, GroupForm form);
  void takeTaps(Axis& axis, TarnCPU::Arrays& arrays) const;
  void fillTaps(const Axis& axis) const;

  int slots() const;
  int sourceRowNumber(std::size_t y) const;
  void sourceRow(std::size_t y, const std::uint8_t* out[3]);
  std::uint8_t* ringRow(std::size_t y, int channel) const;
  bool turnPixels(std::size_t first, std::size_t count);
  void turnBand(std::size_t count);
  void acrossBand(std::size_t first, std::size_t count);
  // Combines the rows of output k, whose pointers are in `sources_`.
  void down(std::size_t k, std::uint8_t* const out[3]);
  void downSource(std::size_t k, std::uint8_t* const out[3]);
  void acrossFirst(std::size_t k, const std::uint8_t* out[3]);
  void downFirst(std::size_t k, const std::uint8_t* out[3]);

  Resampling filter_;
  Axis x_, y_;
  bool down_first_;
  RgbRows rows_;
  int channels_;
  std::size_t count_;      // outputs in a row
  std::size_t needed_;     // samples in a source row
  std::size_t ring_rows_;  // rows resized across that are kept
  std::size_t made_ = 0;   // such rows so far
  std::size_t pitch_ = 0;  // of rows of outputs
  std::size_t source_pitch_ = 0;
  double* exact_ = nullptr;  // weights of one output
  const std::uint8_t** sources_[3] = {};
  const std::uint8_t* band_[3][kBand] = {};
  std::uint8_t* band_rows_ = nullptr;  // resized down, to be resized across
  std::uint8_t* turned_[3] = {};       // a band's columns by fours: 16 rows of four bytes each
  std::uint32_t* fours_[3] = {};       // its outputs by fours, likewise
  std::uint8_t* ring_ = nullptr;
  std::uint8_t* result_[3] = {};
  float* values_[3] = {};
};

}  // namespace Tarn::preprocess

#endif  // TN_KITS_PREPROCESS_TN_PILLOW_H_
