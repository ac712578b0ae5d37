/// \file
/// The routines of this library for callers that cannot vouch for their sizes: tools that read files,
/// bindings to other languages.
///
/// Each function has the name of the routine that it calls (of two with one name, that of tn_resize.h
/// has cnn_ in front). Where the routine takes pointers, it takes views: a pointer and the bytes there.
/// Before the call it checks
/// - the formats and the sizes;
/// - that every buffer reaches to the end of what the routine touches (tn_extents.h), documented
///   over-reach included;
/// - that source, destination, matrix and work buffers lie apart;
/// - that rectangles lie where they must.
///
/// Of a violation it throws std::invalid_argument with one sentence, such as "src holds 3110399 bytes; a
/// 1920x1080 NV12 frame needs 3110400"; nothing is touched then. Nothing is copied, and the checks take
/// some nanoseconds a call.
///
/// Stricter than the routines: sizes and counts below 1 are refused, not passed over; sides go up to
/// kLargestSide, and no buffer may need more than kMostElements elements. The sizes given are
/// checked, not the memory: the caller vouches that a view has as many bytes as it says.
///
/// What a routine does, its threads and its other errors are described at its own declaration.
#ifndef TN_CHECKED_H_
#define TN_CHECKED_H_

#include <cstdint>

#include "tn_checked_rules.h"
#include "tn_cnn.h"
#include "tn_cv.h"
#include "tn_image.h"
#include "tn_yuvconverter.h"

