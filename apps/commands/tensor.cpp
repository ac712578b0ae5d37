// tarnkit tensor: one frame of a video to a NumPy file.
#include <string>

#include "apps/commands/command.h"
#include "apps/commands/options.h"
#include "apps/output/npy.h"
#include "apps/output/output_file.h"
#include "apps/support/failure.h"
#include "apps/support/input_file.h"
#include "apps/support/interrupt.h"
#include "apps/tensor/tensor_maker.h"
#include "apps/video/video_reader.h"

namespace tarnkit {
namespace {

struct TensorOptions {
  std::string video, output;
  std::int64_t frame = 1;
  Size size;
  ColourChoice colour;
};

int tensor(const TensorOptions& options) {
  requirePositive("--frame", options.frame);
  requireSize("--size", options.size, kLargestTensor, Sides::kEven);
  requireDistinctFiles({options.video}, {options.output});
  catchInterrupts();
  VideoReader video(options.video);
  const VideoInfo& info = video.info();
  const Tarn::YuvToRgbOptions colour = resolveColour(options.colour, info.colour);
  _TN_Image frame;
  for (std::int64_t number = 1; number <= options.frame; ++number) {
    if (video.next(frame)) continue;
    if (interruptSignal() != 0) return exitStatus();
    video.requireWhole();
    throw Failure(inputName(options.video), "has " + std::to_string(number - 1) + " frames, no frame " +
                                                std::to_string(options.frame));
  }
  TensorMaker maker(info.width, info.height, options.size.width, options.size.height, colour);
  const _TN_Image& result = maker.make({frame, video.frameBytes()});
  writeNpy(options.output, static_cast<const float*>(result.data), 3, result.height, result.width);
  return exitStatus();
}

}  // namespace

void addTensorCommand(CommandLine& tool) {
  auto [options, values] = tool.add(
      "tensor", "Turn one frame of a video into a network's input tensor",
      "The file holds float32 values of shape (3, height, width) and opens with numpy.load.\n\n"
      "Example: tarnkit tensor walk.mp4 --frame 1 --size 640x640 --scale 0.0039,0.0039,0.0039 -o "
      "in.npy",
      tensor);
  options.add("VIDEO", values.video, "Any video that FFmpeg reads; - reads standard input").required();
  options.add("--frame", values.frame, "Which frame; the first is 1").showDefault();
  addSize(options, "--size", values.size, "Size of the tensor; both even").required();
  options.add("-o,--output", values.output, "NumPy file to write; - writes standard output")
      .required()
      .typeName("OUT.npy");
  addColourOptions(options.group("Tensor"), values.colour);
}

}  // namespace tarnkit
