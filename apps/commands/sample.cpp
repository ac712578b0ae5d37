// tarnkit sample: a small video with moving figures, and their boxes.
#include <map>
#include <memory>
#include <string>

#include "apps/commands/command.h"
#include "apps/commands/options.h"
#include "apps/detections/mot_text.h"
#include "apps/output/output_file.h"
#include "apps/output/progress.h"
#include "apps/scene/coloured_figures.h"
#include "apps/scene/walkers.h"
#include "apps/support/failure.h"
#include "apps/support/interrupt.h"
#include "apps/video/video_writer.h"

namespace tarnkit {
namespace {

constexpr int kLargestFrame = 8192;

enum class Film { kWalkers, kFigures };

struct SampleOptions {
  Film film = Film::kWalkers;
  std::string video, detections;
  std::int64_t frames = 150;
  Size frame = {640, 480};
};

std::unique_ptr<Scene> makeScene(Film film, const Size& frame) {
  if (film == Film::kFigures) return std::make_unique<ColouredFigureScene>(frame.width, frame.height);
  return std::make_unique<WalkerScene>(frame.width, frame.height);
}

int sample(const SampleOptions& options) {
  requirePositive("--frames", options.frames);
  requireSize("--frame", options.frame, kLargestFrame, Sides::kEven);
  if (options.frame.width < Scene::kSmallestSide || options.frame.height < Scene::kSmallestSide)
    throw Failure("--frame", "is too small for the figures: 64x64 is the least");
  requireDistinctFiles({}, {options.video, options.detections});
  catchInterrupts();
  const std::unique_ptr<Scene> scene = makeScene(options.film, options.frame);
  VideoInfo info = {options.frame.width, options.frame.height, 25, 1, options.frames, YuvColour()};
  VideoWriter video(options.video, info);
  OutputFile detections(options.detections);
  {
    ProgressBar progress(options.frames);
    for (std::int64_t number = 1; number <= options.frames && interruptSignal() == 0; ++number) {
      video.write(scene->draw(number));
      detections.writeComplete(motLines(number, scene->boxes(number)));
      progress.show(number);
    }
  }
  video.close();
  detections.close();
  return exitStatus();
}

}  // namespace

void addSampleCommand(CommandLine& tool) {
  static const std::map<std::string, Film> films = {{"walkers", Film::kWalkers},
                                                    {"figures", Film::kFigures}};
  auto [options, values] =
      tool.add("sample", "Make a small video of moving figures, and the file of their boxes",
               "Something to try the other commands on:\n"
               "  tarnkit sample walk.mp4 --detections walk.txt\n"
               "  tarnkit run walk.mp4 --detector mot:walk.txt -o tracked.mp4\n"
               "  tarnkit sample figures.mp4 --scene figures --detections truth.txt\n"
               "  tarnkit run figures.mp4 --detector onnx --tracks tracks.txt\n"
               "  tarnkit score tracks.txt truth.txt",
               sample);
  options.add("OUT.mp4", values.video, "Video to write, 25 frames a second").required();
  options
      .add("--detections", values.detections,
           "File for the boxes, MOTChallenge text; - writes standard output")
      .required()
      .typeName("FILE");
  options.addChoice(
      "--scene", values.film, films,
      "walkers go on foot, never meeting (the default); figures are red, green and blue shapes "
      "that pass in front of each other");
  options.add("--frames", values.frames, "Length in frames").showDefault();
  addSize(options, "--frame", values.frame, "Size of the frames, both even (default: 640x480)");
}

}  // namespace tarnkit