namespace Tarn::checked {

namespace rules {

using OfSize = void (*)(const unsigned char*, int, int, unsigned char*);
using OfCount = void (*)(const unsigned char*, unsigned char*, int);
using Resize = void (*)(const unsigned char*, int, int, unsigned char*, int, int);
using CropResize = void (*)(const unsigned char*, int, int, unsigned char*, int, int, int, int, int,
                            int);

inline void semiPlanar(OfSize routine, ConstBytes src, int w, int h, Bytes dst) {
  sides({{"w", w}, {"h", h}});
  transfer(src, {w, h, "frame with the chroma that is read behind it"}, dst,
           {w, h, "RGB picture with the rows that are written behind it"}, semiPlanarToRgbExtents(w, h));
  routine(src.data, w, h, dst.data);
}

inline void turn(OfSize routine, ConstBytes src, int w, int h, Bytes dst, int c) {
  sides({{"w", w}, {"h", h}});
  transfer(src, {w, h, "picture", c}, dst, {h, w, "picture", c}, turnExtents(w, h, c));
  routine(src.data, w, h, dst.data);
}

inline void mirror(void (*routine)(const unsigned char*, int, int, unsigned char*, int), ConstBytes src,
                   int w, int h, Bytes dst, int c) {
  sides({{"w", w}, {"h", h}, {"c", c}});
  transfer(src, {w, h, "picture", c}, dst, {w, h, "picture", c}, turnExtents(w, h, c));
  routine(src.data, w, h, dst.data, c);
}

inline void ofCount(OfCount routine, ConstBytes src, const char* source, Bytes dst,
                    const char* destination, int n, const TransferExtents& extents) {
  within("n", n, 1, static_cast<std::int64_t>(kMostElements));
  transfer(src, {n, 0, source}, dst, {n, 0, destination}, extents);
  routine(src.data, dst.data, n);
}

inline void resizable(ConstBytes src, int sw, int sh, Bytes dst, int dw, int dh, int c) {
  sides({{"sw", sw}, {"sh", sh}, {"dw", dw}, {"dh", dh}});
  transfer(src, {sw, sh, "picture", c}, dst, {dw, dh, "picture", c}, resizeExtents(sw, sh, dw, dh, c));
}

inline void resize(Resize routine, ConstBytes src, int sw, int sh, Bytes dst, int dw, int dh, int c) {
  resizable(src, sw, sh, dst, dw, dh, c);
  routine(src.data, sw, sh, dst.data, dw, dh);
}

inline void notInverted(int x0, int y0, int x1, int y1) {
  if (x0 <= x1 && y0 <= y1) return;
  refuse("the rectangle goes from (" + std::to_string(x0) + ", " + std::to_string(y0) + ") to (" +
         std::to_string(x1) + ", " + std::to_string(y1) + "); it must not be inverted");
}

inline void cropResize(CropResize routine, ConstBytes src, int sw, int sh, Bytes dst, int dw, int dh,
                       int left, int top, int right, int bottom, int c) {
  notInverted(left, top, right, bottom);
  resizable(src, sw, sh, dst, dw, dh, c);
  routine(src.data, sw, sh, dst.data, dw, dh, left, top, right, bottom);
}

/// The source is asked for whole, though only the rectangle is read.
template <class Source, class Destination>
void cut(const View<Source>& src, const View<Destination>& dst, int src_w, int src_h, int w, int h,
         int c, const char* what, const Extent& source, const TransferExtents& extents) {
  transfer(src, {src_w, src_h, what, c}, dst, {w, h, what, c},
           {whole(source, extents.src), extents.dst});
}

/// A frame and the tensor that it becomes.
inline void tensorOf(const Image& in, const Image& out, const TransferExtents& extents) {
  room("in", bytesOf(in), extents.src,
       {in.record.width, in.record.height, "frame", 0, nameOf(in.record.pix_fmt)});
  room("out", floatsOf(out), extents.dst, {out.record.width, out.record.height, "tensor", 3});
  apart("out", out.record.data, extents.dst, "in", in.record.data, extents.src);
}

inline void crop(bool planar, const Image& in, const Image& out, int x0, int y0, int x1, int y1) {
  const auto check = [planar](const char* name, const _TN_Image& record) {
    if (planar)
      format(name, record, TN_PIX_FMT_YUVI420);
    else
      format(name, record, TN_PIX_FMT_NV12, TN_PIX_FMT_NV21, TN_PIX_FMT_YUV420V);
    sidesOf(name, record);
  };
  check("in", in.record);
  check("out", out.record);
  notInverted(x0, y0, x1, y1);
  const std::int64_t w = std::int64_t{x1} - x0 + 1, h = std::int64_t{y1} - y0 + 1;
  if (out.record.width < w || out.record.height < h)
    refuse("out is " + std::to_string(out.record.width) + "x" + std::to_string(out.record.height) +
           "; it must be at least " + std::to_string(w) + "x" + std::to_string(h) +
           " like the rectangle");
  const _TN_Image &from = in.record, &to = out.record;
  const TransferExtents extents =
      cropExtents(planar, from.width, from.height, to.width, to.height, x0, y0, x1, y1);
  const Extent read = whole(cropFrameExtent(planar, from.width, from.height), extents.src);
  const Extent written = whole(cropFrameExtent(planar, to.width, to.height), extents.dst);
  const char* const what = "frame with the rows that a crop takes along";
  room("in", bytesOf(in), read, {from.width, from.height, what});
  room("out", bytesOf(out), written, {to.width, to.height, what});
  apart("out", to.data, written, "in", from.data, read);
}

}  // namespace rules

// The names are those of the routines.
// NOLINTBEGIN(readability-identifier-naming)

/// \name Colour (tn_cv.h)
/// \{

/// Checked form of TarnCPU::TN_CV::nv12_to_rgb_fast_asm.
inline void nv12_to_rgb_fast_asm(ConstBytes src, int w, int h, Bytes dst) {
  rules::semiPlanar(TarnCPU::TN_CV::nv12_to_rgb_fast_asm, src, w, h, dst);
}
/// Checked form of TarnCPU::TN_CV::yuv420sp_to_rgb_fast_asm.
inline void yuv420sp_to_rgb_fast_asm(ConstBytes src, int w, int h, Bytes dst) {
  rules::semiPlanar(TarnCPU::TN_CV::yuv420sp_to_rgb_fast_asm, src, w, h, dst);
}
/// Checked form of TarnCPU::TN_CV::yuv420f_to_rgb.
inline void yuv420f_to_rgb(ConstBytes src, int w, int h, Bytes dst) {
  rules::sides({{"w", w}, {"h", h}});
  rules::transfer(src, {w, h, "I420 frame, its last row paired,"}, dst,
                  {w, h, "RGB picture, its last row paired,"}, planarToRgbExtents(w, h));
  TarnCPU::TN_CV::yuv420f_to_rgb(src.data, w, h, dst.data);
}

/// Checked form of TarnCPU::getGray_from_BGRA_HWC.
inline void getGray_from_BGRA_HWC(ConstBytes src, Bytes dst, int n) {
  rules::ofCount(TarnCPU::getGray_from_BGRA_HWC, src, "BGRA pixels", dst, "grey pixels", n,
                 grayExtents(n, 4));
}
/// Checked form of TarnCPU::getGray_from_RGBA_HWC.
inline void getGray_from_RGBA_HWC(ConstBytes src, Bytes dst, int n) {
  rules::ofCount(TarnCPU::getGray_from_RGBA_HWC, src, "RGBA pixels", dst, "grey pixels", n,
                 grayExtents(n, 4));
}
/// Checked form of TarnCPU::getGray_from_RGB_HWC.
inline void getGray_from_RGB_HWC(ConstBytes src, Bytes dst, int n) {
  rules::ofCount(TarnCPU::getGray_from_RGB_HWC, src, "RGB pixels", dst, "grey pixels", n,
                 grayExtents(n, 3));
}
/// Checked form of TarnCPU::getRGB_CHW_from_BGRA_HWC.
inline void getRGB_CHW_from_BGRA_HWC(ConstBytes src, Bytes dst, int n) {
  rules::ofCount(TarnCPU::getRGB_CHW_from_BGRA_HWC, src, "BGRA pixels", dst, "pixels in planes", n,
                 planesExtents(n, 4));
}
/// Checked form of TarnCPU::getRGB_CHW_from_RGBA_HWC.
inline void getRGB_CHW_from_RGBA_HWC(ConstBytes src, Bytes dst, int n) {
  rules::ofCount(TarnCPU::getRGB_CHW_from_RGBA_HWC, src, "RGBA pixels", dst, "pixels in planes", n,
                 planesExtents(n, 4));
}
/// Checked form of TarnCPU::getRGB_CHW_from_RGB_HWC.
inline void getRGB_CHW_from_RGB_HWC(ConstBytes src, Bytes dst, int n) {
  rules::ofCount(TarnCPU::getRGB_CHW_from_RGB_HWC, src, "RGB pixels", dst, "pixels in planes", n,
                 planesExtents(n, 3));
}

/// \}

/// \name Geometry (tn_cv.h, tn_resize.h)
/// \{

/// Checked form of TarnCPU::TN_CV::rotate90_intrinsics_3_channel.
inline void rotate90_intrinsics_3_channel(ConstBytes src, int w, int h, Bytes dst) {
  rules::turn(TarnCPU::TN_CV::rotate90_intrinsics_3_channel, src, w, h, dst, 3);
}
/// Checked form of TarnCPU::TN_CV::rotate90_intrinsics_4_channel.
inline void rotate90_intrinsics_4_channel(ConstBytes src, int w, int h, Bytes dst) {
  rules::turn(TarnCPU::TN_CV::rotate90_intrinsics_4_channel, src, w, h, dst, 4);
}
/// Checked form of TarnCPU::TN_CV::anti_rotate90_intrinsics_3_channel.
inline void anti_rotate90_intrinsics_3_channel(ConstBytes src, int w, int h, Bytes dst) {
  rules::turn(TarnCPU::TN_CV::anti_rotate90_intrinsics_3_channel, src, w, h, dst, 3);
}
/// Checked form of TarnCPU::TN_CV::anti_rotate90_intrinsics_4_channel.
inline void anti_rotate90_intrinsics_4_channel(ConstBytes src, int w, int h, Bytes dst) {
  rules::turn(TarnCPU::TN_CV::anti_rotate90_intrinsics_4_channel, src, w, h, dst, 4);
}
/// Checked form of TarnCPU::TN_CV::flip_horizontal.
inline void flip_horizontal(ConstBytes src, int w, int h, Bytes dst, int c) {
  rules::mirror(TarnCPU::TN_CV::flip_horizontal, src, w, h, dst, c);
}
/// Checked form of TarnCPU::TN_CV::flip_vertical.
inline void flip_vertical(ConstBytes src, int w, int h, Bytes dst, int c) {
  rules::mirror(TarnCPU::TN_CV::flip_vertical, src, w, h, dst, c);
}
/// Checked form of TarnCPU::TN_CV::cut_sub_img_inchw_outchw.
inline void cut_sub_img_inchw_outchw(ConstFloats src, int src_w, int src_h, Floats dst, int w, int h,
                                     int x0, int y0, int c) {
  rules::sides({{"src_w", src_w}, {"src_h", src_h}, {"w", w}, {"h", h}, {"c", c}});
  rules::inside(x0, y0, w, h, src_w, src_h);
  rules::cut(src, dst, src_w, src_h, w, h, c, "tensor", tensorExtent(src_w, src_h, c),
             cutPlanesExtents(src_w, src_h, w, h, x0, y0, c));
  TarnCPU::TN_CV::cut_sub_img_inchw_outchw(src.data, src_w, src_h, dst.data, w, h, x0, y0, c);
}
/// Checked form of TarnCPU::TN_CV::cut_sub_img_inhwc_outhwc.
inline void cut_sub_img_inhwc_outhwc(ConstBytes src, int src_w, int src_h, Bytes dst, int w, int h,
                                     int x0, int y0, int c) {
  rules::sides({{"src_w", src_w}, {"src_h", src_h}, {"w", w}, {"h", h}, {"c", c}});
  rules::inside(x0, y0, w, h, src_w, src_h);
  rules::cut(src, dst, src_w, src_h, w, h, c, "picture", pictureExtent(src_w, src_h, c),
             cutPixelsExtents(src_w, src_h, w, h, x0, y0, c));
  TarnCPU::TN_CV::cut_sub_img_inhwc_outhwc(src.data, src_w, src_h, dst.data, w, h, x0, y0, c);
}
/// Checked form of TarnCPU::TN_CV::resize_bilinear_c2.
inline void resize_bilinear_c2(ConstBytes src, int sw, int sh, Bytes dst, int dw, int dh) {
  rules::resize(TarnCPU::TN_CV::resize_bilinear_c2, src, sw, sh, dst, dw, dh, 2);
}
/// Checked form of TarnCPU::resize_bilinear_c1.
inline void resize_bilinear_c1(ConstBytes src, int sw, int sh, Bytes dst, int dw, int dh) {
  rules::resize(TarnCPU::resize_bilinear_c1, src, sw, sh, dst, dw, dh, 1);
}
/// Checked form of TarnCPU::resize_bilinear_c2, which has the name of its twin above.
inline void cnn_resize_bilinear_c2(ConstBytes src, int sw, int sh, Bytes dst, int dw, int dh) {
  rules::resize(TarnCPU::resize_bilinear_c2, src, sw, sh, dst, dw, dh, 2);
}
/// Checked form of TarnCPU::resize_bilinear_c3.
inline void resize_bilinear_c3(ConstBytes src, int sw, int sh, Bytes dst, int dw, int dh) {
  rules::resize(TarnCPU::resize_bilinear_c3, src, sw, sh, dst, dw, dh, 3);
}
/// Checked form of TarnCPU::resize_bilinear_c4.
inline void resize_bilinear_c4(ConstBytes src, int sw, int sh, Bytes dst, int dw, int dh) {
  rules::resize(TarnCPU::resize_bilinear_c4, src, sw, sh, dst, dw, dh, 4);
}
/// Checked form of TarnCPU::resize_nearest_c1.
inline void resize_nearest_c1(ConstBytes src, int sw, int sh, Bytes dst, int dw, int dh) {
  rules::resize(TarnCPU::resize_nearest_c1, src, sw, sh, dst, dw, dh, 1);
}
/// Checked form of TarnCPU::crop_resize_nearest_c1.
inline void crop_resize_nearest_c1(ConstBytes src, int sw, int sh, Bytes dst, int dw, int dh, int left,
                                   int top, int right, int bottom) {
  rules::cropResize(TarnCPU::crop_resize_nearest_c1, src, sw, sh, dst, dw, dh, left, top, right, bottom,
                    1);
}
/// Checked form of TarnCPU::crop_resize_nearest_c3.
inline void crop_resize_nearest_c3(ConstBytes src, int sw, int sh, Bytes dst, int dw, int dh, int left,
                                   int top, int right, int bottom) {
  rules::cropResize(TarnCPU::crop_resize_nearest_c3, src, sw, sh, dst, dw, dh, left, top, right, bottom,
                    3);
}
/// Checked form of TarnCPU::crop_resize_nearest_c4.
inline void crop_resize_nearest_c4(ConstBytes src, int sw, int sh, Bytes dst, int dw, int dh, int left,
                                   int top, int right, int bottom) {
  rules::cropResize(TarnCPU::crop_resize_nearest_c4, src, sw, sh, dst, dw, dh, left, top, right, bottom,
                    4);
}

/// \}

/// \name Tensors and warps (tn_mat.h, tn_cv.h)
/// \{

/// Refuses type codes that the routine does not know, for which it would give an empty tensor.
inline TarnCPU::Mat from_pixels(ConstBytes pixels, int type, int w, int h,
                                TarnCPU::Allocator* allocator = nullptr) {
  if (fromPixelsExtents(type, 1, 1).src == kNoExtent)
    rules::refuseValue("type", type, "1, 2 or 8, plus 65536 times 0, 1 or 2");
  rules::sides({{"w", w}, {"h", h}});
  rules::room("pixels", pixels, fromPixelsExtents(type, w, h).src,
              {w, h, "picture", static_cast<int>(fromPixelsExtents(type, 1, 1).src.bytes)});
  return TarnCPU::Mat::from_pixels(pixels.data, type, w, h, allocator);
}
/// The view of these floats must not outlive them.
inline TarnCPU::Mat from_float_array(ConstFloats data, int w, int h, int c,
                                     TarnCPU::TensorShape::Layout layout,
                                     TarnCPU::Allocator* allocator) {
  rules::sides({{"w", w}, {"h", h}, {"c", c}});
  rules::within("layout", layout, TarnCPU::TensorShape::CHW, TarnCPU::TensorShape::HWC);
  rules::room("data", data, tensorExtent(w, h, c), {w, h, "tensor", c});
  return TarnCPU::Mat::from_float_array(data.data, w, h, c, layout, allocator);
}

namespace rules {

inline std::string sizeOf(const TarnCPU::Mat& mat) {
  return std::to_string(mat.w) + "x" + std::to_string(mat.h) + "x" + std::to_string(mat.c);
}

/// A CHW tensor of floats with elements, of any alignment; where they are.
inline Extent planes(const char* name, const TarnCPU::Mat& mat) {
  const std::string text = name;
  if (mat.layout != TarnCPU::TensorShape::CHW || mat.elem_size != sizeof(float))
    refuse(text + " has layout " + std::to_string(mat.layout) + " and elements of " +
           std::to_string(mat.elem_size) + " bytes; it must have layout 1 (CHW) and floats");
  if (mat.w < 1 || mat.h < 1 || mat.c < 1 || mat.w > kLargestSide || mat.h > kLargestSide)
    refuse(text + " is " + sizeOf(mat) + "; its sides must be from 1 to " +
           std::to_string(kLargestSide));
  const Extent elements = tensorExtent(mat.w, mat.h, mat.c);
  if (elements.end() / sizeof(float) > kMostElements || mat.data == nullptr)
    refuseRoom(name, mat.data == nullptr, 0, elements, sizeof(float), {mat.w, mat.h, "tensor", mat.c});
  return elements;
}

inline void warp(void (*routine)(TarnCPU::Mat, TarnCPU::Mat, const float*), const TarnCPU::Mat& src,
                 const TarnCPU::Mat& dst, ConstFloats matrix, bool one_size, bool may_overlap) {
  planes("src", src);
  planes("dst", dst);
  const WarpExtents extents = warpExtents(src.w, src.h, dst.w, dst.h, dst.c);
  room("matrix", matrix, extents.matrix, {2, 3, "matrix"});
  if (one_size) {
    if (src.c != 3 || src.w < 2 || src.h < 2)
      refuse("src is " + sizeOf(src) + "; it must have 3 planes and sides of 2 or more");
    if (dst.c != 3 || dst.w != src.w || dst.h != src.h)
      refuse("dst is " + sizeOf(dst) + "; it must be " + sizeOf(src) + " like src");
  } else if (src.c < dst.c) {
    refuse("src has " + std::to_string(src.c) + " planes; it must have at least the " +
           std::to_string(dst.c) + " of dst");
  }
  if (!may_overlap) apart("dst", dst.data, extents.dst, "src", src.data, extents.src);
  apart("dst", dst.data, extents.dst, "matrix", matrix.data, extents.matrix);
  routine(src, dst, matrix.data);
}

}  // namespace rules

/// `little` carries its own sizes, which are not checked against its memory. dst must be at least as
/// wide and as high.
inline void cover_mid_img_with_littleImg_inMat_outFloatPointer(Floats dst, int dst_width, int dst_height,
                                                               const TarnCPU::Mat& little) {
  rules::planes("little", little);
  rules::sides({{"dst_width", dst_width}, {"dst_height", dst_height}});
  if (dst_width < little.w || dst_height < little.h)
    rules::refuse("dst is " + std::to_string(dst_width) + "x" + std::to_string(dst_height) +
                  "; it must be at least " + std::to_string(little.w) + "x" + std::to_string(little.h) +
                  " like little");
  const Extent read = tensorExtent(little.w, little.h, little.c);
  const Extent written =
      rules::whole(tensorExtent(dst_width, dst_height, little.c),
                   pasteExtents(dst_width, dst_height, little.w, little.h, little.c).dst);
  rules::room("dst", dst, written, {dst_width, dst_height, "tensor", little.c});
  rules::apart("dst", dst.data, written, "little", little.data, read);
  TarnCPU::TN_CV::cover_mid_img_with_littleImg_inMat_outFloatPointer(dst.data, dst_width, dst_height,
                                                                     little);
}

// The tensors carry their own sizes, which must fit each other and are not checked against their memory.
// matrix: six floats, apart from dst.
/// Checked form of ::affine.
inline void affine(const TarnCPU::Mat& src, const TarnCPU::Mat& dst, ConstFloats matrix) {
  rules::warp(::affine, src, dst, matrix, false, false);
}
/// Checked form of ::affine_optimized.
inline void affine_optimized(const TarnCPU::Mat& src, const TarnCPU::Mat& dst, ConstFloats matrix) {
  rules::warp(::affine_optimized, src, dst, matrix, false, false);
}
/// Checked form of ::affine_sse.
inline void affine_sse(const TarnCPU::Mat& src, const TarnCPU::Mat& dst, ConstFloats matrix) {
  rules::warp(::affine_sse, src, dst, matrix, true, false);
}
/// Checked form of ::affine_sse_hwc.
inline void affine_sse_hwc(const TarnCPU::Mat& src, const TarnCPU::Mat& dst, ConstFloats matrix) {
  rules::warp(::affine_sse_hwc, src, dst, matrix, true, true);
}

/// \}

/// \name Network input (tn_cv.h)
/// \{

namespace rules {

inline void networkInput(const Image& image, int width, int height, const Bytes& work_a,
                         const Bytes& work_b) {
  const _TN_Image& record = image.record;
  format("image", record, TN_PIX_FMT_YUVI420, TN_PIX_FMT_NV12, TN_PIX_FMT_NV21, TN_PIX_FMT_BGRA,
         TN_PIX_FMT_RGBA, TN_PIX_FMT_BGR, TN_PIX_FMT_RGB);
  sidesOf("image", record);
  sides({{"width", width}, {"height", height}});
  const NetworkInputExtents extents =
      networkInputExtents(record.pix_fmt, record.width, record.height, width, height);
  room("image", bytesOf(image), extents.image,
       {record.width, record.height, "frame", 0, nameOf(record.pix_fmt)});
  const bool four = record.pix_fmt == TN_PIX_FMT_BGRA || record.pix_fmt == TN_PIX_FMT_RGBA;
  room("work_a", work_a, extents.work_a, {width, height, "work buffer", 4});
  room("work_b", work_b, extents.work_b, {width, height, "work buffer", four ? 4 : 3});
  apart("work_a", work_a.data, extents.work_a, "image", record.data, extents.image);
  apart("work_b", work_b.data, extents.work_b, "image", record.data, extents.image);
  apart("work_b", work_b.data, extents.work_b, "work_a", work_a.data, extents.work_a);
}

}  // namespace rules

/// Refuses formats that the routine does not know, for which it would log a line and leave `out` alone.
inline void getInMat(const Image& image, TarnCPU::Mat& out, int to_bgr, int width, int height,
                     Bytes work_a, Bytes work_b) {
  rules::networkInput(image, width, height, work_a, work_b);
  TarnCPU::TN_CV::getInMat(&image.record, out, to_bgr, width, height, work_a.data, work_b.data);
}
/// As getInMat. The rectangle may reach outside the frame, and may be empty: then all is background, but
/// for NV12 and NV21, which come whole.
inline void getInMat_m1(const Image& image, TarnCPU::Mat& out, int to_bgr, int width, int height,
                        Bytes work_a, Bytes work_b, int crop_left, int crop_top, int crop_right,
                        int crop_bottom, bool pad_grey) {
  rules::networkInput(image, width, height, work_a, work_b);
  TarnCPU::TN_CV::getInMat_m1(&image.record, out, to_bgr, width, height, work_a.data, work_b.data,
                              crop_left, crop_top, crop_right, crop_bottom, pad_grey);
}

/// \}

// ---- Frames to tensors (tn_yuvconverter.h) ---------------------------------------------------------

/// Tarn::TarnYUVToolKit for frames and tensors whose records are looked at: formats, sizes and bytes
/// must be those that the constructor was told.
class TarnYUVToolKit {
 public:
  /// src_uv_width: from 0 to kLargestSide. The tables by pixel take 36 bytes for each output pixel; so
  /// bound dst_width and dst_height by what you can spare.
  TarnYUVToolKit(int src_width, int src_height, int src_uv_width, int src_uv_height, int dst_width,
                 int dst_height)
      : sizes_(checkedSizes({src_width, src_height, src_uv_width, dst_width, dst_height})),
        toolkit_(src_width, src_height, src_uv_width, src_uv_height, dst_width, dst_height) {}
  /// Neither copied nor assigned: assignment of Tarn::TarnYUVToolKit shares memory that both then free.
  TarnYUVToolKit(const TarnYUVToolKit&) = delete;
  TarnYUVToolKit& operator=(const TarnYUVToolKit&) = delete;

