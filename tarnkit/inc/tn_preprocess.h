/// \file
/// Any camera frame to any network's input tensor in one pass, and the way back for boxes and points.
///
/// A FrameView says where a frame's pixels lie and what they mean. A TensorSpec says what the network
/// wants. A Preprocessor fills tensors, and the Placement that it returns maps between the two.
///
/// This face checks everything first: what cannot work throws std::invalid_argument, whose text begins
/// with the name of the field, before anything is written. The older routines (tn_yuvconverter.h,
/// tn_cv.h) trust their callers, work on packed even-sized frames, and keep their results for callers
/// that rely on them. Take this one for new programs.
///
/// Results are the same to the bit on every CPU and operating system.
///
/// # Pictures and positions
/// The upright picture is the stored one after its orientation is undone. Sizes, regions, channel orders
/// and the order of arithmetic are those of the upright picture: the result equals that of a frame that
/// was stored upright. Pixel x covers [x, x + 1) in edge coordinates; its centre is at x + 0.5.
///
/// # Float modes: kNearest, kBilinear, kAntialiased
/// Along each axis a content of n pixels shows a region of m. The step is m / n in double, and output i
/// lies at p = (i + 0.5) * step - 0.5 pixels from the region's first one.
/// - nearest: the pixel floor((i + 0.5) * step), with the chroma sample that it is stored with, x / 2.
/// - bilinear: p is brought into the first to last sample of the region. The value lies between samples
///   floor(p) and floor(p) + 1; the weight f of the second is p - floor(p), rounded to a multiple of
///   2^-24, which may be 1. Across first: a + (b - a) * f in both rows. Then the same down.
/// - antialiased: a triangle of half width w = max(step, 1) round c = p + 0.5. Samples from
///   int(c - w + 0.5) to below int(c + w + 0.5), cut at the region, weigh 1 - |i + 0.5 - c| / w. Weights
///   are computed and divided by their sum in double, then rounded to float. Down first, then across:
///   products are added from the first sample to the last, beginning with 0.
///
/// All values are float32, and each operation is rounded by itself.
///
/// Chroma is sampled at its own positions. With p the place of a pixel in the picture as it is stored:
/// - kLeft: p / 2 across and (p - 0.5) / 2 down;
/// - kCentre: (p - 0.5) / 2 both ways;
/// - kTopLeft: p / 2 both ways;
/// - formats with chroma of half width only: the same across.
///
/// With C that place of the region's first pixel, counted as the upright axis runs, output i lies at
/// p / 2 + (C - floor(C)) from sample floor(C), and half the step stands for the step. Only samples that
/// the region's pixels are stored with are read.
///
/// Then come colours, each clamped to 0 to 255:
/// - Ten bits are brought to the scale of eight by one multiplication, 0.25 for limited range and
///   255 / 1023 for full range. The factor is one for all planes, so the middle of full-range chroma,
///   512, becomes 127.62, not 128.
/// - y = Y - 16 (limited range) or Y, times the range's gain; u = U - 128; v = V - 128. R = y + v * rv,
///   G = (y + u * gu) + v * gv, B = y + u * bu, the factors as makeYuvToRgbMatrix gives them
///   (tn_colormatrix.h).
/// - Grey is y, or of RGB pictures (0.299 R + 0.587 G) + 0.114 B after the resampling.
///
/// # Matching modes: kOpencvLinear, kPillow...
/// They give the very bytes of these libraries' resizing of the 8-bit upright RGB picture, and then the
/// same normalisation as the rest. That picture of a YUV frame is the one of cv::cvtColor, extended to
/// other matrices:
/// - Pixel (x, y) has chroma sample (x / 2, y / 2), whatever the siting. Ten bits become
///   min(255, (v + 2) >> 2).
/// - With factors c times 2^20, rounded to nearest: R = (cy * max(Y - 16, 0) + crv * (V - 128) + 2^19)
///   >> 20, clamped to a byte, and so on. With full range the first term is 2^20 * Y.
/// - The factors are the floats of the float modes; for BT.601 limited range they are 1.164, 1.596,
///   -0.813, -0.391 and 2.018, as that function has them.
/// - Grey is made of RGB before the resizing: (9798 R + 19235 G + 3735 B + 2^14) >> 15 as OpenCV does,
///   (19595 R + 38470 G + 7471 B + 2^15) >> 16 as Pillow does.
///
/// # Normalisation
/// ((value / divisor - mean) / deviation) * scale in float32, each of the four operations rounded by
/// itself: that meets the chains of NumPy, torchvision and OpenCV's blobFromImage to the bit.
/// - float16 and bfloat16 elements are then rounded to nearest, ties to even, with subnormals kept and
///   overflow to infinity.
/// - Quantised elements are element / step in float32, rounded to nearest, ties to even, plus
///   zero_point, saturated.
#ifndef TN_PREPROCESS_H_
#define TN_PREPROCESS_H_

