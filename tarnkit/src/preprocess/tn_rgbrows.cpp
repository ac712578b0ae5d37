// Colours in fixed point by vectors: 32-bit lanes, each with a sample of chroma and its one or two
// pixels.
#include "tarnkit/src/preprocess/tn_rgbrows.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "tarnkit/src/preprocess/tn_colours.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tarnkit/src/preprocess/tn_rgbrows.cpp"
#include "hwy/foreach_target.h"  // compiles this file again for every CPU target
#include "hwy/highway.h"

#ifndef TN_KITS_PREPROCESS_TN_RGBROWS_ONCE_
#define TN_KITS_PREPROCESS_TN_RGBROWS_ONCE_
namespace Tarn::preprocess {

// `count` pixels, the first with the first sample of chroma; where it is halved, the second as well.
struct ColourRow {
  RowForm chroma_form;
  bool halved;
  const std::uint8_t *luma, *u, *v;  // of pairs: both at u
  bool v_first;                      // of pairs
  std::size_t count;
  std::uint8_t* out[3];
};

}  // namespace Tarn::preprocess
#endif

HWY_BEFORE_NAMESPACE();
namespace Tarn::preprocess::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;
using DI = hn::ScalableTag<std::int32_t>;
using DU = hn::RebindToUnsigned<DI>;
using VI = hn::Vec<DI>;
using D8 = hn::Rebind<std::uint8_t, DU>;
using D16 = hn::Rebind<std::uint16_t, DU>;

// Lanes of any size at any address.
template <class D>
HWY_INLINE hn::Vec<D> LoadAnywhere(D d, const std::uint8_t* from) {
#if HWY_TARGET == HWY_SCALAR
  hn::TFromD<D> lane;
  std::memcpy(&lane, from, sizeof lane);
  return hn::Set(d, lane);
#else
  return hn::BitCast(d, hn::LoadU(hn::Repartition<std::uint8_t, D>(), from));
#endif
}
HWY_INLINE void StoreAnywhere(hn::Vec<D16> v, std::uint8_t* to) {
#if HWY_TARGET == HWY_SCALAR
  const std::uint16_t lane = hn::GetLane(v);
  std::memcpy(to, &lane, sizeof lane);
#else
  const hn::Repartition<std::uint8_t, D16> bytes;
  hn::StoreU(hn::BitCast(bytes, v), bytes, to);
#endif
}

HWY_INLINE VI LoadHalves(const std::uint8_t* from) {
  return hn::PromoteTo(DI(), LoadAnywhere(D16(), from));
}
HWY_INLINE VI LoadBytes(const std::uint8_t* from) { return hn::PromoteTo(DI(), hn::LoadU(D8(), from)); }
HWY_INLINE VI LowByte(VI v) { return hn::And(v, hn::Set(DI(), 0xFF)); }

// Ten bits to eight.
HWY_INLINE VI EightBits(VI v) {
  return hn::Min(hn::ShiftRight<2>(hn::Add(v, hn::Set(DI(), 2))), hn::Set(DI(), 255));
}

HWY_INLINE VI Colour(VI luma, VI chroma) {
  const DI d;
  return hn::Min(hn::Max(hn::ShiftRight<20>(hn::Add(luma, chroma)), hn::Zero(d)), hn::Set(d, 255));
}

