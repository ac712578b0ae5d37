// Camera frames to the tensors that networks take: resize, colour, turn, mirror, floats.
//
// YUV frames are resized as planes, so that the colour conversion runs on the network's pixels and not
// on the camera's, of which there are more. One work buffer takes the resized planes and the other one
// the colours. Each holds at least 3 bytes a pixel, enough for the luma and for every chroma byte that
// the colour conversion reads.
#include "tarnkit/src/cpu_x86/tn_networkinput_cpu_x86.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>

#include "tarnkit/src/cpu_x86/tn_yuv2rgb_cpu_x86.h"
#include "tn_cnn.h"
#include "tn_cv.h"
#include "tn_image.h"

namespace TarnCPU {
namespace {

constexpr unsigned char kGrey = 128, kBlack = 0;
constexpr unsigned char kNeutralChroma = 128;

// Type codes of Mat::from_pixels: the low half names the bytes given, the high half the planes wanted.
constexpr int kRgb = 1, kBgr = 2, kRgba = 8;
constexpr int kRgbToBgr = kBgr << 16 | kRgb, kBgrToRgb = kRgb << 16 | kBgr;
constexpr int kRgbaToRgb = kRgb << 16 | kRgba, kRgbaToBgr = kBgr << 16 | kRgba;

// The size wanted, and what the two work buffers hold before the turn.
struct Target {
  int width, height;
  unsigned char* pixels_at;  // packed pixels, not turned yet
  unsigned char* planes_at;  // 4:2:0 planes
  std::size_t pixels() const {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  }
};

// Inclusive corners in pixels of the stored frame, and whether what lies outside it is grey or black.
struct Crop {
  int left, top, right, bottom;
  bool pad_grey;

