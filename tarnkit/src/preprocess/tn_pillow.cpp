// Sums of products, exact in 32 bits: bytes by pairs of 16-bit halves of weights.
//
// Across, a band of sixteen rows is turned so that each 32-bit lane of a vector has four neighbouring
// columns of a row. The rows then share each weight, and no sum has to be collected from lanes.
#include "tarnkit/src/preprocess/tn_pillow.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "tarnkit/src/cpu_x86/tn_wordfetch_cpu_x86.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tarnkit/src/preprocess/tn_pillow.cpp"
#include "hwy/foreach_target.h"  // compiles this file again for every CPU target
#include "hwy/highway.h"

#include "common/tn_blocks-inl.h"
#include "common/tn_intrinsics-inl.h"

#ifndef TN_KITS_PREPROCESS_TN_PILLOW_ONCE_
#define TN_KITS_PREPROCESS_TN_PILLOW_ONCE_
namespace Tarn::preprocess {

constexpr int kWeightBits = 22;
constexpr std::size_t kPillowRows = 16;  // of a band

// A band of rows to be resized across.
struct AcrossJob {
  std::size_t channels, rows;
  const std::uint8_t* const* source[3];  // as they are
  const std::uint8_t* turned[3];         // by fours
  GroupForm form;
  const GroupTaps* taps;
  std::size_t count;        // outputs
  std::uint32_t* fours[3];  // memory to work in
  std::uint8_t* out[3][kPillowRows];
};

}  // namespace Tarn::preprocess
#endif

HWY_BEFORE_NAMESPACE();
namespace Tarn::preprocess::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

#if TN_BLOCKS
using D32 = hn::ScalableTag<std::int32_t>;
using D16 = hn::Repartition<std::int16_t, D32>;
using D8 = hn::Repartition<std::uint8_t, D32>;
using V32 = hn::Vec<D32>;
using V16 = hn::Vec<D16>;

// Adds the products of neighbouring lanes. Highway leaves open where the sums go; on x86 they stay in
// order.
HWY_INLINE V32 SumOfProducts(V16 a, V16 b, V32 sum) {
  V32 unused = hn::Zero(D32());
  return hn::ReorderWidenMulAccumulate(D32(), a, b, sum, unused);
}

HWY_INLINE V32 Rounded(V32 sum) {
  return hn::ShiftRight<kWeightBits>(hn::Add(sum, hn::Set(D32(), 1 << (kWeightBits - 1))));
}

// Columns by fours: byte 4 * row + k of 64 * i on is column 4 * i + k.
void TurnBand(const std::uint8_t* const* rows, std::size_t columns, std::uint8_t* turned) {
  const hn::Repartition<std::uint8_t, D32> d8;
  const hn::Repartition<std::uint64_t, D32> d64;
  constexpr std::size_t kBlocks = hn::MaxLanes(D32()) / 4;
  for (std::size_t x = 0; x < columns; x += 16, turned += 16 * kPillowRows)
    for (std::size_t h = 0; h < 4; h += kBlocks) {
      // Block b of a vector has a row of the quarter h + b.
      const auto load = [&](std::size_t row) HWY_ATTR {
        return hn::BitCast(D32(), TarnCPU::HWY_NAMESPACE::GatherBlocks(d8, [&](std::size_t b) HWY_ATTR {
                             return rows[4 * (h + b) + row] + x;
                           }));
      };
      const auto store = [&](std::size_t unit, auto v) HWY_ATTR {
        hn::StoreU(hn::BitCast(d8, v), d8, turned + unit * 4 * kPillowRows + 16 * h);
      };
      const V32 a = load(0), b = load(1), c = load(2), e = load(3);
      const auto ab0 = hn::BitCast(d64, hn::InterleaveLower(D32(), a, b));
      const auto ce0 = hn::BitCast(d64, hn::InterleaveLower(D32(), c, e));
      store(0, hn::InterleaveLower(d64, ab0, ce0));
      store(1, hn::InterleaveUpper(d64, ab0, ce0));
      const auto ab1 = hn::BitCast(d64, hn::InterleaveUpper(D32(), a, b));
      const auto ce1 = hn::BitCast(d64, hn::InterleaveUpper(D32(), c, e));
      store(2, hn::InterleaveLower(d64, ab1, ce1));
      store(3, hn::InterleaveUpper(d64, ab1, ce1));
    }
}