template <RowForm kChroma, bool kHalved>
void ConvertRow(const ByteColourRule& rule, const ColourRow& job) {
  const DI d;
  const VI middle = hn::Set(d, 128), black = hn::Set(d, rule.luma_black);
  const VI luma_factor = hn::Set(d, rule.luma), half = hn::Set(d, 1 << 19);
  const VI red_v = hn::Set(d, rule.red_v), green_u = hn::Set(d, rule.green_u);
  const VI green_v = hn::Set(d, rule.green_v), blue_u = hn::Set(d, rule.blue_u);
  std::uint8_t *const red = job.out[0], *const green = job.out[1], *const blue = job.out[2];
  constexpr std::size_t kPixels = kHalved ? 2 : 1;
  constexpr bool kWords = kChroma == RowForm::kWords;
  const auto lightness = [&](VI y) HWY_ATTR {
    return hn::Add(hn::Mul(hn::Max(hn::Sub(y, black), hn::Zero(d)), luma_factor), half);
  };
  for (std::size_t i = 0, c = 0; i < job.count; i += kPixels * hn::Lanes(d), c += hn::Lanes(d)) {
    VI u, v;
    if constexpr (kChroma == RowForm::kPairs) {
      const VI both = LoadHalves(job.u + 2 * c);
      u = LowByte(both);
      v = hn::ShiftRight<8>(both);
      if (job.v_first) {
        const VI first = u;
        u = v;
        v = first;
      }
    } else if constexpr (kWords) {
      u = EightBits(LoadHalves(job.u + 2 * c));
      v = EightBits(LoadHalves(job.v + 2 * c));
    } else {
      u = LoadBytes(job.u + c);
      v = LoadBytes(job.v + c);
    }
    u = hn::Sub(u, middle);
    v = hn::Sub(v, middle);
    const VI r = hn::Mul(v, red_v), b = hn::Mul(u, blue_u);
    const VI g = hn::Add(hn::Mul(u, green_u), hn::Mul(v, green_v));
    if constexpr (kHalved) {
      VI y0, y1;
      if constexpr (kWords) {
        const auto both = LoadAnywhere(DU(), job.luma + 2 * i);
        y0 = EightBits(hn::BitCast(d, hn::And(both, hn::Set(DU(), 0xFFFFu))));
        y1 = EightBits(hn::BitCast(d, hn::ShiftRight<16>(both)));
      } else {
        const VI both = LoadHalves(job.luma + i);
        y0 = LowByte(both);
        y1 = hn::ShiftRight<8>(both);
      }
      y0 = lightness(y0);
      y1 = lightness(y1);
      const auto store = [&](VI chroma, std::uint8_t* out) HWY_ATTR {
        const VI both = hn::Or(Colour(y0, chroma), hn::ShiftLeft<8>(Colour(y1, chroma)));
        StoreAnywhere(hn::TruncateTo(D16(), hn::BitCast(DU(), both)), out + i);
      };
      store(r, red);
      store(g, green);
      store(b, blue);
    } else {
      const VI y = lightness(kWords ? EightBits(LoadHalves(job.luma + 2 * i)) : LoadBytes(job.luma + i));
      const auto store = [&](VI chroma, std::uint8_t* out) HWY_ATTR {
        hn::StoreU(hn::TruncateTo(D8(), hn::BitCast(DU(), Colour(y, chroma))), D8(), out + i);
      };
      store(r, red);
      store(g, green);
      store(b, blue);
    }
  }
}

template <bool kHalved>
void ConvertForm(const ByteColourRule& rule, const ColourRow& job) {
  const auto convert = job.chroma_form == RowForm::kPairs   ? ConvertRow<RowForm::kPairs, kHalved>
                       : job.chroma_form == RowForm::kWords ? ConvertRow<RowForm::kWords, kHalved>
                                                            : ConvertRow<RowForm::kBytes, kHalved>;
  convert(rule, job);
}

void Convert(const ByteColourRule& rule, const ColourRow& job) {
  (job.halved ? ConvertForm<true> : ConvertForm<false>)(rule, job);
}

void Grey(const GreyRule& rule, const std::uint8_t* const rgb[3], std::size_t count, std::uint8_t* out) {
  const DI d;
  const VI red = hn::Set(d, rule.red), green = hn::Set(d, rule.green), blue = hn::Set(d, rule.blue);
  const VI half = hn::Set(d, 1 << (rule.shift - 1));
  for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
    VI sum = hn::Add(hn::Mul(LoadBytes(rgb[0] + i), red), half);
    sum = hn::Add(sum, hn::Mul(LoadBytes(rgb[1] + i), green));
    sum = hn::Add(sum, hn::Mul(LoadBytes(rgb[2] + i), blue));
    const auto grey = hn::BitCast(DU(), hn::ShiftRightSame(sum, rule.shift));
    hn::StoreU(hn::TruncateTo(D8(), grey), D8(), out + i);
  }
}

