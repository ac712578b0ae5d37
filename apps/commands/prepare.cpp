// tarnkit prepare: one picture or raw frame to a network's input, as the library prepares frames.
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "apps/commands/command.h"
#include "apps/commands/options.h"
#include "apps/commands/picture_input.h"
#include "apps/output/output_file.h"
#include "apps/pictures/operations.h"
#include "apps/pictures/picture_file.h"
#include "apps/support/failure.h"
#include "apps/tensor/tensor_file.h"
#include "tn_checked.h"
#include "tn_cnn.h"
#include "tn_image.h"

namespace tarnkit {
namespace {

constexpr std::uint32_t kQuarterTurns = TN_ORIENT_ANTI_ROTATE_90 | TN_ORIENT_ROTATE_90;
constexpr std::uint32_t kHalfTurns = TN_ORIENT_ROTATE_180 | TN_ORIENT_ROTATE_180_B;
constexpr std::uint32_t kOrientBits = kQuarterTurns | kHalfTurns | TN_ORIENT_FLIP_V | TN_ORIENT_FLIP_H;

// Inclusive corners.
struct Crop {
  int left = 0, top = 0, right = 0, bottom = 0;
};

struct PrepareOptions {
  PictureInput input;
  std::string output;
  Size size;
  std::uint32_t orient = 0;
  bool to_bgr = false, pad_grey = false;
  std::optional<Crop> crop;
};

// The pixels of a frame record, which it points into.
struct Frame {
  std::vector<std::uint8_t> bytes;
  _TN_Image image;
};

Frame readFrame(const PrepareOptions& options) {
  static const std::map<RawFormat, int> codes = {{RawFormat::kNv12, TN_PIX_FMT_NV12},
                                                 {RawFormat::kNv21, TN_PIX_FMT_NV21},
                                                 {RawFormat::kI420, TN_PIX_FMT_YUVI420}};
  const PictureInput& input = options.input;
  Frame frame;
  if (input.format) {
    frame.bytes = readRawInput(input);
    frame.image = {options.orient, codes.at(*input.format), input.frame.width, input.frame.height, 0,
                   nullptr};
  } else {
    Picture picture = readPicture(input.path, JpegTurn::kStored);
    if (picture.layout == PixelLayout::kGray) picture = toRgb(picture);
    const int code = picture.layout == PixelLayout::kRgba ? TN_PIX_FMT_RGBA : TN_PIX_FMT_RGB;
    frame.bytes = std::move(picture.bytes);
    frame.image = {options.orient, code, picture.width, picture.height, 0, nullptr};
  }
  frame.image.data = frame.bytes.data();
  return frame;
}

// What the kernels take but nobody wants: turned pictures that come out in shreds.
void requireTurnableSize(const PrepareOptions& options) {
  const bool quarter = (options.orient & kQuarterTurns) != 0;
  const bool half_of_yuv = (options.orient & kHalfTurns) != 0 && options.input.format.has_value();
  const auto [width, height] = options.size;
  if ((quarter || half_of_yuv) && (width != height || width % 4 != 0))
    throw Failure("--size", sizeText(options.size) +
                                ": must be a square with a side that is a multiple of 4 for this turn");
}

TarnCPU::Mat makeTensor(const PrepareOptions& options, const Tarn::checked::Image& image) {
  const auto [width, height] = options.size;
  const _TN_Image& frame = image.record;
  const Tarn::NetworkInputExtents extents =
      Tarn::networkInputExtents(frame.pix_fmt, frame.width, frame.height, width, height);
  std::vector<std::uint8_t> work_a(extents.work_a.end()), work_b(extents.work_b.end());
  const Tarn::checked::Bytes a = {work_a.data(), work_a.size()}, b = {work_b.data(), work_b.size()};
  TarnCPU::Mat tensor;
  if (options.crop) {
    const Crop& crop = *options.crop;
    Tarn::checked::getInMat_m1(image, tensor, options.to_bgr ? 1 : 0, width, height, a, b, crop.left,
                               crop.top, crop.right, crop.bottom, options.pad_grey);
  } else {
    Tarn::checked::getInMat(image, tensor, options.to_bgr ? 1 : 0, width, height, a, b);
  }
  return tensor;
}

int prepare(const PrepareOptions& options) {
  requireSize("--size", options.size, kLargestTensor, Sides::kAny);
  if ((options.orient & ~kOrientBits) != 0)
    throw Failure("--orient", std::to_string(options.orient) + ": has bits that mean nothing");
  requireTurnableSize(options);
  requireDistinctFiles({options.input.path}, {options.output});
  const Frame frame = readFrame(options);
  writeTensor(options.output, makeTensor(options, {frame.image, frame.bytes.size()}));
  return 0;
}

Crop parseCrop(const std::string& text) {
  const std::vector<int> at = parseIntegers("--crop", text, 4, ",", "LEFT,TOP,RIGHT,BOTTOM");
  const Crop crop = {at[0], at[1], at[2], at[3]};
  if (crop.right < crop.left || crop.bottom < crop.top)
    throw Failure("--crop", text +
                                ": has no pixels: right and bottom are the last ones, not below left "
                                "and top");
  return crop;
}

}  // namespace

void addPrepareCommand(CommandLine& tool) {
  static const std::map<std::string, bool> orders = {{"rgb", false}, {"bgr", true}};
  static const std::map<std::string, bool> paddings = {{"grey", true}, {"black", false}};
  auto [options, values] = tool.add(
      "prepare", "Turn one picture or raw frame upright and into a network's input tensor",
      "The values, 0 to 255, are those of the library's getInMat, or getInMat_m1 for --crop. NV12 and\n"
      "NV21 frames have colours in their upper half only, and come whole whatever the crop. JPEG\n"
      "pictures are taken as stored: the orientation that the camera noted in them turns nothing.\n\n"
      "Examples: tarnkit prepare photo.png -o in.npy --size 640x640 --orient 2 --order bgr\n"
      "          tarnkit prepare camera.yuv -o in.png --size 320x320 --format i420 --frame 1920x1080 "
      "\\\n"
      "            --crop 400,200,719,519",
      prepare);
  addPictureInput(options, values.input);
  options
      .add("-o,--output", values.output,
           "NumPy file (.npy) of float32 values of shape (3, height, width), or PNG file (.png) "
           "that shows the first plane in red, the second in green, the third in blue; - writes "
           "NumPy to standard output")
      .required()
      .typeName("OUT.npy|OUT.png")
      .check(tensorFileFault);
  addSize(options, "--size", values.size,
          "Size of the tensor; for quarter turns a square, with a side that is a multiple of 4")
      .required();
  options
      .add("--orient", values.orient,
           "What turns the stored picture upright, a sum of: 1 a quarter turn anticlockwise, 2 one "
           "clockwise, 4 or 64 a half turn; then 8 top to bottom, 16 left to right")
      .typeName("BITS")
      .showDefault();
  options.addChoice("--order", values.to_bgr, orders,
                    "Which colour is in the first plane: red (rgb; the default) or blue (bgr)");
  const auto take_crop = [&crop = values.crop](const std::string& text) { crop = parseCrop(text); };
  const Option crop =
      options
          .addText("--crop", take_crop,
                   "First column and row, last column and row, in pixels of the stored picture; may "
                   "reach outside it")
          .typeName("L,T,R,B");
  options
      .addChoice("--pad", values.pad_grey, paddings,
                 "What shows where the crop reaches outside: black (the default) or grey")
      .needs(crop);
}

}  // namespace tarnkit
