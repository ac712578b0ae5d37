// The 8-bit upright RGB picture, or the grey one made of it, row by row: what the matching modes resize.
#ifndef TN_KITS_PREPROCESS_TN_RGBROWS_H_
#define TN_KITS_PREPROCESS_TN_RGBROWS_H_

#include <cstddef>
#include <cstdint>

#include "tarnkit/src/preprocess/tn_rows.h"

namespace Tarn::preprocess {

// Grey made of bytes: (red R + green G + blue B + half) >> shift, with half of 1 << shift. The factors
// add up to 1 << shift.
struct GreyRule {
  std::int32_t red, green, blue;
  int shift;
};

// YUV to RGB in fixed point, 20 bits behind the point.
struct ByteColourRule {
  std::int32_t luma_black, luma, red_v, green_u, green_v, blue_u;
};

class RgbRows {
 public:
  // x, y: pixels of the upright picture. slots: rows that stay valid side by side, a power of two.
  // grey: null for three colours. The frame and the rule must outlive it.
  RgbRows(const FrameView& frame, SampleRange x, SampleRange y, int slots, const GreyRule* grey);
  void take(TarnCPU::Arrays& arrays);
  // To be called before the first row, once there is memory.
  void begin();

  // Rows that differ: 3, or 1 where every colour is the same.
  int channels() const { return channels_; }
  // Bytes of a pixel where the frame's own rows are the picture's, else 0.
  int pixelBytes() const;
  bool blueFirst() const { return shapeOf(rows_.frame().format).second_first; }
  // Row y of such a frame from its first column on, or null where the plane's memory does not have so
  // many bytes from there.
  const std::uint8_t* pixels(int y, std::size_t bytes) const;

  // Row y from its first column on, kRowSlack bytes readable behind the last. Valid until a row that is
  // `slots` rows away is asked for.
  void row(int y, const std::uint8_t* out[3]);

 private:
  void convert(int y, std::uint8_t* const out[3]);

  UprightRows rows_;
  const GreyRule* grey_;
  SampleRange x_;
  int slots_, channels_;
  bool converts_;             // from YUV
  bool halved_x_, halved_y_;  // chroma, along the upright axes
  bool flip_x_, flip_y_;      // of the upright axes
  int width_, height_;        // of the upright picture
  ByteColourRule rule_;
  std::size_t pitch_;
  std::uint8_t* ring_ = nullptr;  // rows made here: those of a slot one after the other
  int* held_ = nullptr;           // which row a slot holds
};

// Bytes as floats. Both rows are padded to kFetchLanes.
void bytesToFloats(const std::uint8_t* row, std::size_t count, float* out);

}  // namespace Tarn::preprocess

#endif  // TN_KITS_PREPROCESS_TN_RGBROWS_H_