void ToFloats(const std::uint8_t* row, std::size_t count, float* out) {
  const hn::ScalableTag<float> d;
  for (std::size_t i = 0; i < count; i += hn::Lanes(d))
    hn::Store(hn::ConvertTo(d, LoadBytes(row + i)), d, out + i);
}

}  // namespace
}  // namespace Tarn::preprocess::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Tarn::preprocess {
namespace {

HWY_EXPORT(Convert);
HWY_EXPORT(Grey);
HWY_EXPORT(ToFloats);

ByteColourRule byteRule(const FrameView& frame) {
  // What cv::cvtColor has for its only kind of YUV: 1.164 and so on, in three decimal places.
  if (frame.matrix == YuvMatrix::kBt601 && frame.range == YuvRange::kLimited)
    return {16, 1220542, 1673527, -409993, -852492, 2116026};
  const ColourRule c = colourRule(frame, TensorColour::kRgb);
  const auto fixed = [](float factor) {
    return static_cast<std::int32_t>(std::lround(static_cast<double>(factor) * (1 << 20)));
  };
  return {static_cast<std::int32_t>(c.luma_black),
          fixed(c.luma_gain),
          fixed(c.red_v),
          fixed(c.green_u),
          fixed(c.green_v),
          fixed(c.blue_u)};
}

// The halved sample of pixel x, both counted along an axis of `size` pixels that may be flipped.
int halvedSample(int x, int size, bool flip) {
  return flip ? halfUp(size, 1) - 1 - (size - 1 - x) / 2 : x / 2;
}

bool makesRows(const FrameView& frame, const GreyRule* grey) {
  const Samples samples = shapeOf(frame.format).samples;
  return samples == Samples::kYuv || (samples == Samples::kRgb && grey != nullptr);
}

}  // namespace

RgbRows::RgbRows(const FrameView& frame, SampleRange x, SampleRange y, int slots, const GreyRule* grey)
    // Rows that are made here need those that they are made of only once.
    : rows_(frame, x, y, makesRows(frame, grey) ? 2 : slots),
      grey_(grey),
      x_(x),
      slots_(slots),
      width_(uprightWidth(frame)),
      height_(uprightHeight(frame)),
      rule_(byteRule(frame)),
      pitch_(static_cast<std::size_t>(x.count()) + 2 * kRowSlack) {
  const FormatShape& shape = shapeOf(frame.format);
  const Turn turn = turnOf(frame.orientation);
  channels_ = shape.samples == Samples::kGray || grey != nullptr ? 1 : 3;
  if (shape.samples == Samples::kGray) grey_ = nullptr;
  converts_ = shape.samples == Samples::kYuv;
  halved_x_ = (turn.swapped ? shape.halved_y : shape.halved_x) != 0;
  halved_y_ = (turn.swapped ? shape.halved_x : shape.halved_y) != 0;
  flip_x_ = turn.swapped ? turn.flip_y : turn.flip_x;
  flip_y_ = turn.swapped ? turn.flip_x : turn.flip_y;
}

void RgbRows::take(TarnCPU::Arrays& arrays) {
  rows_.take(arrays);
  if (!converts_ && grey_ == nullptr) return;
  const std::size_t slots = static_cast<std::size_t>(slots_);
  // Grey has its own row behind the colours that it is made of.
  ring_ = arrays.take<std::uint8_t>(slots * (grey_ == nullptr ? 3 : 4) * pitch_);
  held_ = arrays.take<int>(slots);
}

void RgbRows::begin() {
  rows_.turn();
  if (held_ != nullptr) std::fill_n(held_, slots_, -1);
}