#include <cmath>
#include <cstddef>
#include <memory>

#include "tn_colormatrix.h"
#include "tn_image.h"
#include "tn_kits_export.h"

namespace Tarn {

/// How a frame's samples lie in memory. Chroma of 4:2:0 has (width + 1) / 2 columns and (height + 1) / 2
/// rows.
enum class FrameFormat {
  kNv12,  ///< Y plane; plane of U, V pairs, 4:2:0
  kNv21,  ///< Y plane; plane of V, U pairs, 4:2:0
  kI420,  ///< planes Y, U, V, 4:2:0
  kYv12,  ///< planes Y, V, U, 4:2:0
  kI422,  ///< planes Y, U, V, chroma of half width
  kI444,  ///< planes Y, U, V of one size
  kI010,  ///< as kI420 with 16-bit words, ten bits in the low end; the whole word is the sample
  kP010,  ///< as kNv12 with 16-bit words, ten bits in the high end; the rest is not used
  kYuyv,  ///< one plane: Y0 U Y1 V for two pixels; of an odd width the last Y1 is not used
  kUyvy,  ///< one plane: U Y0 V Y1 for two pixels
  kRgb,   ///< one plane of 3 bytes a pixel
  kBgr,   ///< one plane of 3 bytes a pixel
  kRgba,  ///< one plane of 4 bytes a pixel; alpha is not used
  kBgra,  ///< one plane of 4 bytes a pixel; alpha is not used
  kGray,  ///< one plane of full-range luma; every colour is it
};

/// Where 4:2:0 and 4:2:2 chroma samples lie among the pixels.
enum class ChromaSiting {
  kLeft,     ///< on the left pixel of two, between the rows: MPEG-2 and later
  kCentre,   ///< in the middle of the four: JPEG, MPEG-1
  kTopLeft,  ///< on the top left pixel
};

/// Whose luma weights a frame's colours were coded with.
using YuvMatrix = YuvStandard;

/// A frame in the caller's memory, in any alignment. It owns nothing.
struct FrameView {
  FrameFormat format = FrameFormat::kNv12;  ///< how samples lie
  int width = 0;                            ///< stored pixels, 1 to 65536
  int height = 0;                           ///< likewise
  /// Each plane's first row; null for planes that the format does not have.
  const void* planes[3] = {nullptr, nullptr, nullptr};
  /// Bytes from row to row, at least a row's; negative: the rows lie bottom up.
  std::ptrdiff_t strides[3] = {0, 0, 0};
  /// Bytes that a plane's memory has from its lowest row on: the first, or with a negative stride the
  /// last one. Nothing outside is read.
  std::size_t bytes[3] = {0, 0, 0};
  YuvMatrix matrix = YuvMatrix::kBt709;       ///< of YUV formats
  YuvRange range = YuvRange::kLimited;        ///< of YUV formats
  ChromaSiting siting = ChromaSiting::kLeft;  ///< of formats with less chroma than luma
  /// EXIF's number, 1 to 8, for what the stored picture needs to stand upright: 2 mirror across, 3 turn
  /// by 180 degrees, 4 mirror down, 5 swap the axes, 6 turn by 90 degrees clockwise, 7 swap the axes and
  /// turn by 180, 8 turn by 90 counter-clockwise.
  int orientation = 1;
};

/// Views a packed frame record. Of its orientation bits a rotation comes first: TN_ORIENT_ROTATE_90 (6)
/// before ANTI_ROTATE_90 (8) before a half turn (3), whatever the format; then a mirroring, FLIP_V
/// before FLIP_H: alone 4 or 2, after a rotation 7 or 5, after the other 5 or 7, after a half turn 2
/// or 4. matrix and range are not in a record: set them in the view. Errors: std::invalid_argument for a
/// format that is not a frame's, sizes below 1, a null pointer, or an odd size of a 4:2:0 picture, whose
/// chroma a record rounds down.
TN_KITS_API FrameView frameView(const _TN_Image& image);

/// A part of the upright picture, in its pixels. All 0: the whole picture. What reaches outside is cut
/// off; a part without pixels is refused.
struct Region {
  int x = 0;       ///< first column
  int y = 0;       ///< first row
  int width = 0;   ///< columns
  int height = 0;  ///< rows
};

/// What a tensor's elements are.
enum class ElementType { kFloat32, kFloat16, kBfloat16, kUint8, kInt8 };
/// How they lie: channel by channel, or pixel by pixel.
enum class TensorLayout { kNchw, kNhwc };
/// Its channels, in order; grey is one.
enum class TensorColour { kRgb, kBgr, kGray };

/// How a region of one shape comes into a tensor of another.
enum class Fit {
  kStretch,           ///< each axis by itself
  kLetterbox,         ///< one scale, in the middle between bars
  kLetterboxTopLeft,  ///< one scale, at the top left, bars behind
  kCrop,              ///< one scale, cut to the tensor's size round the middle
};

/// How pixels between pixels are found. See the top of the file.
enum class Resampling {
  kNearest,
  kBilinear,
  kAntialiased,
  kOpencvLinear,    ///< the bytes of cv::resize, INTER_LINEAR
  kPillowBilinear,  ///< the bytes of Pillow's Image.resize, BILINEAR
  kPillowBicubic,   ///< BICUBIC
  kPillowBox,       ///< BOX
};

/// The tensor that a network wants. All floats must be finite, and so must be what they make of values
/// from 0 to 255.
struct TN_KITS_API TensorSpec {
  int width = 640;                            ///< 1 to 65536
  int height = 640;                           ///< likewise
  ElementType type = ElementType::kFloat32;   ///< of each element
  TensorLayout layout = TensorLayout::kNchw;  ///< their order
  TensorColour colour = TensorColour::kRgb;   ///< the channels

