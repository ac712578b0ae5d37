#include "tarnkit/src/cpu_x86/tn_yuvplan_cpu_x86.h"

#include <algorithm>

namespace Tarn {
namespace {

constexpr std::int32_t kLoadBytes = 16, kWordBytes = 4;
// Row offsets stay inside 32 bits whatever the sizes given; such rows are longer than any frame's.
constexpr std::int64_t kMaxOffset = 0x7fffff00;

YuvAxis makeAxis(int src, int dst) {
  YuvAxis axis;
  if (dst <= 0) return axis;
  axis.count = static_cast<std::size_t>(dst);
  const double scale = static_cast<double>(static_cast<float>(src) / static_cast<float>(dst));
  for (int i = 0; i < dst; ++i) {
    const float p = static_cast<float>((static_cast<double>(i) + 0.5) * scale - 0.5);
    // Toward zero, not down: in front of the first sample the weights extrapolate.
    const std::int64_t i0 = static_cast<std::int64_t>(p);
    axis.index.push_back(i0);
    axis.f0.push_back(static_cast<float>(i0 + 1) - p);
    axis.f1.push_back(p - static_cast<float>(i0));
    axis.on_samples = axis.on_samples && axis.f0.back() == 1.0f && axis.f1.back() == 0.0f;
    axis.uniform = axis.uniform && axis.f0.back() == axis.f0[0] && axis.f1.back() == axis.f1[0];
    axis.identity = axis.identity && axis.on_samples && i0 == i;
  }
  axis.index.resize(yuvPadded(axis.count), axis.index.back());
  axis.f0.resize(yuvPadded(axis.count), axis.f0.back());
  axis.f1.resize(yuvPadded(axis.count), axis.f1.back());
  return axis;
}

// Tries whether pairs of vectors will do.
void addSpans(YuvFetch& fetch, std::int32_t bytes) {
  constexpr std::int32_t kSpanBytes = 2 * kYuvMaxLanes * kWordBytes;
  const std::size_t padded = fetch.word.size();
  for (std::size_t i = 0; i < padded; ++i) {
    const std::int32_t at = fetch.word[i] - fetch.word[i / kYuvMaxLanes * kYuvMaxLanes];
    if (at % kWordBytes + bytes > kWordBytes || at + bytes > kSpanBytes) return;
    fetch.lane.push_back(at / kWordBytes);
    fetch.shift.push_back(8 * (at % kWordBytes));
  }
  fetch.spans = true;
  fetch.reach =
      std::max(fetch.reach, static_cast<std::size_t>(fetch.word[padded - kYuvMaxLanes] + kSpanBytes));
}

// For the first `count` outputs of `axis`, whose samples are `step` bytes apart and which need `bytes`
// bytes each.
YuvFetch makeFetch(const YuvAxis& axis, std::size_t count, std::int32_t step, std::int32_t bytes) {
  YuvFetch fetch;
  if (count == 0) return fetch;
  const std::size_t padded = yuvPadded(count);
  for (std::size_t i = 0; i < padded; ++i)
    fetch.word.push_back(static_cast<std::int32_t>(
        std::clamp<std::int64_t>(axis.index[std::min(i, count - 1)] * step, 0, kMaxOffset)));
  fetch.reach = static_cast<std::size_t>(fetch.word.back() + kWordBytes);

  // The fewest loads for which the last output of each still lies within its load.
  for (std::size_t loads = 1; loads <= 2; ++loads) {
    const std::size_t share = kYuvGroup / loads;
    bool fits = true;
    for (std::size_t i = 0; i < padded; i += share)
      fits = fits && fetch.word[i + share - 1] - fetch.word[i] + bytes <= kLoadBytes;
    if (!fits) continue;

    fetch.loads = static_cast<int>(loads);
    for (std::size_t load = 0; load < loads; ++load)
      for (std::size_t i = 0; i < padded; ++i) {
        const std::size_t first = i / kYuvGroup * kYuvGroup + load * share;
        if (i % kYuvGroup == 0) fetch.offset[load].push_back(fetch.word[first]);
        std::uint32_t lookup = 0;
        for (std::int32_t byte = 0; byte < kWordBytes; ++byte) {
          // An index with its highest bit set yields 0.
          const bool mine = i >= first && i < first + share && byte < bytes;
          const std::int32_t at = mine ? fetch.word[i] - fetch.word[first] + byte : 0x80;
          lookup |= static_cast<std::uint32_t>(at) << (8 * byte);
        }
        fetch.lookup[load].push_back(lookup);
      }
    fetch.reach = static_cast<std::size_t>(fetch.word.back() + kLoadBytes);
    break;
  }
  if (fetch.loads == 2) addSpans(fetch, bytes);
  return fetch;
}

}  // namespace

YuvPlan::YuvPlan(int src_width, int src_height, int dst_width, int dst_height)
    : x(makeAxis(src_width, dst_width)),
      y(makeAxis(src_height, dst_height)),
      luma(makeFetch(x, x.count, 1, x.on_samples ? 1 : 2)),
      chroma(makeFetch(x, x.count / 2, 2, x.on_samples ? 2 : 4)),
      same_size(src_width == dst_width && src_height == dst_height && x.identity && y.identity) {
  for (int i = 0; i < 2; ++i) {
    luma_rows[i].resize(luma.reach);
    chroma_rows[i].resize(chroma.reach);
    luma_out[i].resize(yuvPadded(x.count));
    chroma_out[i].resize(2 * yuvPadded(x.count / 2));
  }
}

}  // namespace Tarn
