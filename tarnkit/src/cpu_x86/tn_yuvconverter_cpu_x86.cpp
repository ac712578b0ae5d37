// Semi-planar 4:2:0 frames to planar float tensors, with and without resampling.
#include "tn_yuvconverter.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "tarnkit/src/common/tn_check.h"

namespace Tarn {
namespace {

// Callers match crash reports by this place, which therefore stays although the code moves.
#define TN_YUV_SOURCE "tarnkit/src/cpu_x86/tn_yuvconverter_cpu_x86"

// Where an output coordinate falls on the source axis.
struct Position {
  std::int64_t i0;  // left of the two samples
  float f0, f1;     // their weights; they extrapolate in front of the first sample
};

Position positionAt(int i, float scale) {
  const float p = static_cast<float>((static_cast<double>(i) + 0.5) * static_cast<double>(scale) - 0.5);
  const std::int64_t i0 = static_cast<std::int64_t>(p);
  return {i0, static_cast<float>(i0 + 1) - p, p - static_cast<float>(i0)};
}

// Fills weights and indices for w x h outputs from a plane of `pitch` samples a row, `step` bytes each.
void fillTables(int w, int h, float sx, float sy, int pitch, int step, float* weights,
                std::int32_t* index) {
  for (int y = 0; y < h; ++y) {
    const Position py = positionAt(y, sy);
    for (int x = 0; x < w; ++x) {
      const Position px = positionAt(x, sx);
      *weights++ = px.f0 * py.f0;
      *weights++ = px.f1 * py.f0;
      *weights++ = py.f1 * px.f0;
      *weights++ = py.f1 * px.f1;
      *index++ = static_cast<std::int32_t>((pitch * py.i0 + px.i0) * step);
      *index++ = static_cast<std::int32_t>((pitch * (py.i0 + 1) + px.i0) * step);
    }
  }
}

std::size_t area(int w, int h) {
  return w > 0 && h > 0 ? static_cast<std::size_t>(w) * static_cast<std::size_t>(h) : 0;
}

template <class T>
T* allocate(std::size_t count) {
  return static_cast<T*>(std::calloc(count, sizeof(T)));
}

template <class T>
void release(T*& buffer) {
  if (buffer == nullptr) return;
  std::free(buffer);
  buffer = nullptr;
}

// One pixel; `plane` floats lie between the channels.
void storePixel(const _ConvertMatrixFromYUV& mat, float y, float c1, float c2, float* dst,
                std::size_t plane) {
  for (int r = 0; r < 3; ++r)
    dst[static_cast<std::size_t>(r) * plane] =
        mat.coef[3 * r] * y + mat.coef[3 * r + 1] * c1 + mat.coef[3 * r + 2] * c2 + mat.offset[r];
}

}  // namespace

TarnYUVToolKit::TarnYUVToolKit(const int& src_width, const int& src_height, const int& src_uv_width,
                               const int& src_uv_height, const int& dst_width, const int& dst_height)
    : src_width_(src_width),
      src_height_(src_height),
      src_uv_width_(src_uv_width),
      src_uv_height_(src_uv_height),
      dst_width_(dst_width),
      dst_height_(dst_height) {
  const float sx = static_cast<float>(src_width) / static_cast<float>(dst_width);
  const float sy = static_cast<float>(src_height) / static_cast<float>(dst_height);
  const std::size_t pixels = area(dst_width, dst_height);
  const int hw = dst_width / 2, hh = dst_height / 2;

  weights_y_ = allocate<float>(4 * pixels);
  index_y_ = allocate<std::int32_t>(2 * pixels);
  fillTables(dst_width, dst_height, sx, sy, src_width, 1, weights_y_, index_y_);
  weights_uv_ = allocate<float>(4 * area(hw, hh));
  index_uv_ = allocate<std::int32_t>(2 * area(hw, hh));
  fillTables(hw, hh, sx, sy, src_uv_width, 2, weights_uv_, index_uv_);
  buf_y_ = allocate<float>(pixels);
  buf_u_ = allocate<float>(pixels / 4);
  buf_v_ = allocate<float>(pixels / 4);
}

TarnYUVToolKit::~TarnYUVToolKit() {
  release(buf_y_);
  release(buf_u_);
  release(buf_v_);
  release(weights_y_);
  release(weights_uv_);
  release(index_y_);
  release(index_uv_);
}

TarnYUVToolKit& TarnYUVToolKit::operator=(const TarnYUVToolKit& other) = default;

const _ConvertMatrixFromYUV TarnYUVToolKit::getCvtMat() const { return cvt_mat_; }

void TarnYUVToolKit::setCvtMat(const _ConvertMatrixFromYUV& mat) { cvt_mat_ = mat; }

void TarnYUVToolKit::convert(const _TN_Image& in_, const _TN_Image& out_) {
  if (out_.pix_fmt != TN_PIX_FMT_CHW_F32) return;
  const std::uint8_t* const frame = static_cast<const std::uint8_t*>(in_.data);
  const std::int64_t luma_bytes = static_cast<std::int64_t>(area(src_width_, src_height_));
  const std::int64_t chroma_bytes = static_cast<std::int64_t>(2 * area(src_uv_width_, src_height_ / 2));

  // A tap past the frame's end takes the last byte of its kind. One past the luma alone is inside the
  // frame and reads chroma.
  const auto luma = [&](std::int64_t i) {
    if (i < luma_bytes + chroma_bytes) return static_cast<float>(frame[i]);
    return luma_bytes > 0 ? static_cast<float>(frame[luma_bytes - 1]) : 0.0f;
  };
  const auto chroma = [&](std::int64_t i) {
    if (chroma_bytes == 0) return 0.0f;
    return static_cast<float>(frame[luma_bytes + (i < chroma_bytes ? i : chroma_bytes - 2 + i % 2)]);
  };

  const std::size_t w = static_cast<std::size_t>(std::max(dst_width_, 0));
  const std::size_t h = static_cast<std::size_t>(std::max(dst_height_, 0));
  for (std::size_t k = 0; k < w * h; ++k) {
    const float* const wt = weights_y_ + 4 * k;
    const std::int64_t i0 = index_y_[2 * k], i1 = index_y_[2 * k + 1];
    buf_y_[k] = luma(i0) * wt[0] + luma(i0 + 1) * wt[1] + luma(i1) * wt[2] + luma(i1 + 1) * wt[3];
  }
  for (std::size_t k = 0; k < (w / 2) * (h / 2); ++k) {
    const float* const wt = weights_uv_ + 4 * k;
    const std::int64_t j0 = index_uv_[2 * k], j1 = index_uv_[2 * k + 1];
    buf_u_[k] =
        chroma(j0) * wt[0] + chroma(j0 + 2) * wt[1] + chroma(j1) * wt[2] + chroma(j1 + 2) * wt[3];
    buf_v_[k] = chroma(j0 + 1) * wt[0] + chroma(j0 + 3) * wt[1] + chroma(j1 + 1) * wt[2] +
                chroma(j1 + 3) * wt[3];
  }

  float* const dst = static_cast<float*>(out_.data);
  for (std::size_t y = 0; y < h / 2 * 2; ++y)
    for (std::size_t x = 0; x < w / 2 * 2; ++x) {
      const std::size_t c = y / 2 * (w / 2) + x / 2, k = y * w + x;
      storePixel(cvt_mat_, buf_y_[k], buf_u_[c], buf_v_[c], dst + k, w * h);
    }
}

void TarnYUVToolKit::Convert(const _TN_Image& in_, const _TN_Image& out_,
                             const _ConvertMatrixFromYUV& mat) {
  TN_CHECK_AT(in_.pix_fmt == TN_PIX_FMT_NV12 || in_.pix_fmt == TN_PIX_FMT_NV21 ||
                  in_.pix_fmt == TN_PIX_FMT_YUVI420 || in_.pix_fmt == TN_PIX_FMT_YUV420V,
              "in_.pix_fmt == TN_PIX_FMT_NV12 || in_.pix_fmt == TN_PIX_FMT_NV21 || "
              "in_.pix_fmt == TN_PIX_FMT_YUVI420 || in_.pix_fmt == TN_PIX_FMT_YUV420V",
              TN_YUV_SOURCE, 1182);
  TN_CHECK_AT(out_.pix_fmt == TN_PIX_FMT_CHW_F32, "out_.pix_fmt == TN_PIX_FMT_CHW_F32", TN_YUV_SOURCE,
              1183);
  const std::uint8_t* const y_plane = static_cast<const std::uint8_t*>(in_.data);
  const std::size_t w = static_cast<std::size_t>(std::max(in_.width, 0));
  const std::size_t h = static_cast<std::size_t>(std::max(in_.height, 0));
  const std::uint8_t* const uv_plane = y_plane + w * h;
  const std::size_t pitch = static_cast<std::size_t>(std::max(out_.width, 0));
  const std::size_t plane = area(out_.width, out_.height);
  float* const dst = static_cast<float*>(out_.data);
  for (std::size_t y = 0; y < h / 2 * 2; ++y)
    for (std::size_t x = 0; x < w / 2 * 2; ++x) {
      const std::uint8_t* const pair = uv_plane + y / 2 * w + x / 2 * 2;
      storePixel(mat, y_plane[y * w + x], pair[0], pair[1], dst + y * pitch + x, plane);
    }
}

}  // namespace Tarn