  /// The colour matrix, as Tarn::TarnYUVToolKit::getCvtMat.
  const _ConvertMatrixFromYUV getCvtMat() const { return toolkit_.getCvtMat(); }
  /// Sets it, as Tarn::TarnYUVToolKit::setCvtMat.
  void setCvtMat(const _ConvertMatrixFromYUV& mat) { toolkit_.setCvtMat(mat); }

  /// in: NV12, NV21 or YUV420V. out: CHW_F32.
  void convert(const Image& in, const Image& out) {
    rules::format("in", in.record, TN_PIX_FMT_NV12, TN_PIX_FMT_NV21, TN_PIX_FMT_YUV420V);
    rules::format("out", out.record, TN_PIX_FMT_CHW_F32);
    rules::sidesAre("in", in.record, sizes_.src_width, sizes_.src_height);
    rules::sidesAre("out", out.record, sizes_.dst_width, sizes_.dst_height);
    rules::tensorOf(in, out, sizes_.extents());
    toolkit_.convert(in.record, out.record);
  }

  /// in: as for convert, or I420, which is read as if its chroma were interleaved. out: CHW_F32, at
  /// least as wide and high as the even part of `in`.
  static void Convert(const Image& in, const Image& out, const _ConvertMatrixFromYUV& mat) {
    rules::format("in", in.record, TN_PIX_FMT_NV12, TN_PIX_FMT_NV21, TN_PIX_FMT_YUV420V,
                  TN_PIX_FMT_YUVI420);
    rules::format("out", out.record, TN_PIX_FMT_CHW_F32);
    rules::sidesOf("in", in.record);
    rules::sidesOf("out", out.record);
    const int w = in.record.width, h = in.record.height;
    if (out.record.width < w / 2 * 2 || out.record.height < h / 2 * 2)
      rules::sidesAre("out", out.record, w, h);
    rules::tensorOf(in, out, convertExtents(w, h, out.record.width, out.record.height));
    Tarn::TarnYUVToolKit::Convert(in.record, out.record, mat);
  }