// The same for all three colours of rows of pixels. Reads exactly the rows.
template <int kBytes>
void TurnPixels(const std::uint8_t* const* rows, bool blue_first, std::size_t columns,
                std::uint8_t* const turned[3]) {
  const D8 d8;
  const hn::Repartition<std::uint64_t, D32> d64;
  constexpr std::size_t kBlocks = hn::MaxLanes(D32()) / 4, kGroup = 4 * kBytes;
  // Four pixels' first bytes, their second ones, their third ones.
  HWY_ALIGN std::uint8_t places[16] = {};
  for (std::size_t i = 0; i < 12; ++i) places[i] = static_cast<std::uint8_t>(i % 4 * kBytes + i / 4);
  const auto shuffle = hn::LoadDup128(d8, places);
  std::uint8_t* out[3] = {turned[blue_first ? 2 : 0], turned[1], turned[blue_first ? 0 : 2]};
  const auto turn = [&](const std::uint8_t* const* from, std::size_t at) HWY_ATTR {
    for (std::size_t h = 0; h < 4; h += kBlocks) {
      const auto load = [&](std::size_t row) HWY_ATTR {
        const auto v = TarnCPU::HWY_NAMESPACE::GatherBlocks(
            d8, [&](std::size_t b) HWY_ATTR { return from[4 * (h + b) + row] + at; });
        return hn::BitCast(D32(), hn::TableLookupBytes(v, shuffle));
      };
      const V32 a = load(0), b = load(1), c = load(2), e = load(3);
      const auto ab0 = hn::BitCast(d64, hn::InterleaveLower(D32(), a, b));
      const auto ce0 = hn::BitCast(d64, hn::InterleaveLower(D32(), c, e));
      const auto ab1 = hn::BitCast(d64, hn::InterleaveUpper(D32(), a, b));
      const auto ce1 = hn::BitCast(d64, hn::InterleaveUpper(D32(), c, e));
      hn::Store(hn::BitCast(d8, hn::InterleaveLower(d64, ab0, ce0)), d8, out[0] + 16 * h);
      hn::Store(hn::BitCast(d8, hn::InterleaveUpper(d64, ab0, ce0)), d8, out[1] + 16 * h);
      hn::Store(hn::BitCast(d8, hn::InterleaveLower(d64, ab1, ce1)), d8, out[2] + 16 * h);
    }
    for (std::uint8_t*& to : out) to += 4 * kPillowRows;
  };
  const std::size_t bytes = columns * kBytes;
  std::size_t at = 0;
  for (; at + 16 <= bytes; at += kGroup) turn(rows, at);
  // The rest, of less than 16 bytes, from memory of its own.
  std::uint8_t rest[kPillowRows][32] = {};
  const std::uint8_t* rest_rows[kPillowRows];
  for (std::size_t r = 0; r < kPillowRows; ++r) {
    std::copy(rows[r] + at, rows[r] + bytes, rest[r]);
    rest_rows[r] = rest[r];
  }
  for (std::size_t done = at; done < bytes; done += kGroup) turn(rest_rows, done - at);
}

bool TurnBandOfPixels(const std::uint8_t* const* rows, int pixel_bytes, bool blue_first,
                      std::size_t columns, std::uint8_t* const turned[3]) {
  (pixel_bytes == 3 ? TurnPixels<3> : TurnPixels<4>)(rows, blue_first, columns, turned);
  return true;
}

// The sums of an output in as many rows as there are lanes, each of four columns at a time.
struct FourSums {
  V32 low;
  // Of neighbours. The weights of an output add up to 1, or to 1.25 in size where some are below 0; of
  // what is above 16 bits that is about 64 or 80, and half a bit more for each of them that rounding
  // did not make 0. These are few or small, so that no sum of neighbours passes 128 * 255.
  V16 high;
  HWY_INLINE void clear() {
    low = hn::Zero(D32());
    high = hn::Zero(D16());
  }
  HWY_INLINE void add(hn::Vec<D8> bytes, const std::int32_t* weights) {
    const hn::RebindToUnsigned<D16> du16;
    const auto halves = hn::BitCast(du16, bytes);
    const V16 even = hn::BitCast(D16(), hn::And(halves, hn::Set(du16, 0xFF)));
    const V16 odd = hn::BitCast(D16(), hn::ShiftRight<8>(halves));
    low = SumOfProducts(even, hn::BitCast(D16(), hn::Set(D32(), weights[0])), low);
    low = SumOfProducts(odd, hn::BitCast(D16(), hn::Set(D32(), weights[1])), low);
    high = hn::Add(
        high, TarnCPU::HWY_NAMESPACE::MulAddBytes(bytes, hn::BitCast(D8(), hn::Set(D32(), weights[2]))));
  }
  HWY_INLINE V32 rounded() const {
    const V32 sum = SumOfProducts(high, hn::Set(D16(), 1), hn::Zero(D32()));
    return Rounded(hn::Add(hn::ShiftLeft<16>(sum), low));
  }
};

// Puts a byte below those that are there.
HWY_INLINE V32 Joined(V32 bytes, V32 sum) {
  const V32 byte = hn::Min(hn::Max(sum, hn::Zero(D32())), hn::Set(D32(), 255));
  return hn::Or(hn::ShiftLeft<8>(bytes), byte);
}

