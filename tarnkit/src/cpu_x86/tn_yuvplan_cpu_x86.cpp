// The plan of a toolkit: sample positions, and the tables by which rows fetch their bytes.
#include "tarnkit/src/cpu_x86/tn_yuvplan_cpu_x86.h"

#include <algorithm>
#include <new>
#include <type_traits>

#include "common/tn_check.h"

namespace Tarn {
namespace {

using TarnCPU::Arrays;

// Row offsets stay inside 32 bits whatever the sizes given; such rows are longer than any frame's.
constexpr std::int64_t kMaxOffset = 0x7fffff00;

// Where output i of an axis lies among its samples.
struct Position {
  Position(int i, int src, int dst) {
    const double scale = static_cast<double>(static_cast<float>(src) / static_cast<float>(dst));
    p = static_cast<float>((static_cast<double>(i) + 0.5) * scale - 0.5);
    // Toward zero, not down: in front of the first sample the weights extrapolate.
    i0 = static_cast<std::int64_t>(p);
  }
  float p;
  std::int64_t i0;
};

std::int32_t wordAt(std::int64_t sample, std::int32_t step) {
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(sample * step, 0, kMaxOffset));
}

YuvAxis takeAxis(Arrays& arrays, std::size_t count) {
  YuvAxis axis = {};
  axis.count = count;
  axis.index = arrays.take<std::int64_t>(fetchPadded(count));
  axis.f0 = arrays.take<float>(fetchPadded(count));
  axis.f1 = arrays.take<float>(fetchPadded(count));
  return axis;
}

// The arrays of a plan; no tables are filled yet.
YuvPlan takePlan(Arrays& arrays, const YuvPlanSizes& s) {
  // No output, no tables.
  const bool empty = s.dst_width <= 0 || s.dst_height <= 0;
  const std::size_t w = empty ? 0 : static_cast<std::size_t>(s.dst_width);
  const std::size_t h = empty ? 0 : static_cast<std::size_t>(s.dst_height);
  YuvPlan plan = {};
  plan.x = takeAxis(arrays, w);
  plan.y = takeAxis(arrays, h);
  plan.luma = {takeWordFetch(arrays, w), {}};
  plan.chroma = {takeWordFetch(arrays, w / 2), {}};
  // The last words are the farthest, and the longest loads are spans.
  const auto reach = [&](std::size_t count, std::int32_t step) {
    if (count == 0) return std::size_t{0};
    const Position last(static_cast<int>(count) - 1, s.src_width, s.dst_width);
    return static_cast<std::size_t>(wordAt(last.i0, step)) + kFetchReach;
  };
  for (int i = 0; i < 2; ++i) {
    plan.luma.copies[i] = arrays.take<std::uint8_t>(reach(w, 1));
    plan.chroma.copies[i] = arrays.take<std::uint8_t>(reach(w / 2, 2));
    plan.luma_out[i] = arrays.take<float>(fetchPadded(w));
    plan.chroma_out[i] = arrays.take<float>(2 * fetchPadded(w / 2));
  }
  return plan;
}

void fillAxis(YuvAxis& axis, int src, int dst) {
  axis.on_samples = axis.uniform = axis.identity = true;
  for (std::size_t i = 0; i < fetchPadded(axis.count); ++i) {
    const Position at(static_cast<int>(std::min(i, axis.count - 1)), src, dst);
    axis.index[i] = at.i0;
    axis.f0[i] = static_cast<float>(at.i0 + 1) - at.p;
    axis.f1[i] = at.p - static_cast<float>(at.i0);
    axis.on_samples = axis.on_samples && axis.f0[i] == 1.0f && axis.f1[i] == 0.0f;
    axis.uniform = axis.uniform && axis.f0[i] == axis.f0[0] && axis.f1[i] == axis.f1[0];
    if (i < axis.count) axis.identity = axis.identity && at.i0 == static_cast<std::int64_t>(i);
  }
  axis.identity = axis.identity && axis.on_samples;
}

// For the first outputs of `axis`, whose samples are `step` bytes apart and which need `bytes` bytes
// each.
void fillFetch(YuvFetch& fetch, const YuvAxis& axis, std::int32_t step, std::int32_t bytes) {
  for (std::size_t i = 0; i < fetch.count; ++i) fetch.word[i] = wordAt(axis.index[i], step);
  fillWordFetch(fetch, bytes);
}

static_assert(std::is_trivially_destructible_v<YuvPlan>, "its owner frees the memory, nothing else");

}  // namespace

std::size_t YuvPlan::bytesFor(const YuvPlanSizes& sizes) {
  Arrays arrays(nullptr);
  arrays.take<YuvPlan>(1);
  takePlan(arrays, sizes);
  return arrays.bytes();
}

YuvPlan& YuvPlan::makeAt(void* memory, const YuvPlanSizes& s) {
  TN_CHECK(reinterpret_cast<std::uintptr_t>(memory) % TarnCPU::kArrayAlignment == 0);
  Arrays arrays(static_cast<std::uint8_t*>(memory));
  void* const place = arrays.take<YuvPlan>(1);
  YuvPlan& plan = *new (place) YuvPlan(takePlan(arrays, s));
  fillAxis(plan.x, s.src_width, s.dst_width);
  fillAxis(plan.y, s.src_height, s.dst_height);
  const std::int32_t taps = plan.x.on_samples ? 1 : 2;
  fillFetch(plan.luma, plan.x, 1, taps);
  fillFetch(plan.chroma, plan.x, 2, 2 * taps);
  plan.same_size =
      s.src_width == s.dst_width && s.src_height == s.dst_height && plan.x.identity && plan.y.identity;
  return plan;
}

}  // namespace Tarn
