/// \file
/// Byte resizers for camera frames.
///
/// All are stateless and may run on several threads at once on separate destinations. Images are packed:
/// sw * sh source and dw * dh destination pixels of as many bytes as the name says, no padding, any
/// alignment; source and destination must not overlap. Pointers and sizes are trusted. Nothing is read
/// or written outside the sizes stated, and every instruction set gives the same bytes. When dw or dh
/// is below 1 nothing is touched; sw and sh must be at least 1.
#ifndef TN_RESIZE_H_
#define TN_RESIZE_H_

#include "tn_cnn_export.h"

namespace TarnCPU {

// The names are those that callers know.
// NOLINTBEGIN(readability-identifier-naming)

/// Bilinear resizing with weights of 11 bits, pixel centres at halves, and edges replicated.
///
/// Output column dx lies at p = float((dx + 0.5) * (sw / double(dw)) - 0.5) in the source; s is its
/// floor and f = p - s (float) the share of column s + 1; s < 0 becomes column 0 alone, s >= sw - 1 the
/// last column alone. Both shares, 1 - f and f, times 2048 and rounded, halves up, are the weights a0
/// and a1, which may add up to 2049. Rows work alike, with b0 and b1. For each byte of a pixel
///   row value = (S[s] * a0 + S[s + 1] * a1) >> 4,
///   D = (((row value 0 * b0) >> 16) + ((row value 1 * b1) >> 16) + 2) >> 2.
/// Scratch memory: one block per call. Errors: std::bad_alloc.
TN_CNN_API void resize_bilinear_c1(const unsigned char* src, int sw, int sh, unsigned char* dst, int dw,
                                   int dh);
/// As resize_bilinear_c1, for 2 interleaved bytes a pixel (the chroma plane of a semi-planar frame).
TN_CNN_API void resize_bilinear_c2(const unsigned char* src, int sw, int sh, unsigned char* dst, int dw,
                                   int dh);
/// As resize_bilinear_c1, for 3 bytes a pixel.
TN_CNN_API void resize_bilinear_c3(const unsigned char* src, int sw, int sh, unsigned char* dst, int dw,
                                   int dh);
/// As resize_bilinear_c1, for 4 bytes a pixel.
TN_CNN_API void resize_bilinear_c4(const unsigned char* src, int sw, int sh, unsigned char* dst, int dw,
                                   int dh);

/// Nearest neighbour: output column dx takes source column min(sw - 1, dx * sw / dw), divided in 64 bits
/// and rounded down; rows alike. Scratch memory: one block per call. Errors: std::bad_alloc.
TN_CNN_API void resize_nearest_c1(const unsigned char* src, int sw, int sh, unsigned char* dst, int dw,
                                  int dh);

/// Nearest neighbour from a rectangle of the source into the whole destination.
///
/// left, top, right, bottom: inclusive corners in source pixels; they may reach outside the source.
/// Output column dx takes source column left + floor(dx * (right - left + 1) / dw) in 64 bits, rows
/// alike. An output pixel whose source lies outside the source image is not written: the caller's
/// background stays. Scratch memory: one block per call. Errors: std::bad_alloc.
///
/// An empty or inverted rectangle (right < left or bottom < top) writes nothing.
TN_CNN_API void crop_resize_nearest_c1(const unsigned char* src, int sw, int sh, unsigned char* dst,
                                       int dw, int dh, int left, int top, int right, int bottom);
/// As crop_resize_nearest_c1, for 3 bytes a pixel.
TN_CNN_API void crop_resize_nearest_c3(const unsigned char* src, int sw, int sh, unsigned char* dst,
                                       int dw, int dh, int left, int top, int right, int bottom);
/// As crop_resize_nearest_c1, for 4 bytes a pixel.
TN_CNN_API void crop_resize_nearest_c4(const unsigned char* src, int sw, int sh, unsigned char* dst,
                                       int dw, int dh, int left, int top, int right, int bottom);

// NOLINTEND(readability-identifier-naming)

}  // namespace TarnCPU

#endif  // TN_RESIZE_H_