// Outputs by fours: entry 16 * i + row has outputs 4 * i to 4 * i + 3, the first in the lowest byte.
void AcrossTurned(const std::uint8_t* turned, const GroupTaps& taps, std::size_t count,
                  std::uint32_t* fours) {
  const D32 d;
  const hn::RebindToUnsigned<D32> du;
  constexpr std::size_t kLanes = hn::MaxLanes(D32()), kVectors = kPillowRows / kLanes;
  for (std::size_t k = 0; k < count; k += 4, fours += kPillowRows) {
    // The loop over groups has all registers to itself.
    HWY_ALIGN std::int32_t low[4 * kPillowRows];
    HWY_ALIGN std::int16_t high[8 * kPillowRows];
    for (std::size_t output = 0; output < 4; ++output) {
      const std::size_t at = k + output;
      const std::uint8_t* from = turned + static_cast<std::size_t>(taps.first[at]) * kPillowRows;
      const std::int32_t* weights = taps.weights + at * taps.most * 3;
      FourSums sums[kVectors];
      for (FourSums& s : sums) s.clear();
      for (std::int32_t i = 0; i < taps.groups[at]; ++i, weights += 3, from += 4 * kPillowRows)
        for (std::size_t v = 0; v < kVectors; ++v)
          sums[v].add(hn::Load(D8(), from + v * 4 * kLanes), weights);
      for (std::size_t v = 0; v < kVectors; ++v) {
        hn::Store(sums[v].low, d, low + output * kPillowRows + v * kLanes);
        hn::Store(sums[v].high, D16(), high + 2 * (output * kPillowRows + v * kLanes));
      }
    }
    V32 joined[kVectors];
    for (std::size_t v = 0; v < kVectors; ++v) {
      joined[v] = hn::Zero(d);
      for (std::size_t output = 4; output-- > 0;) {
        const std::size_t at = output * kPillowRows + v * kLanes;
        const FourSums sums = {hn::Load(d, low + at), hn::Load(D16(), high + 2 * at)};
        joined[v] = Joined(joined[v], sums.rounded());
      }
    }
    for (std::size_t v = 0; v < kVectors; ++v)
      hn::Store(hn::BitCast(du, joined[v]), du, fours + v * kLanes);
  }
}

