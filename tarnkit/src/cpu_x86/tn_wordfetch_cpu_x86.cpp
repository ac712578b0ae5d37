// The tables of word fetches: which loads serve a row, the cheapest that hold it.
#include "tarnkit/src/cpu_x86/tn_wordfetch_cpu_x86.h"

#include <algorithm>

namespace Tarn {
namespace {

constexpr std::int32_t kWordBytes = sizeof(std::int32_t);
constexpr std::int32_t kSpanBytes = kFetchReach;

// Whether spans serve all outputs.
bool fillSpans(WordFetch& fetch, std::size_t padded, std::int32_t bytes) {
  for (std::size_t i = 0; i < padded; ++i) {
    const std::int32_t at = fetch.word[i] - fetch.word[i / kFetchLanes * kFetchLanes];
    if (at % kWordBytes + bytes > kWordBytes || at + bytes > kSpanBytes) return false;
    fetch.lane[i] = at / kWordBytes;
    fetch.shift[i] = 8 * (at % kWordBytes);
  }
  return true;
}

}  // namespace

WordFetch takeWordFetch(TarnCPU::Arrays& arrays, std::size_t count) {
  const std::size_t padded = fetchPadded(count);
  WordFetch fetch = {};
  fetch.count = count;
  fetch.word = arrays.take<std::int32_t>(padded);
  fetch.blocks = padded / TarnCPU::WordSamples::kSamples;
  fetch.windows.offsets = arrays.take<std::int32_t>(2 * fetch.blocks);
  fetch.windows.shuffles = arrays.take<std::uint8_t>(2 * fetch.blocks * TarnCPU::kWindowBytes);
  fetch.lane = arrays.take<std::int32_t>(padded);
  fetch.shift = arrays.take<std::int32_t>(padded);
  return fetch;
}

void fillWordFetch(WordFetch& fetch, std::int32_t bytes) {
  if (fetch.count == 0) return;
  const std::size_t padded = fetchPadded(fetch.count);
  std::fill(fetch.word + fetch.count, fetch.word + padded, fetch.word[fetch.count - 1]);
  const std::int32_t last = fetch.word[padded - 1];
  const std::int32_t window_end = last + static_cast<std::int32_t>(TarnCPU::kWindowBytes);

  const TarnCPU::WordSamples words = {bytes};
  const TarnCPU::BlockLayout layout = {fetch.blocks};
  std::int32_t reach = window_end;
  if (TarnCPU::windowsHold<1>(words, fetch.word, padded)) {
    fetch.mode = WordFetchMode::kOneWindow;
    TarnCPU::fillWindows<1>(words, layout, fetch.word, padded, window_end, fetch.windows);
  } else if (TarnCPU::windowsHold<2>(words, fetch.word, padded)) {
    fetch.mode = WordFetchMode::kTwoWindows;
    TarnCPU::fillWindows<2>(words, layout, fetch.word, padded, window_end, fetch.windows);
    if (fillSpans(fetch, padded, bytes)) {
      fetch.mode = WordFetchMode::kSpans;
      reach = std::max(reach, fetch.word[padded - kFetchLanes] + kSpanBytes);
    }
  } else {
    fetch.mode = WordFetchMode::kWords;
    reach = last + kWordBytes;
  }
  fetch.reach = static_cast<std::size_t>(reach);
}

}  // namespace Tarn
