// Words fetched from a row by the tables of a WordFetch: the vector code. To be included in a file that
// is compiled again for every CPU target.
#if defined(TN_KITS_CPU_X86_TN_WORDFETCH_CPU_X86_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef TN_KITS_CPU_X86_TN_WORDFETCH_CPU_X86_INL_H_
#undef TN_KITS_CPU_X86_TN_WORDFETCH_CPU_X86_INL_H_
#else
#define TN_KITS_CPU_X86_TN_WORDFETCH_CPU_X86_INL_H_
#endif

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "common/tn_tail-inl.h"
#include "common/tn_windows-inl.h"
#include "hwy/highway.h"
#include "tarnkit/src/cpu_x86/tn_wordfetch_cpu_x86.h"

HWY_BEFORE_NAMESPACE();
namespace Tarn {
namespace HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

using FetchUnsigned = hn::ScalableTag<std::uint32_t>;
using FetchSigned = hn::RebindToSigned<FetchUnsigned>;
using FetchedWords = hn::Vec<FetchUnsigned>;

// The words of outputs [i, i + lanes) in a source row: each by a load of its own,
HWY_INLINE HWY_ATTR FetchedWords LoadEachWord(const WordFetch& fetch, const std::uint8_t* row,
                                              std::size_t i) {
  if constexpr (hn::MaxLanes(FetchUnsigned()) >= 8) {
    const auto offsets = hn::LoadU(FetchSigned(), fetch.word + i);
    return hn::BitCast(
        FetchUnsigned(),
        hn::GatherOffset(FetchSigned(), reinterpret_cast<const std::int32_t*>(row), offsets));
  } else {
    HWY_ALIGN std::uint32_t words[hn::MaxLanes(FetchUnsigned())];
    for (std::size_t lane = 0; lane < hn::Lanes(FetchUnsigned()); ++lane)
      std::memcpy(&words[lane], row + fetch.word[i + lane], sizeof(std::uint32_t));
    return hn::Load(FetchUnsigned(), words);
  }
}

#if TN_BLOCKS
// by windows,
template <std::size_t kWindows>
HWY_INLINE HWY_ATTR FetchedWords PickFromWindows(const WordFetch& fetch, const std::uint8_t* row,
                                                 std::size_t i) {
  const hn::Repartition<std::uint8_t, FetchUnsigned> d8;
  const auto pick = [&](std::size_t block) TN_INLINE_LAMBDA {
    return hn::BitCast(FetchUnsigned(), TarnCPU::HWY_NAMESPACE::PickWindow(
                                            d8, row, fetch.windows.offsets + block,
                                            fetch.windows.shuffles + block * TarnCPU::kWindowBytes));
  };
  const std::size_t block = i / TarnCPU::WordSamples::kSamples;
  const FetchedWords words = pick(block);
  return kWindows == 1 ? words : hn::Or(words, pick(block + fetch.blocks));
}

// or out of spans, which only the longest vectors use.
[[maybe_unused]] HWY_INLINE HWY_ATTR FetchedWords PickFromSpan(const WordFetch& fetch,
                                                               const std::uint8_t* row, std::size_t i) {
  const FetchUnsigned d;
  const FetchSigned di;
  const hn::Repartition<std::uint8_t, FetchUnsigned> d8;
  const hn::Vec<FetchSigned> lanes = hn::Set(di, static_cast<std::int32_t>(hn::MaxLanes(FetchSigned())));
  const hn::Vec<FetchSigned> lane = hn::LoadU(di, fetch.lane + i);
  const FetchedWords shift = hn::BitCast(d, hn::LoadU(di, fetch.shift + i));
  const auto in_first = hn::RebindMask(d, hn::Lt(lane, lanes));
  // A lookup takes the low bits of its index, so that one index serves both halves of a span.
  const auto index = hn::IndicesFromVec(d, hn::And(lane, hn::Sub(lanes, hn::Set(di, 1))));
  const std::uint8_t* const start = row + fetch.word[i];
  const FetchedWords first = hn::BitCast(d, hn::LoadU(d8, start));
  const FetchedWords second = hn::BitCast(d, hn::LoadU(d8, start + hn::Lanes(d8)));
  return hn::Shr(
      hn::IfThenElse(in_first, hn::TableLookupLanes(first, index), hn::TableLookupLanes(second, index)),
      shift);
}
#endif

template <WordFetchMode kMode>
HWY_INLINE HWY_ATTR FetchedWords FetchWords(const WordFetch& fetch, const std::uint8_t* row,
                                            std::size_t i) {
#if TN_BLOCKS
  if constexpr (kMode == WordFetchMode::kOneWindow) return PickFromWindows<1>(fetch, row, i);
  if constexpr (kMode == WordFetchMode::kTwoWindows) return PickFromWindows<2>(fetch, row, i);
  if constexpr (kMode == WordFetchMode::kSpans) return PickFromSpan(fetch, row, i);
#endif
  if constexpr (kMode == WordFetchMode::kWords) return LoadEachWord(fetch, row, i);
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace Tarn
HWY_AFTER_NAMESPACE();

#endif  // per-target include guard