#if HWY_TARGET <= HWY_AVX3
}  // namespace
}  // namespace Tarn::preprocess::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
TN_BEFORE_FOUR_PRODUCTS
namespace Tarn::preprocess::HWY_NAMESPACE {
namespace {

// The same for weights in digits, and for all channels, which share them.
template <std::size_t kChannels>
void AcrossTurnedByDigits(const AcrossJob& job) {
  using TarnCPU::HWY_NAMESPACE::AddFourProducts;
  const D32 d;
  const D8 d8;
  const hn::RebindToUnsigned<D32> du;
  const GroupTaps taps = *job.taps;
  static_assert(hn::MaxLanes(D32()) == kPillowRows, "a row to a lane");
  for (std::size_t k = 0; k < job.count; k += 4) {
    V32 joined[kChannels];
    for (V32& v : joined) v = hn::Zero(d);
    for (std::size_t output = 4; output-- > 0;) {
      const std::size_t at = k + output;
      std::size_t from = static_cast<std::size_t>(taps.first[at]) * kPillowRows;
      const std::int32_t* weights = taps.weights + at * taps.most * 3;
      V32 low[kChannels], middle[kChannels], high[kChannels];
      for (std::size_t c = 0; c < kChannels; ++c) low[c] = middle[c] = high[c] = hn::Zero(d);
      for (std::int32_t i = 0; i < taps.groups[at]; ++i, weights += 3, from += 4 * kPillowRows) {
        const auto w0 = hn::BitCast(d8, hn::Set(d, weights[0]));
        const auto w1 = hn::BitCast(d8, hn::Set(d, weights[1]));
        const auto w2 = hn::BitCast(d8, hn::Set(d, weights[2]));
        for (std::size_t c = 0; c < kChannels; ++c) {
          const auto bytes = hn::Load(d8, job.turned[c] + from);
          low[c] = AddFourProducts(low[c], bytes, w0);
          middle[c] = AddFourProducts(middle[c], bytes, w1);
          high[c] = AddFourProducts(high[c], bytes, w2);
        }
      }
      for (std::size_t c = 0; c < kChannels; ++c) {
        const V32 upper = hn::Add(hn::ShiftLeft<8>(high[c]), middle[c]);
        joined[c] = Joined(joined[c], Rounded(hn::Add(hn::ShiftLeft<8>(upper), low[c])));
      }
    }
    for (std::size_t c = 0; c < kChannels; ++c)
      hn::Store(hn::BitCast(du, joined[c]), du, job.fours[c] + k / 4 * kPillowRows);
  }
}

}  // namespace
}  // namespace Tarn::preprocess::HWY_NAMESPACE
TN_AFTER_FOUR_PRODUCTS
HWY_BEFORE_NAMESPACE();
namespace Tarn::preprocess::HWY_NAMESPACE {
namespace {
#endif

// The fours back to rows, padded to 16 outputs.
void TurnBack(const std::uint32_t* fours, std::size_t count, std::uint8_t* const* rows,
              std::size_t row_count) {
  const hn::Full128<std::uint32_t> d;
  const hn::Full128<std::uint64_t> d64;
  const hn::Full128<std::uint8_t> d8;
  for (std::size_t k = 0; k < count; k += 16, fours += 4 * kPillowRows)
    for (std::size_t r = 0; r < row_count; r += 4) {
      const auto a = hn::LoadU(d, fours + r), b = hn::LoadU(d, fours + kPillowRows + r);
      const auto c = hn::LoadU(d, fours + 2 * kPillowRows + r);
      const auto e = hn::LoadU(d, fours + 3 * kPillowRows + r);
      const auto ab0 = hn::BitCast(d64, hn::InterleaveLower(d, a, b));
      const auto ab1 = hn::BitCast(d64, hn::InterleaveUpper(d, a, b));
      const auto ce0 = hn::BitCast(d64, hn::InterleaveLower(d, c, e));
      const auto ce1 = hn::BitCast(d64, hn::InterleaveUpper(d, c, e));
      const hn::Vec<decltype(d64)> turned[4] = {
          hn::InterleaveLower(d64, ab0, ce0), hn::InterleaveUpper(d64, ab0, ce0),
          hn::InterleaveLower(d64, ab1, ce1), hn::InterleaveUpper(d64, ab1, ce1)};
      for (std::size_t i = 0; i < std::min<std::size_t>(row_count - r, 4); ++i)
        hn::StoreU(hn::BitCast(d8, turned[i]), d8, rows[r + i] + k);
    }
}

void AcrossRows(const AcrossJob& job) {
  if (job.form == GroupForm::kDigits) {
#if HWY_TARGET <= HWY_AVX3
    (job.channels == 3 ? AcrossTurnedByDigits<3> : AcrossTurnedByDigits<1>)(job);
#endif
  } else {
    for (std::size_t c = 0; c < job.channels; ++c)
      AcrossTurned(job.turned[c], *job.taps, job.count, job.fours[c]);
  }
  for (std::size_t c = 0; c < job.channels; ++c) TurnBack(job.fours[c], job.count, job.out[c], job.rows);
}

// Sums of products with both halves of weights.
struct TwoSums {
  V32 low, high;
  HWY_INLINE void add(V16 bytes, V16 low_weights, V16 high_weights) {
    low = SumOfProducts(bytes, low_weights, low);
    high = SumOfProducts(bytes, high_weights, high);
  }
  HWY_INLINE V32 rounded() const { return Rounded(hn::Add(hn::ShiftLeft<16>(high), low)); }
};

void DownRows(const std::uint8_t* const* rows, const std::int32_t* weights, std::size_t groups,
              std::size_t count, std::uint8_t* out) {
  const D32 d;
  const D16 d16;
  const D8 d8;
  const hn::RebindToUnsigned<D16> du16;
  const auto zero = hn::Zero(d);
  const auto low_bytes = hn::Set(du16, 0xFF);
  for (std::size_t x = 0; x < count; x += hn::Lanes(d8)) {
    // Of even and odd columns, those in the lower and the upper half of each block.
    TwoSums even0 = {zero, zero}, even1 = even0, odd0 = even0, odd1 = even0;
    for (std::size_t i = 0; i < groups; ++i) {
      const auto a = hn::BitCast(du16, hn::LoadU(d8, rows[2 * i] + x));
      const auto b = hn::BitCast(du16, hn::LoadU(d8, rows[2 * i + 1] + x));
      const V16 low = hn::BitCast(d16, hn::Set(d, weights[2 * i]));
      const V16 high = hn::BitCast(d16, hn::Set(d, weights[2 * i + 1]));
      const V16 a_even = hn::BitCast(d16, hn::And(a, low_bytes));
      const V16 b_even = hn::BitCast(d16, hn::And(b, low_bytes));
      even0.add(hn::InterleaveLower(d16, a_even, b_even), low, high);
      even1.add(hn::InterleaveUpper(d16, a_even, b_even), low, high);
      const V16 a_odd = hn::BitCast(d16, hn::ShiftRight<8>(a));
      const V16 b_odd = hn::BitCast(d16, hn::ShiftRight<8>(b));
      odd0.add(hn::InterleaveLower(d16, a_odd, b_odd), low, high);
      odd1.add(hn::InterleaveUpper(d16, a_odd, b_odd), low, high);
    }
    const auto bytes = [&](const TwoSums& first, const TwoSums& second) HWY_ATTR {
      const V16 v = hn::ReorderDemote2To(d16, first.rounded(), second.rounded());
      return hn::Min(hn::Max(v, hn::Zero(d16)), hn::Set(d16, 255));
    };
    const V16 both = hn::Or(bytes(even0, even1), hn::ShiftLeft<8>(bytes(odd0, odd1)));
    hn::StoreU(hn::BitCast(d8, both), d8, out + x);
  }
}

#else

// A sum in 32 bits that may overflow on the way, but not at the end.
struct PlainSum {
  std::uint32_t sum = 1u << (kWeightBits - 1);
  void add(std::uint8_t sample, std::int32_t low, std::int32_t high) {
    sum += static_cast<std::uint32_t>(sample * (static_cast<std::int16_t>(low & 0xFFFF) + high * 65536));
  }
  std::uint8_t rounded() const {
    return static_cast<std::uint8_t>(std::clamp(static_cast<std::int32_t>(sum) >> kWeightBits, 0, 255));
  }
};

// Rows need not be turned.
void TurnBand(const std::uint8_t* const* /*rows*/, std::size_t /*columns*/, std::uint8_t* /*turned*/) {}
bool TurnBandOfPixels(const std::uint8_t* const* /*rows*/, int /*pixel_bytes*/, bool /*blue_first*/,
                      std::size_t /*columns*/, std::uint8_t* const* /*turned*/) {
  return false;
}

void AcrossRows(const AcrossJob& job) {
  const GroupTaps& taps = *job.taps;
  for (std::size_t c = 0; c < job.channels; ++c)
    for (std::size_t r = 0; r < job.rows; ++r)
      for (std::size_t k = 0; k < job.count; ++k) {
        const std::uint8_t* from = job.source[c][r] + taps.first[k];
        const std::int32_t* weights = taps.weights + k * taps.most * 3;
        PlainSum sum;
        for (std::int32_t i = 0; i < taps.groups[k]; ++i, weights += 3, from += 4)
          for (int n = 0; n < 4; ++n)
            sum.add(from[n], weights[n % 2] >> n / 2 * 16,
                    static_cast<std::int8_t>(weights[2] >> n * 8));
        job.out[c][r][k] = sum.rounded();
      }
}

void DownRows(const std::uint8_t* const* rows, const std::int32_t* weights, std::size_t groups,
              std::size_t count, std::uint8_t* out) {
  for (std::size_t x = 0; x < count; ++x) {
    PlainSum sum;
    for (std::size_t i = 0; i < 2 * groups; ++i) {
      const std::int32_t* const of = weights + i / 2 * 2;
      sum.add(rows[i][x], of[0] >> i % 2 * 16, static_cast<std::int16_t>(of[1] >> i % 2 * 16));
    }
    out[x] = sum.rounded();
  }
}

#endif  // TN_BLOCKS

GroupForm AcrossForm() { return TN_FOUR_PRODUCTS ? GroupForm::kDigits : GroupForm::kFour; }

}  // namespace
}  // namespace Tarn::preprocess::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Tarn::preprocess {
namespace {

HWY_EXPORT(TurnBand);
HWY_EXPORT(TurnBandOfPixels);
HWY_EXPORT(AcrossRows);
HWY_EXPORT(DownRows);
HWY_EXPORT(AcrossForm);

static_assert(kFetchLanes == 16, "bands are turned back by sixteen outputs");

constexpr GreyRule kGrey = {19595, 38470, 7471, 16};

double supportOf(Resampling filter) {
  return filter == Resampling::kPillowBox ? 0.5 : filter == Resampling::kPillowBilinear ? 1.0 : 2.0;
}

struct Box {
  double operator()(double x) const { return x > -0.5 && x <= 0.5 ? 1.0 : 0.0; }
};
struct Triangle {
  double operator()(double x) const { return std::max(1.0 - std::fabs(x), 0.0); }
};
// Keys' cubic with a = -0.5, in Horner's form.
struct Cubic {
  double operator()(double x) const {
    constexpr double a = -0.5;
    x = std::fabs(x);
    if (x < 1.0) return ((a + 2.0) * x - (a + 3.0)) * x * x + 1.0;
    return x < 2.0 ? (((x - 5.0) * x + 8.0) * x - 4.0) * a : 0.0;
  }
};

// Where the samples of an output lie.
struct Window {
  double centre, wide;
  int first, end;
};

Window windowOf(const AxisGeometry& axis, double support, std::size_t k) {
  const double step = static_cast<double>(axis.size) / axis.scaled, wide = std::max(step, 1.0);
  const double centre = (static_cast<double>(k) + axis.cut + 0.5) * step;
  return {centre, wide, std::max(static_cast<int>(centre - support * wide + 0.5), 0),
          std::min(static_cast<int>(centre + support * wide + 0.5), axis.size)};
}

// The weights of a window, to add up to 1.
template <class Filter>
void exactWeights(const Window& window, const Filter& filter, double* weights) {
  const double narrow = 1.0 / window.wide;
  const std::size_t n = static_cast<std::size_t>(window.end - window.first);
  double total = 0.0;
  for (std::size_t i = 0; i < n; ++i) {
    const double sample = static_cast<double>(window.first) + static_cast<double>(i);
    weights[i] = filter((sample - window.centre + 0.5) * narrow);
    total += weights[i];
  }
  if (total != 0.0)
    for (std::size_t i = 0; i < n; ++i) weights[i] /= total;
}

std::int32_t fixedWeight(double weight) {
  return static_cast<std::int32_t>(weight * (1 << kWeightBits) + (weight < 0 ? -0.5 : 0.5));
}

constexpr int samplesOf(GroupForm form) { return form == GroupForm::kTwo ? 2 : 4; }
constexpr std::size_t wordsOf(GroupForm form) { return form == GroupForm::kTwo ? 2 : 3; }

// The low `bits` of a weight, signed, are cut off and returned.
std::int32_t cutOff(std::int32_t& weight, int bits) {
  const std::int32_t half = 1 << (bits - 1);
  const std::int32_t low = ((weight + half) & (2 * half - 1)) - half;
  weight = (weight - low) >> bits;
  return low;
}

// Puts a group's weights, which are used up, into its words.
void packWeights(GroupForm form, std::int32_t weights[4], std::int32_t* words) {
  const auto put = [words](std::size_t word, int bits, int place, std::int32_t value) {
    const std::uint32_t mask = (1u << bits) - 1u;
    const std::uint32_t placed = (static_cast<std::uint32_t>(value) & mask) << (place * bits);
    words[word] = static_cast<std::int32_t>(static_cast<std::uint32_t>(words[word]) | placed);
  };
  std::fill_n(words, wordsOf(form), 0);
  for (int i = 0; i < samplesOf(form); ++i) {
    std::int32_t& weight = weights[i];
    switch (form) {
      case GroupForm::kTwo:
        put(0, 16, i, cutOff(weight, 16));
        put(1, 16, i, weight);
        break;
      case GroupForm::kFour:
        put(static_cast<std::size_t>(i % 2), 16, i / 2, cutOff(weight, 16));
        put(2, 8, i, weight);
        break;
      case GroupForm::kDigits:
        put(0, 8, i, cutOff(weight, 8));
        put(1, 8, i, cutOff(weight, 8));
        put(2, 8, i, weight);
    }
  }
}

constexpr std::size_t roundUp(std::size_t n, std::size_t to) { return (n + to - 1) / to * to; }

}  // namespace

