// tarnkit tensor: a picture, a raw frame or a frame of a video to a NumPy file.
#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "apps/commands/command.h"
#include "apps/commands/options.h"
#include "apps/commands/picture_input.h"
#include "apps/output/npy.h"
#include "apps/output/output_file.h"
#include "apps/pictures/picture_file.h"
#include "apps/support/failure.h"
#include "apps/support/input_file.h"
#include "apps/support/interrupt.h"
#include "apps/video/video_reader.h"

namespace tarnkit {
namespace {

using Tarn::FrameFormat, Tarn::FrameView, Tarn::TensorSpec;

struct TensorCommand {
  std::string input, output, placement;
  std::optional<std::int64_t> frame;
  std::optional<FrameFormat> format;
  Size raw;
  TensorSpec preset;
  TensorOptions tensor;
};

const std::map<std::string, FrameFormat>& rawFormats() {
  static const std::map<std::string, FrameFormat> formats = {
      {"nv12", FrameFormat::kNv12}, {"nv21", FrameFormat::kNv21}, {"i420", FrameFormat::kI420},
      {"yv12", FrameFormat::kYv12}, {"i422", FrameFormat::kI422}, {"i444", FrameFormat::kI444},
      {"i010", FrameFormat::kI010}, {"p010", FrameFormat::kP010}, {"yuyv", FrameFormat::kYuyv},
      {"uyvy", FrameFormat::kUyvy}, {"rgb", FrameFormat::kRgb},   {"bgr", FrameFormat::kBgr},
      {"rgba", FrameFormat::kRgba}, {"bgra", FrameFormat::kBgra}, {"gray", FrameFormat::kGray}};
  return formats;
}

bool isYuv(FrameFormat format) { return format < FrameFormat::kRgb; }

// The planes of a frame whose rows and planes are packed; `at` may be null. Returns its bytes.
std::size_t layPlanes(FrameView& view, const std::uint8_t* at) {
  const std::size_t width = static_cast<std::size_t>(view.width),
                    height = static_cast<std::size_t>(view.height);
  const std::size_t half = (width + 1) / 2, half_rows = (height + 1) / 2;
  // Bytes of a row, and rows.
  std::vector<std::pair<std::size_t, std::size_t>> planes;
  switch (view.format) {
    case FrameFormat::kNv12:
    case FrameFormat::kNv21:
      planes = {{width, height}, {2 * half, half_rows}};
      break;
    case FrameFormat::kI420:
    case FrameFormat::kYv12:
      planes = {{width, height}, {half, half_rows}, {half, half_rows}};
      break;
    case FrameFormat::kI422:
      planes = {{width, height}, {half, height}, {half, height}};
      break;
    case FrameFormat::kI444:
      planes = {{width, height}, {width, height}, {width, height}};
      break;
    case FrameFormat::kI010:
      planes = {{2 * width, height}, {2 * half, half_rows}, {2 * half, half_rows}};
      break;
    case FrameFormat::kP010:
      planes = {{2 * width, height}, {4 * half, half_rows}};
      break;
    case FrameFormat::kYuyv:
    case FrameFormat::kUyvy:
      planes = {{4 * half, height}};
      break;
    case FrameFormat::kRgb:
    case FrameFormat::kBgr:
      planes = {{3 * width, height}};
      break;
    case FrameFormat::kRgba:
    case FrameFormat::kBgra:
      planes = {{4 * width, height}};
      break;
    case FrameFormat::kGray:
      planes = {{width, height}};
      break;
  }
  std::size_t bytes = 0;
  for (std::size_t i = 0; i < planes.size(); ++i) {
    const auto [row, rows] = planes[i];
    view.planes[i] = at == nullptr ? nullptr : at + bytes;
    view.strides[i] = static_cast<std::ptrdiff_t>(row);
    view.bytes[i] = row * rows;
    bytes += row * rows;
  }
  return bytes;
}

// A frame, and who owns its bytes.
class Input {
 public:
  explicit Input(const TensorCommand& command) : command_(command) {
    if (command.format)
      readRaw();
    else if (!command.frame && (command.input == "-" || isPictureFile(command.input)))
      readPicture();
    else
      readVideo();
    if (command.tensor.colour.any() && !isYuv(view_.format))
      throw Failure(command.tensor.colour.standard ? "--matrix" : "--range",
                    inputName(command.input) + " is not YUV");
    if (isYuv(view_.format)) command.tensor.colour.applyTo(view_);
    view_.orientation = command.tensor.orientation.value_or(view_.orientation);
  }
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;

  const FrameView& view() const { return view_; }

 private:
  void readRaw() {
    requireSize("--raw", command_.raw, kLargestPictureSide, Sides::kAny);
    view_.format = *command_.format;
    view_.width = command_.raw.width;
    view_.height = command_.raw.height;
    view_.matrix = standardByRows(view_.height);
    bytes_ = readRawBytes(command_.input, layPlanes(view_, nullptr), command_.raw);
    layPlanes(view_, bytes_.data());
  }

  void readPicture() {
    Picture picture = tarnkit::readPicture(
        command_.input, command_.tensor.orientation ? JpegTurn::kStored : JpegTurn::kUpright);
    bytes_ = std::move(picture.bytes);
    view_.format = picture.layout == PixelLayout::kGray  ? FrameFormat::kGray
                   : picture.layout == PixelLayout::kRgb ? FrameFormat::kRgb
                                                         : FrameFormat::kRgba;
    view_.width = picture.width;
    view_.height = picture.height;
    layPlanes(view_, bytes_.data());
  }

