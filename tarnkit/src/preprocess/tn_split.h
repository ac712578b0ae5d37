// Packed samples taken apart, row by row. Each reads exactly its source; destinations are written up to
// kRowSlack bytes behind their last sample.
#ifndef TN_KITS_PREPROCESS_TN_SPLIT_H_
#define TN_KITS_PREPROCESS_TN_SPLIT_H_

#include <cstddef>
#include <cstdint>

namespace Tarn::preprocess {

// n pairs of bytes to their first and second ones.
void splitPairs(const std::uint8_t* src, std::size_t n, std::uint8_t* first, std::uint8_t* second);
// n pixels of three or four bytes to the first three of each.
void splitPixels(const std::uint8_t* src, int pixel_bytes, std::size_t n, std::uint8_t* const out[3]);
// n 16-bit words, shifted to the right.
void shiftWords(const std::uint8_t* src, std::size_t n, int shift, std::uint8_t* dst);
// n pairs of words to their first and second ones, shifted to the right.
void splitWordPairs(const std::uint8_t* src, std::size_t n, int shift, std::uint8_t* first,
                    std::uint8_t* second);
// The order of n units of 1 or 2 bytes, turned round in place.
void reverseUnits(std::uint8_t* row, std::size_t n, std::size_t unit);
// Rows to columns: unit k of row x of dst is unit x of rows[k]. units of 1 or 2 bytes.
void swapAxes(const std::uint8_t* const* rows, std::size_t count, std::size_t columns, std::size_t unit,
              std::uint8_t* dst, std::size_t dst_pitch);

}  // namespace Tarn::preprocess

#endif  // TN_KITS_PREPROCESS_TN_SPLIT_H_