Pillow::Axis Pillow::makeAxis(const AxisGeometry& geometry, Resampling filter, GroupForm form) {
  Axis axis = {geometry, geometry.size != geometry.scaled, 1, {}, form, {}};
  if (!axis.resized) {
    axis.needed = {geometry.cut, geometry.cut + geometry.shown - 1};
    return axis;
  }
  const double support = supportOf(filter);
  const Window first = windowOf(geometry, support, 0);
  const Window last = windowOf(geometry, support, static_cast<std::size_t>(geometry.shown) - 1);
  axis.needed = {first.first, last.end - 1};
  const double most = 2.0 * std::ceil(support * first.wide) + 1.0;
  axis.most = static_cast<std::size_t>(std::min(most, static_cast<double>(axis.needed.count())));
  return axis;
}

Pillow::Pillow(const TensorSpec& spec, const FrameView& frame, const Geometry& geometry)
    : filter_(spec.resampling),
      x_(makeAxis(geometry.x, filter_, HWY_DYNAMIC_DISPATCH(AcrossForm)())),
      y_(makeAxis(geometry.y, filter_, GroupForm::kTwo)),
      down_first_(
          y_.resized &&
          (!x_.resized || (spec.pillow >= 13 && geometry.y.scaled < geometry.y.size &&
                           geometry.y.size - geometry.y.scaled >
                               std::int64_t{2} * (std::int64_t{geometry.x.size} - geometry.x.scaled)))),
      rows_(frame, {geometry.x.start + x_.needed.first, geometry.x.start + x_.needed.last},
            {geometry.y.start + y_.needed.first, geometry.y.start + y_.needed.last}, slots(),
            spec.colour == TensorColour::kGray ? &kGrey : nullptr),
      channels_(rows_.channels()),
      count_(static_cast<std::size_t>(geometry.x.shown)),
      needed_(static_cast<std::size_t>(x_.needed.count())),
      ring_rows_(down_first_ ? kBand : y_.most + kBand),
      pitch_(roundUp(count_, TarnCPU::kArrayAlignment)),
      source_pitch_(roundUp(needed_, TarnCPU::kArrayAlignment)) {}