  void readVideo() {
    catchInterrupts();
    video_.emplace(command_.input);
    const std::int64_t wanted = command_.frame.value_or(1);
    _TN_Image frame;
    for (std::int64_t number = 1; number <= wanted; ++number) {
      if (video_->next(frame)) continue;
      if (interruptSignal() != 0) throw Failure(inputName(command_.input), "interrupted");
      video_->requireWhole();
      throw Failure(inputName(command_.input),
                    "has " + std::to_string(number - 1) + " frames, no frame " + std::to_string(wanted));
    }
    view_ = video_->view();
    view_.orientation = video_->info().orientation;
    if (view_.orientation == 0 && !command_.tensor.orientation)
      throw Failure(inputName(command_.input),
                    "is turned by no right angle; --orientation says which way it is to be taken");
  }

  const TensorCommand& command_;
  std::vector<std::uint8_t> bytes_;
  std::optional<VideoReader> video_;
  FrameView view_;
};

std::string placementJson(const Tarn::Placement& placement) {
  const auto line = [](const char* name, std::initializer_list<double> values) {
    std::string text = std::string("  \"") + name + "\": [";
    const char* separator = "";
    for (const double value : values) {
      char number[32];  // as short as it reads back to the same
      text.append(separator).append(number, std::to_chars(number, number + sizeof(number), value).ptr);
      separator = ", ";
    }
    return text + "]";
  };
  const auto box = [&](const char* name, const Tarn::Rectangle& r) {
    return line(name, {r.x, r.y, r.width, r.height});
  };
  const auto matrix = [&](const char* name, const double(&m)[6]) {
    return line(name, {m[0], m[1], m[2], m[3], m[4], m[5]});
  };
  return "{\n" + box("frame", placement.region) + ",\n" + box("content", placement.content) + ",\n" +
         matrix("to_tensor", placement.to_tensor) + ",\n" + matrix("to_frame", placement.to_frame) +
         "\n}\n";
}

int tensor(const TensorCommand& command) {
  if (command.frame) requirePositive("--frame", *command.frame);
  if (command.frame && command.format) throw Failure("--frame", "is for videos, --raw for raw frames");
  checkTensorOptions(command.tensor);
  requireDistinctFiles({command.input}, {command.output, command.placement});
  const TensorSpec spec = specOf(command.tensor, command.preset);
  const auto preprocessor = makePreprocessor(spec);
  const Input input(command);
  std::vector<unsigned char> elements;
  const Tarn::Placement placement =
      preprocess(*preprocessor, input.view(), command.tensor.region, elements, inputName(command.input));
  // Both or none.
  OutputFile out(command.output);
  std::optional<OutputFile> json;
  if (!command.placement.empty()) json.emplace(command.placement);
  out.write(npyHeaderOf(spec));
  out.write(elements.data(), elements.size());
  if (json) {
    json->write(placementJson(placement));
    json->close();
  }
  out.close();
  return exitStatus();
}

}  // namespace

void addTensorCommand(CommandLine& tool) {
  static const std::map<std::string, TensorSpec> presets = {{"detector640", TensorSpec::detector640()},
                                                            {"imagenet224", TensorSpec::imagenet224()},
                                                            {"clip224", TensorSpec::clip224()}};
  auto [options, values] = tool.add(
      "tensor", "Turn a picture, a raw frame or a frame of a video into a network's input tensor",
      "The file holds one tensor of shape (1, channels, height, width), or (1, height, width, "
      "channels)\n"
      "with --layout nhwc, and opens with numpy.load. Pictures and videos come upright.\n\n"
      "Examples: tarnkit tensor walk.mp4 --frame 1 --size 640x640 --divisor 255 -o in.npy\n"
      "          tarnkit tensor photo.jpg --preset imagenet224 -o in.npy\n"
      "          tarnkit tensor camera.yuv --format p010 --raw 1920x1080 --type f16 -o in.npy \\\n"
      "            --placement where.json",
      tensor);
  options
      .add("INPUT", values.input,
           "PNG or JPEG, any video that FFmpeg reads, or one raw frame; - reads standard input, a "
           "picture unless --frame or --raw is given")
      .required();
  options.add("--frame", values.frame, "Which frame of a video (default: 1, the first)");
  Option format = options.addChoice(
      "--format", values.format, rawFormats(),
      "INPUT is a raw frame with packed rows and planes, chroma rounded up for odd sizes");
  Option raw = addSize(options, "--raw", values.raw, "Size of the raw frame");
  format.needs(raw);
  raw.needs(format);
  options.add("-o,--output", values.output, "NumPy file to write; - writes standard output")
      .required()
      .typeName("OUT.npy");
  options
      .add("--placement", values.placement,
           "Where the frame went, as JSON: frame and content as x, y, width, height; to_tensor and "
           "to_frame as a, b, c, d, e, f of x' = a x + b y + c, y' = d x + e y + f, between edge "
           "coordinates of the upright frame and of the tensor")
      .typeName("FILE.json");
  options.addChoice("--preset", values.preset, presets,
                    "How a well-known network takes its input; other options replace parts of it");
  addTensorOptions(options, values.tensor, TensorReader::kFile);
}

}  // namespace tarnkit