  /// in, out: NV12, NV21 or YUV420V. The rectangle may reach outside `in`, but must not be inverted;
  /// `out` must be at least as large.
  static void Crop(const Image& in, const Image& out, int x0, int y0, int x1, int y1) {
    rules::crop(false, in, out, x0, y0, x1, y1);
    Tarn::TarnYUVToolKit::Crop(in.record, out.record, x0, y0, x1, y1);
  }
  /// The same for I420.
  static void Crop_YUVI420(const Image& in, const Image& out, int x0, int y0, int x1, int y1) {
    rules::crop(true, in, out, x0, y0, x1, y1);
    Tarn::TarnYUVToolKit::Crop_YUVI420(in.record, out.record, x0, y0, x1, y1);
  }

 private:
  struct Sizes {
    int src_width, src_height, src_uv_width, dst_width, dst_height;

    TransferExtents extents() const {
      return resampleExtents(src_width, src_height, src_uv_width, dst_width, dst_height);
    }
  };

  static Sizes checkedSizes(const Sizes& sizes) {
    rules::sides({{"src_width", sizes.src_width},
                  {"src_height", sizes.src_height},
                  {"dst_width", sizes.dst_width},
                  {"dst_height", sizes.dst_height}});
    rules::within("src_uv_width", sizes.src_uv_width, 0, kLargestSide);
    // Sides of at most 2^24 give extents of at most 2^54.
    const TransferExtents extents = sizes.extents();
    const auto elements = static_cast<std::int64_t>(kMostElements);
    rules::within("the frame's size in bytes", static_cast<std::int64_t>(extents.src.end()), 1,
                  elements);
    rules::within("the tensor's size in floats",
                  static_cast<std::int64_t>(extents.dst.end() / sizeof(float)), 1, elements);
    return sizes;
  }

  Sizes sizes_;
  Tarn::TarnYUVToolKit toolkit_;
};

// NOLINTEND(readability-identifier-naming)

}  // namespace Tarn::checked

#endif  // TN_CHECKED_H_