// Source rows that are looked at side by side.
int Pillow::slots() const {
  if (!down_first_) return static_cast<int>(kBand);
  int slots = 2;
  while (static_cast<std::size_t>(slots) < y_.most) slots *= 2;
  return slots;
}

void Pillow::takeTaps(Axis& axis, TarnCPU::Arrays& arrays) const {
  const std::size_t outputs = fetchPadded(static_cast<std::size_t>(axis.geometry.shown));
  // An output need not begin with the first sample of a group.
  const std::size_t samples = static_cast<std::size_t>(samplesOf(axis.form));
  axis.taps.most = std::min((axis.most + 2 * samples - 2) / samples,
                            (static_cast<std::size_t>(axis.needed.count()) + samples - 1) / samples);
  axis.taps.first = arrays.take<std::int32_t>(outputs);
  axis.taps.groups = arrays.take<std::int32_t>(outputs);
  axis.taps.weights = arrays.take<std::int32_t>(outputs * axis.taps.most * wordsOf(axis.form));
}

void Pillow::take(TarnCPU::Arrays& arrays) {
  rows_.take(arrays);
  if (x_.resized) {
    takeTaps(x_, arrays);
    ring_ = arrays.take<std::uint8_t>(ring_rows_ * static_cast<std::size_t>(channels_) * pitch_);
    for (int c = 0; c < channels_; ++c) {
      turned_[c] = arrays.take<std::uint8_t>(roundUp(needed_, 16) * kPillowRows);
      fours_[c] = arrays.take<std::uint32_t>(fetchPadded(count_) / 4 * kPillowRows);
    }
  }
  if (y_.resized) takeTaps(y_, arrays);
  exact_ = arrays.take<double>(std::max(x_.most, y_.most));
  if (down_first_ && x_.resized)
    band_rows_ = arrays.take<std::uint8_t>(kBand * static_cast<std::size_t>(channels_) * source_pitch_ +
                                           kRowSlack);
  for (int c = 0; c < channels_; ++c) {
    sources_[c] = arrays.take<const std::uint8_t*>(y_.most + 1);
    result_[c] = arrays.take<std::uint8_t>(std::max(pitch_, source_pitch_));
    values_[c] = arrays.take<float>(fetchPadded(count_));
  }
}

