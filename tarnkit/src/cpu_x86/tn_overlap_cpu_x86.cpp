// Overlaps of many boxes with many others.
#include "tarnkit/src/cpu_x86/tn_overlap_cpu_x86.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tarnkit/src/cpu_x86/tn_overlap_cpu_x86.cpp"
#include "hwy/foreach_target.h"  // compiles this file again for every CPU target
#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace Tarn::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

void BestOverlaps(const OverlapTracks& tracks, const OverlapDetections& detections, float threshold,
                  float* HWY_RESTRICT best_out, int32_t* HWY_RESTRICT choice_out) {
  const hn::CappedTag<float, kOverlapBlock> df;
  const hn::RebindToSigned<decltype(df)> di;
  const auto zero = hn::Zero(df);
  const auto one = hn::Set(df, 1.0f);
  for (size_t i = 0; i < tracks.count; i += hn::Lanes(df)) {
    const auto left = hn::LoadU(df, tracks.left + i);
    const auto top = hn::LoadU(df, tracks.top + i);
    const auto right = hn::LoadU(df, tracks.right + i);
    const auto bottom = hn::LoadU(df, tracks.bottom + i);
    const auto area = hn::LoadU(df, tracks.area + i);
    auto best = hn::Set(df, threshold);
    auto choice = hn::Set(di, -1);
    for (size_t j = 0; j < detections.count; ++j) {
      const auto d_left = hn::Set(df, detections.left[j]);
      const auto d_top = hn::Set(df, detections.top[j]);
      const auto d_right = hn::Set(df, detections.right[j]);
      const auto d_bottom = hn::Set(df, detections.bottom[j]);

      // Comparisons and selections as in std::min and std::max: they treat NaNs in another way than the
      // processors' minimum and maximum instructions.
      const auto near_x = hn::IfThenElse(hn::Lt(left, d_left), d_left, left);
      const auto near_y = hn::IfThenElse(hn::Lt(top, d_top), d_top, top);
      const auto far_x = hn::IfThenElse(hn::Lt(d_right, right), d_right, right);
      const auto far_y = hn::IfThenElse(hn::Lt(d_bottom, bottom), d_bottom, bottom);
      const auto wide = hn::Sub(far_x, near_x);
      const auto high = hn::Sub(far_y, near_y);
      const auto apart = hn::Or(hn::Lt(wide, zero), hn::Lt(high, zero));
      const auto shared = hn::IfThenZeroElse(apart, hn::Mul(wide, high));
      const auto whole = hn::Sub(hn::Add(hn::Set(df, detections.area[j]), area), shared);

      const auto beyond_x = hn::Sub(hn::Sub(right, d_left), hn::Set(df, detections.width[j]));
      const auto beyond_y = hn::Sub(hn::Sub(bottom, d_top), hn::Set(df, detections.height[j]));
      const auto offset = hn::Or(hn::Gt(hn::Mul(beyond_x, hn::Sub(left, d_left)), zero),
                                 hn::Gt(hn::Mul(beyond_y, hn::Sub(top, d_top)), zero));

      // Most pairs overlap less than `best` and are skipped without a division: if shared is below the
      // rounded product best * whole, then the rounded quotient shared / whole is not above best. (best
      // and shared are not negative; if whole is negative or a NaN is involved, the comparison fails.)
      const auto not_better = hn::And(offset, hn::Lt(shared, hn::Mul(best, whole)));
      if (hn::AllTrue(df, not_better)) continue;

      const auto overlap = hn::IfThenElse(offset, hn::Div(shared, whole), one);
      const auto better = hn::Gt(overlap, best);
      best = hn::IfThenElse(better, overlap, best);
      choice = hn::IfThenElse(hn::RebindMask(di, better), hn::Set(di, static_cast<int32_t>(j)), choice);
    }
    hn::StoreU(best, df, best_out + i);
    hn::StoreU(choice, di, choice_out + i);
  }
}

}  // namespace Tarn::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Tarn {
HWY_EXPORT(BestOverlaps);

void bestOverlaps(const OverlapTracks& tracks, const OverlapDetections& detections, float threshold,
                  float* best, std::int32_t* choice) {
  HWY_DYNAMIC_DISPATCH(BestOverlaps)(tracks, detections, threshold, best, choice);
}
}  // namespace Tarn
#endif