int RgbRows::pixelBytes() const {
  const FrameView& frame = rows_.frame();
  const Turn turn = turnOf(frame.orientation);
  const bool there =
      rows_.samples() == Samples::kRgb && grey_ == nullptr && !turn.swapped && !turn.flip_x;
  return there ? shapeOf(frame.format).pixel_bytes[0] : 0;
}

const std::uint8_t* RgbRows::pixels(int y, std::size_t bytes) const {
  const FrameView& frame = rows_.frame();
  const std::ptrdiff_t stride = frame.strides[0], row = flip_y_ ? height_ - 1 - y : y;
  // From the lowest address on.
  const std::ptrdiff_t at = (stride < 0 ? row - (height_ - 1) : row) * stride +
                            std::ptrdiff_t{x_.first} * shapeOf(frame.format).pixel_bytes[0];
  if (static_cast<std::size_t>(at) + bytes > frame.bytes[0]) return nullptr;
  return static_cast<const std::uint8_t*>(frame.planes[0]) + at +
         (stride < 0 ? (height_ - 1) * stride : 0);
}

void RgbRows::convert(int y, std::uint8_t* const out[3]) {
  const auto column = [&](int x) { return halved_x_ ? halvedSample(x, width_, flip_x_) : x; };
  const int chroma_y = halved_y_ ? halvedSample(y, height_, flip_y_) : y;
  const RowForm form = rows_.form(1);
  const std::uint8_t* const first = rows_.row(1, chroma_y);
  const std::uint8_t* const second = form == RowForm::kPairs ? first : rows_.row(2, chroma_y);
  const bool swap = form != RowForm::kPairs && rows_.vFirst();
  ColourRow job = {form,
                   halved_x_,
                   rows_.row(0, y),
                   swap ? second : first,
                   swap ? first : second,
                   rows_.vFirst(),
                   static_cast<std::size_t>(x_.count()),
                   {out[0], out[1], out[2]}};
  if (halved_x_ && x_.first < x_.last && column(x_.first) != column(x_.first + 1)) {
    // The first pixel is the second one of its chroma. What is written behind it is written again.
    job.count = 1;
    HWY_DYNAMIC_DISPATCH(Convert)(rule_, job);
    job.count = static_cast<std::size_t>(x_.count()) - 1;
    job.luma += rowUnit(rows_.form(0));
    job.u += rowUnit(form);
    job.v += rowUnit(form);
    for (std::uint8_t*& to : job.out) ++to;
  }
  HWY_DYNAMIC_DISPATCH(Convert)(rule_, job);
}

void RgbRows::row(int y, const std::uint8_t* out[3]) {
  if (ring_ == nullptr) {
    for (int c = 0; c < 3; ++c) out[c] = rows_.row(c < channels_ ? c : 0, y);
    return;
  }
  const int slot = y & (slots_ - 1);
  const std::size_t planes = grey_ == nullptr ? 3 : 4;
  std::uint8_t* const base = ring_ + static_cast<std::size_t>(slot) * planes * pitch_;
  std::uint8_t* const made[3] = {base, base + pitch_, base + 2 * pitch_};
  if (held_[slot] != y) {
    held_[slot] = y;
    const std::uint8_t* rgb[3] = {made[0], made[1], made[2]};
    if (converts_)
      convert(y, made);
    else
      for (int c = 0; c < 3; ++c) rgb[c] = rows_.row(c, y);
    if (grey_ != nullptr) HWY_DYNAMIC_DISPATCH(Grey)
    (*grey_, rgb, static_cast<std::size_t>(x_.count()), base + 3 * pitch_);
  }
  for (int c = 0; c < 3; ++c) out[c] = grey_ != nullptr ? base + 3 * pitch_ : made[c];
}

void bytesToFloats(const std::uint8_t* row, std::size_t count, float* out) {
  HWY_DYNAMIC_DISPATCH(ToFloats)(row, count, out);
}

}  // namespace Tarn::preprocess
#endif  // HWY_ONCE