void Pillow::fillTaps(const Axis& axis) const {
  const std::size_t outputs = static_cast<std::size_t>(axis.geometry.shown);
  const double support = supportOf(filter_);
  const int samples = samplesOf(axis.form);
  const std::size_t words = wordsOf(axis.form);
  for (std::size_t k = 0; k < outputs; ++k) {
    const Window window = windowOf(axis.geometry, support, k);
    if (filter_ == Resampling::kPillowBox)
      exactWeights(window, Box(), exact_);
    else if (filter_ == Resampling::kPillowBilinear)
      exactWeights(window, Triangle(), exact_);
    else
      exactWeights(window, Cubic(), exact_);
    const int begin = window.first - axis.needed.first, n = window.end - window.first;
    // Groups of columns lie where they lie, and all outputs have as many: loops of one length are
    // foreseen. Those of rows begin anywhere.
    int from = begin, groups = (n + 1) / 2;
    if (axis.form != GroupForm::kTwo) {
      groups = static_cast<int>(axis.taps.most);
      from = std::min(begin / 4, (axis.needed.count() + 3) / 4 - groups) * 4;
    }
    const int skew = begin - from;
    axis.taps.first[k] = from;
    axis.taps.groups[k] = groups;
    std::int32_t* group = axis.taps.weights + k * axis.taps.most * words;
    for (int i = -skew; groups-- > 0; i += samples, group += words) {
      std::int32_t weights[4];
      for (int j = 0; j < samples; ++j)
        weights[j] = i + j < 0 || i + j >= n ? 0 : fixedWeight(exact_[i + j]);
      packWeights(axis.form, weights, group);
    }
  }
  for (std::size_t k = outputs; k < fetchPadded(outputs); ++k)
    axis.taps.first[k] = axis.taps.groups[k] = 0;
}

void Pillow::begin() {
  rows_.begin();
  made_ = 0;
  if (x_.resized) fillTaps(x_);
  if (y_.resized) fillTaps(y_);
}

int Pillow::sourceRowNumber(std::size_t y) const {
  return y_.geometry.start + y_.needed.first + static_cast<int>(y);
}

void Pillow::sourceRow(std::size_t y, const std::uint8_t* out[3]) { rows_.row(sourceRowNumber(y), out); }

std::uint8_t* Pillow::ringRow(std::size_t y, int channel) const {
  return ring_ + (static_cast<std::size_t>(channel) * ring_rows_ + y % ring_rows_) * pitch_;
}

// Turns source rows whose pixels lie in the frame, if that can be done.
bool Pillow::turnPixels(std::size_t first, std::size_t count) {
  const int pixel_bytes = rows_.pixelBytes();
  if (pixel_bytes == 0) return false;
  const std::uint8_t* rows[kBand];
  for (std::size_t r = 0; r < kBand; ++r)
    rows[r] = rows_.pixels(sourceRowNumber(first + std::min(r, count - 1)),
                           needed_ * static_cast<std::size_t>(pixel_bytes));
  return HWY_DYNAMIC_DISPATCH(TurnBandOfPixels)(rows, pixel_bytes, rows_.blueFirst(), needed_, turned_);
}