  bool hasArea() const { return left <= right && top <= bottom; }
};

// The packed pixels that are turned and wrapped. Both types are codes of Mat::from_pixels.
struct Packing {
  bool yuv;
  int channels, rgb_type, bgr_type;
};

// Nothing for formats that are not supported.
std::optional<Packing> packingOf(int pix_fmt) {
  switch (pix_fmt) {
    case TN_PIX_FMT_YUVI420:
    case TN_PIX_FMT_NV12:
    case TN_PIX_FMT_NV21:
      return Packing{true, 3, kRgb, kRgbToBgr};
    // There is no code for B, G, R, A: declared as R, G, B, A, the planes change places once more.
    case TN_PIX_FMT_BGRA:
      return Packing{false, 4, kRgbaToBgr, kRgbaToRgb};
    case TN_PIX_FMT_RGBA:
      return Packing{false, 4, kRgbaToRgb, kRgbaToBgr};
    case TN_PIX_FMT_BGR:
      return Packing{false, 3, kBgrToRgb, kBgr};
    case TN_PIX_FMT_RGB:
      return Packing{false, 3, kRgb, kRgbToBgr};
    default:
      return std::nullopt;
  }
}

const unsigned char* bytesOf(const _TN_Image& image) {
  return static_cast<const unsigned char*>(image.data);
}

std::size_t lumaBytes(const _TN_Image& image) {
  return static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.height);
}

bool hasChroma(const _TN_Image& image) { return image.width > 1 && image.height > 1; }

using PairResizer = void (*)(const unsigned char*, int, int, unsigned char*, int, int);
void prepareSemiPlanar(const _TN_Image& image, const Target& target, PairResizer resize_pairs) {
  const int w = target.width, h = target.height;
  const std::size_t pixels = target.pixels();
  unsigned char* const luma = target.planes_at;
  unsigned char* const chroma = luma + pixels;
  resize_bilinear_c1(bytesOf(image), image.width, image.height, luma, w, h);
  std::size_t coloured = 0;
  if (hasChroma(image)) {
    resize_pairs(bytesOf(image) + lumaBytes(image), image.width / 2, image.height / 2, chroma, w / 2,
                 h / 2);
    coloured = std::size_t{2} * static_cast<std::size_t>(w / 2) * static_cast<std::size_t>(h / 2);
  }
  // The conversion takes a new chroma row for every row of luma, twice as many as there are.
  const std::size_t converted = (pixels + 1) / 2 * 2;
  std::memset(chroma + coloured, kNeutralChroma, converted - coloured);
  const auto order =
      image.pix_fmt == TN_PIX_FMT_NV21 ? Tarn::ChromaOrder::kVFirst : Tarn::ChromaOrder::kUFirst;
  semiPlanarImageToRgb(luma, chroma, w, h, order, target.pixels_at);
}

// Three planes, of a frame or resized.
template <class Byte>
struct Planes {
  Byte *y, *u, *v;
  int width, height;  // of y; the others have half of each, rounded down
};

void resizePlanes(const Planes<const unsigned char>& from, const Planes<unsigned char>& to) {
  resize_nearest_c1(from.y, from.width, from.height, to.y, to.width, to.height);
  if (from.width < 2 || from.height < 2) return;
  const int w = from.width / 2, h = from.height / 2;
  resize_nearest_c1(from.u, w, h, to.u, to.width / 2, to.height / 2);
  resize_nearest_c1(from.v, w, h, to.v, to.width / 2, to.height / 2);
}

void cropPlanes(const Planes<const unsigned char>& from, const Planes<unsigned char>& to,
                const Crop& crop) {
  // An empty rectangle may have halved corners that enclose a chroma sample.
  if (!crop.hasArea()) return;
  crop_resize_nearest_c1(from.y, from.width, from.height, to.y, to.width, to.height, crop.left, crop.top,
                         crop.right, crop.bottom);
  if (from.width < 2 || from.height < 2) return;
  const int w = from.width >> 1, h = from.height >> 1;
  // Negative corners round down, as positive ones do.
  const int left = crop.left >> 1, top = crop.top >> 1, right = crop.right >> 1,
            bottom = crop.bottom >> 1;
  crop_resize_nearest_c1(from.u, w, h, to.u, to.width >> 1, to.height >> 1, left, top, right, bottom);
  crop_resize_nearest_c1(from.v, w, h, to.v, to.width >> 1, to.height >> 1, left, top, right, bottom);
}

void preparePlanar(const _TN_Image& image, const Target& target, const Crop* crop) {
  const unsigned char* const frame_u = bytesOf(image) + lumaBytes(image);
  const Planes<const unsigned char> from = {bytesOf(image), frame_u, frame_u + lumaBytes(image) / 4,
                                            image.width, image.height};
  const std::size_t pixels = target.pixels();
  unsigned char* const y = target.planes_at;
  unsigned char* const u = y + pixels;
  unsigned char* const v = u + pixels / 4;
  const Planes<unsigned char> to = {y, u, v, target.width, target.height};
  // With odd sizes the chroma planes do not touch, and the conversion of an odd last row reads into the
  // gap and past V.
  const std::size_t converted =
      static_cast<std::size_t>(target.width / 2) * ((static_cast<std::size_t>(target.height) + 1) / 2);
  const std::size_t chroma = static_cast<std::size_t>(v - u) + converted;
  if (crop != nullptr) {
    std::memset(y, crop->pad_grey ? kGrey : kBlack, pixels);
    std::memset(u, kNeutralChroma, chroma);
    cropPlanes(from, to, *crop);
  } else {
    const bool all_resized = target.width % 2 == 0 && target.height % 2 == 0 && hasChroma(image);
    if (!all_resized) std::memset(u, kNeutralChroma, chroma);
    resizePlanes(from, to);
  }
  convertPlanarLogged([&] { planarImageToRgb(y, u, v, target.width, target.height, target.pixels_at); });
}

void preparePacked(const _TN_Image& image, int channels, const Target& target, const Crop* crop) {
  if (crop == nullptr) {
    const auto resize = channels == 4 ? resize_bilinear_c4 : resize_bilinear_c3;
    resize(bytesOf(image), image.width, image.height, target.pixels_at, target.width, target.height);
  } else if (crop->hasArea()) {
    const auto resize = channels == 4 ? crop_resize_nearest_c4 : crop_resize_nearest_c3;
    resize(bytesOf(image), image.width, image.height, target.pixels_at, target.width, target.height,
           crop->left, crop->top, crop->right, crop->bottom);
  }
}

enum class Turn { kNone, kClockwise, kAnticlockwise, kHalf };

// A frame that asks for both quarter turns gets one: clockwise if it is YUV, anticlockwise if it is
// packed. Callers that set both rely on it.
Turn turnOf(std::uint32_t orient, bool yuv) {
  const bool clockwise = (orient & TN_ORIENT_ROTATE_90) != 0;
  const bool anticlockwise = (orient & TN_ORIENT_ANTI_ROTATE_90) != 0;
  if (clockwise && (yuv || !anticlockwise)) return Turn::kClockwise;
  if (anticlockwise) return Turn::kAnticlockwise;
  if ((orient & (TN_ORIENT_ROTATE_180 | TN_ORIENT_ROTATE_180_B)) != 0) return Turn::kHalf;
  return Turn::kNone;
}

struct PackedSize {
  int width, height, channels;
  std::size_t bytes() const {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
           static_cast<std::size_t>(channels);
  }
};

// Two quarter turns, both with the sizes of the source: only squares whose sides are multiples of 4 come
// out upside down. Callers rely on it.
void halfTurnByQuarters(const unsigned char* src, const PackedSize& size, unsigned char* dst) {
  const int w = size.width, h = size.height;
  if (w == h && w % 4 == 0) return rotate180_pixels(src, w, h, dst, 3);
  const std::unique_ptr<unsigned char[]> half_way(new unsigned char[size.bytes()]);
  TN_CV::rotate90_intrinsics_3_channel(src, w, h, half_way.get());
  TN_CV::rotate90_intrinsics_3_channel(half_way.get(), w, h, dst);
}

void turnPixels(Turn turn, bool yuv, const unsigned char* src, const PackedSize& size,
                unsigned char* dst) {
  const int w = size.width, h = size.height;
  const bool four = size.channels == 4;
  switch (turn) {
    case Turn::kClockwise:
      return (four ? TN_CV::rotate90_intrinsics_4_channel : TN_CV::rotate90_intrinsics_3_channel)(
          src, w, h, dst);
    case Turn::kAnticlockwise:
      return (four ? TN_CV::anti_rotate90_intrinsics_4_channel
                   : TN_CV::anti_rotate90_intrinsics_3_channel)(src, w, h, dst);
    case Turn::kHalf:
      return yuv ? halfTurnByQuarters(src, size, dst) : rotate180_pixels(src, w, h, dst, size.channels);
    case Turn::kNone:
      std::memcpy(dst, src, size.bytes());
  }
}

struct Request {
  const _TN_Image& image;
  int width, height;
  bool to_bgr;
  unsigned char *work_a, *work_b;
};

// The whole frame when `crop` is null.
void prepare(const Request& request, Mat& out, const Crop* crop) {
  const _TN_Image& image = request.image;
  const int w = request.width, h = request.height;
  if (crop != nullptr)
    std::memset(request.work_a, crop->pad_grey ? kGrey : kBlack, PackedSize{w, h, 4}.bytes());
  const std::optional<Packing> known = packingOf(image.pix_fmt);
  if (!known) {
    Tarn::_LogVerbose("Tarn", "unsupport frame data pixel format");
    return;
  }
  const Packing& packing = *known;
  const Turn turn = turnOf(image.orient, packing.yuv);
  const PackedSize size = {w, h, packing.channels};

  // Without a turn the pixels are made in work_b at once, unless the conversion leaves some of them as
  // they are: then it must run in work_a, which holds what they shall be.
  const bool semi_planar = packing.yuv && image.pix_fmt != TN_PIX_FMT_YUVI420;
  const bool covers_all = semi_planar || (crop == nullptr && (!packing.yuv || w % 2 == 0));
  const bool in_place = turn == Turn::kNone && covers_all;
  const Target target = in_place ? Target{w, h, request.work_b, request.work_a}
                                 : Target{w, h, request.work_a, request.work_b};
  if (semi_planar)
    prepareSemiPlanar(image, target,
                      crop == nullptr ? TN_CV::resize_bilinear_c2 : TarnCPU::resize_bilinear_c2);
  else if (packing.yuv)
    preparePlanar(image, target, crop);
  else
    preparePacked(image, packing.channels, target, crop);

  if (!in_place) turnPixels(turn, packing.yuv, request.work_a, size, request.work_b);
  const unsigned char* pixels = request.work_b;
  if ((image.orient & (TN_ORIENT_FLIP_V | TN_ORIENT_FLIP_H)) != 0) {
    const bool vertical = (image.orient & TN_ORIENT_FLIP_V) != 0;
    (vertical ? TN_CV::flip_vertical : TN_CV::flip_horizontal)(request.work_b, w, h, request.work_a,
                                                               packing.channels);
    pixels = request.work_a;
  }
  // The old tensor is freed first, so that the new one takes over its memory, which is still cached.
  out = Mat();
  out = Mat::from_pixels(pixels, request.to_bgr ? packing.bgr_type : packing.rgb_type, w, h, nullptr);
}

}  // namespace

void rotate180_pixels(const unsigned char* src, int width, int height, unsigned char* dst,
                      int channels) {
  if (width < 1 || height < 1 || channels < 1) return;
  const std::size_t row = static_cast<std::size_t>(width) * static_cast<std::size_t>(channels);
  for (std::size_t y = static_cast<std::size_t>(height); y > 0; --y, src += row)
    TN_CV::flip_horizontal(src, width, 1, dst + (y - 1) * row, channels);
}

void TN_CV::getInMat(const _TN_Image* image, Mat& out, int to_bgr, int width, int height,
                     unsigned char* work_a, unsigned char* work_b) {
  prepare({*image, width, height, to_bgr != 0, work_a, work_b}, out, nullptr);
}

void TN_CV::getInMat_m1(const _TN_Image* image, Mat& out, int to_bgr, int width, int height,
                        unsigned char* work_a, unsigned char* work_b, int& crop_left, int& crop_top,
                        int& crop_right, int& crop_bottom, bool pad_grey) {
  const Crop crop = {crop_left, crop_top, crop_right, crop_bottom, pad_grey};
  prepare({*image, width, height, to_bgr != 0, work_a, work_b}, out, &crop);
}

}  // namespace TarnCPU