  /// Letterboxes scale by r = min(width / w, height / h), the content is w * r by h * r, each rounded
  /// half to even and at least 1; in the middle means (width - content) / 2 - 0.1 rounded so. Crops
  /// scale the shorter side to short_side and the longer one to int(short_side * longer / shorter), and
  /// begin at (scaled - width) / 2 rounded half to even. What the scaled picture does not cover is bar.
  Fit fit = Fit::kLetterbox;
  bool never_enlarge = false;  ///< letterboxes: r is at most 1
  int short_side = 0;  ///< crops; 0: r = max(width / w, height / h), each side rounded half to even
  /// Colour of what the frame does not cover, 0 to 255, in the tensor's channel order. It is normalised
  /// as pixels are.
  float bar[3] = {114, 114, 114};

  /// element = ((value / divisor - mean) / deviation) * scale, value from 0 to 255; mean, deviation and
  /// scale are in the tensor's channel order. divisor and deviation are not 0.
  float divisor = 1;
  float mean[3] = {0, 0, 0};       ///< see divisor
  float deviation[3] = {1, 1, 1};  ///< see divisor
  float scale[3] = {1, 1, 1};      ///< see divisor

  /// kInt8, kUint8: round half to even(element / step) + zero_point, saturated. kInt8 needs a step above
  /// 0. kUint8 with step 0 keeps the value, rounded half to even, and takes no normalisation.
  float step = 0;
  int zero_point = 0;  ///< a value of the type

  Resampling resampling = Resampling::kBilinear;  ///< how pixels between pixels are found
  /// Whose order of passes the pillow modes have. 12: columns first, as that library up to 12.1; 12.2
  /// and 12.3 differ where a picture is more than 100 times as high as wide. 13: rows first where the
  /// height h shrinks to h' and h - h' is more than 2 * (w - w'), as from 13.0 on.
  int pillow = 12;

  /// Bytes of one tensor. Errors: std::invalid_argument for a size or type out of range.
  std::size_t bytes() const;

  /// A square letterbox of 640 with bars of 114, RGB / 255, the bytes of OpenCV's resize: how the YOLO
  /// family has been trained and exported since YOLOv5 (its `letterbox`, colour (114, 114, 114)).
  static TensorSpec detector640();
  /// The shorter side to 256, the middle 224 x 224, RGB / 255 with ImageNet's mean and deviation
  /// (0.485, 0.456, 0.406; 0.229, 0.224, 0.225), Pillow's bilinear: torchvision's reference transforms
  /// for classification.
  static TensorSpec imagenet224();
  /// The shorter side to 224 by Pillow's bicubic, the middle 224 x 224, with the mean and deviation that
  /// CLIP was published with (0.48145466, 0.4578275, 0.40821073; 0.26862954, 0.26130258, 0.27577711).
  static TensorSpec clip224();
};

/// The same letterbox in the smallest tensor whose sides are multiples of `multiple` and hold the
/// content of that frame (or region): networks of open size need not work on bars. Where the content
/// fills both sides, the fit may be kStretch, which is the same then. Errors: std::invalid_argument for
/// another fit, a multiple below 1, sides that are not multiples of it, or what `Preprocessor` refuses.
TN_KITS_API TensorSpec forContent(const TensorSpec& spec, const FrameView& frame, int multiple = 32,
                                  Region region = {});

/// The centre of pixel (x, y) is the point (x, y).
struct Point {
  double x;  ///< to the right
  double y;  ///< down
};
/// In edge coordinates: the pixel (0, 0) is {0, 0, 1, 1}.
struct Rectangle {
  double x;       ///< left edge
  double y;       ///< upper edge
  double width;   ///< to the right edge
  double height;  ///< to the lower edge