// Turns the rows of band_.
void Pillow::turnBand(std::size_t count) {
  for (int c = 0; c < channels_; ++c) {
    for (std::size_t r = count; r < kBand; ++r) band_[c][r] = band_[c][count - 1];
    HWY_DYNAMIC_DISPATCH(TurnBand)(band_[c], needed_, turned_[c]);
  }
}

// Resizes the turned rows across, to rows `first` and on of the ring.
void Pillow::acrossBand(std::size_t first, std::size_t count) {
  AcrossJob job = {static_cast<std::size_t>(channels_),
                   count,
                   {band_[0], band_[1], band_[2]},
                   {turned_[0], turned_[1], turned_[2]},
                   x_.form,
                   &x_.taps,
                   count_,
                   {fours_[0], fours_[1], fours_[2]},
                   {}};
  for (int c = 0; c < channels_; ++c)
    for (std::size_t r = 0; r < count; ++r) job.out[c][r] = ringRow(first + r, c);
  HWY_DYNAMIC_DISPATCH(AcrossRows)(job);
}

void Pillow::down(std::size_t k, std::uint8_t* const out[3]) {
  const std::size_t groups = static_cast<std::size_t>(y_.taps.groups[k]);
  const std::size_t columns = down_first_ ? needed_ : count_;
  for (int c = 0; c < channels_; ++c) HWY_DYNAMIC_DISPATCH(DownRows)
  (sources_[c], y_.taps.weights + k * y_.taps.most * wordsOf(y_.form), groups, columns, out[c]);
}

void Pillow::downSource(std::size_t k, std::uint8_t* const out[3]) {
  const std::size_t first = static_cast<std::size_t>(y_.taps.first[k]);
  const std::size_t last = static_cast<std::size_t>(y_.needed.count()) - 1;
  for (std::size_t i = 0; i < 2 * static_cast<std::size_t>(y_.taps.groups[k]); ++i) {
    const std::uint8_t* row[3];
    sourceRow(std::min(first + i, last), row);
    for (int c = 0; c < channels_; ++c) sources_[c][i] = row[c];
  }
  down(k, out);
}

void Pillow::acrossFirst(std::size_t k, const std::uint8_t* out[3]) {
  if (!x_.resized) return sourceRow(k, out);
  const std::size_t first = y_.resized ? static_cast<std::size_t>(y_.taps.first[k]) : k;
  const std::size_t n = y_.resized ? 2 * static_cast<std::size_t>(y_.taps.groups[k]) : 1;
  const std::size_t rows = static_cast<std::size_t>(y_.needed.count());
  while (made_ < std::min(first + n, rows)) {
    const std::size_t count = std::min(kBand, rows - made_);
    if (!turnPixels(made_, count)) {
      for (std::size_t r = 0; r < count; ++r) {
        const std::uint8_t* row[3];
        sourceRow(made_ + r, row);
        for (int c = 0; c < channels_; ++c) band_[c][r] = row[c];
      }
      turnBand(count);
    }
    acrossBand(made_, count);
    made_ += count;
  }
  for (int c = 0; c < channels_; ++c) out[c] = ringRow(first, c);
  if (!y_.resized) return;
  for (int c = 0; c < channels_; ++c)
    for (std::size_t i = 0; i < n; ++i) sources_[c][i] = ringRow(std::min(first + i, rows - 1), c);
  down(k, result_);
  for (int c = 0; c < channels_; ++c) out[c] = result_[c];
}

void Pillow::downFirst(std::size_t k, const std::uint8_t* out[3]) {
  if (!x_.resized) {
    downSource(k, result_);
    for (int c = 0; c < channels_; ++c) out[c] = result_[c];
    return;
  }
  if (k >= made_) {
    const std::size_t count = std::min(kBand, static_cast<std::size_t>(y_.geometry.shown) - made_);
    for (std::size_t r = 0; r < count; ++r) {
      std::uint8_t* rows[3] = {};
      for (int c = 0; c < channels_; ++c)
        band_[c][r] = rows[c] = band_rows_ + (static_cast<std::size_t>(c) * kBand + r) * source_pitch_;
      downSource(made_ + r, rows);
    }
    turnBand(count);
    acrossBand(made_, count);
    made_ += count;
  }
  for (int c = 0; c < channels_; ++c) out[c] = ringRow(k, c);
}

void Pillow::row(std::size_t k, const float* out[3]) {
  const std::uint8_t* bytes[3];
  if (down_first_)
    downFirst(k, bytes);
  else
    acrossFirst(k, bytes);
  for (int c = 0; c < channels_; ++c) bytesToFloats(bytes[c], count_, values_[c]);
  for (int c = 0; c < 3; ++c) out[c] = values_[channels_ == 1 ? 0 : c];
}

}  // namespace Tarn::preprocess
#endif  // HWY_ONCE
