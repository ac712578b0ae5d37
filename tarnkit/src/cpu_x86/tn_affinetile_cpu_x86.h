// A tile of an affine warp: where its pixels are, and where they sample the source.
#ifndef TN_KITS_CPU_X86_TN_AFFINETILE_CPU_X86_H_
#define TN_KITS_CPU_X86_TN_AFFINETILE_CPU_X86_H_

#include <cstddef>

namespace TarnCPU {

constexpr int kTile = 64, kMostLanes = 16;

// One coordinate of the source positions of a tile: the terms of its columns and rows, and the source's
// size in pixels.
struct AffineAxis {
  alignas(64) float column[kTile];
  alignas(64) float row[kTile];
  float offset;
  int size;
};

struct AffinePlanes {
  const float* src;  // first plane
  float* dst;        // first plane, first pixel of the tile
  int dst_width, channels;
  std::ptrdiff_t src_plane, dst_plane;  // floats from one plane to the next
  bool exceed_caches;

  const float* plane(int q) const { return src + q * src_plane; }
  float* out(int q, int i, int j) const {
    return dst + q * dst_plane + std::ptrdiff_t{i} * dst_width + j;
  }
};

// columns, rows: at most kTile. Their terms are padded with the last one to whole vectors or blocks.
struct AffineTile {
  AffineAxis x, y;
  AffinePlanes planes;
  int columns, rows;
};

}  // namespace TarnCPU

#endif  // TN_KITS_CPU_X86_TN_AFFINETILE_CPU_X86_H_