  /// Its edges rounded to pixels, for `run`; exact for the rectangles of a Placement. A box that comes
  /// back from a tensor is thereby a region for a second network.
  operator Region() const {  // NOLINT(google-explicit-constructor): callers pass boxes on
    const int left = static_cast<int>(std::lround(x)), top = static_cast<int>(std::lround(y));
    return {left, top, static_cast<int>(std::lround(x + width)) - left,
            static_cast<int>(std::lround(y + height)) - top};
  }
};

/// Where a region of the upright picture went. Plain numbers: it outlives everything.
struct TN_KITS_API Placement {
  Rectangle region;   ///< the region, before a crop's cut, in pixels of the upright picture
  Rectangle stored;   ///< the same part, in pixels of the stored picture
  Rectangle content;  ///< the part of the tensor that shows it; the rest is bars
  /// x' = m[0] x + m[1] y + m[2], y' = m[3] x + m[4] y + m[5], from edge coordinates of the upright
  /// picture to those of the tensor, and back. The scale of an axis is the scaled size by the region's:
  /// the axes of a letterbox may differ by rounding.
  double to_tensor[6];
  double to_frame[6];  ///< see to_tensor

  /// Pixel centres: + 0.5, the matrix, - 0.5. Name the type, as braces alone may be a Point or a
  /// Rectangle.
  Point toTensor(Point point) const;
  Point toFrame(Point point) const;               ///< see toTensor
  Rectangle toTensor(Rectangle rectangle) const;  ///< the matrix of its edges
  /// clip: cut at the region, down to an empty rectangle at its edge.
  Rectangle toFrame(Rectangle rectangle, bool clip = false) const;
};

/// Makes tensors of one spec. One thread at a time each; any number of them side by side.
class TN_KITS_API Preprocessor {
 public:
  /// Errors: std::invalid_argument for a spec with a field out of its range; std::bad_alloc.
  explicit Preprocessor(const TensorSpec& spec);
  ~Preprocessor();
  /// What was moved from can only be assigned to or destroyed.
  Preprocessor(Preprocessor&& other) noexcept;
  Preprocessor& operator=(Preprocessor&& other) noexcept;  ///< likewise
  Preprocessor(const Preprocessor&) = delete;              ///< moved, not copied
  Preprocessor& operator=(const Preprocessor&) = delete;   ///< moved, not copied

  const TensorSpec& spec() const;  ///< what it was made with

  /// Where `run` would put it; the pixels are not read, but must be described rightly. Errors: as `run`.
  Placement place(const FrameView& frame, Region region = {}) const;

  /// One frame, or a region of it, to one tensor.
  /// tensor: spec().bytes() bytes at the alignment of an element (64 is fastest), all of them written;
  /// apart from the frame. bytes: what it has, at least that.
  /// Over-reach: none. Allocates only where a frame, region or tensor needs larger tables than any
  /// before. They take little but with orientations 5 to 8: there all modes but kNearest and kBilinear
  /// first turn the region's samples, as many bytes as it has. The pillow modes keep rows between their
  /// passes, about as many bytes as the region has in RGB, and many times that for pictures of very
  /// unlike sides. Errors: std::invalid_argument, with nothing written, also where a crop's scaled
  /// picture would have a side of over 2^30; std::bad_alloc, likewise.
  Placement run(const FrameView& frame, void* tensor, std::size_t bytes, Region region = {});

  /// `count` regions of one frame to as many tensors back to back: crops of all tracked boxes for a
  /// second network. placements: takes `count` of them, or null. All regions are checked before anything
  /// is written. Errors: as `run`; a region's are named by its index.
  void run(const FrameView& frame, const Region* regions, std::size_t count, void* batch,
           std::size_t bytes, Placement* placements = nullptr);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace Tarn

#endif  // TN_PREPROCESS_H_
