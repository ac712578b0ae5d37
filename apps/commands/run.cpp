// tarnkit run: a video through the whole pipeline, from the decoder to the annotated video.
#include <cstdio>
#include <memory>
#include <string>

#include "apps/commands/command.h"
#include "apps/commands/options.h"
#include "apps/detectors/hog_detector.h"
#include "apps/detectors/mot_file_detector.h"
#include "apps/detectors/network_detector.h"
#include "apps/output/output_file.h"
#include "apps/output/progress.h"
#include "apps/pipeline/pipeline.h"
#include "apps/support/failure.h"
#include "apps/support/interrupt.h"
#include "apps/video/video_reader.h"

namespace tarnkit {
namespace {

struct RunOptions {
  std::string video, detector = "hog";
  HogOptions hog;
  NetworkOptions network;
  TensorOptions tensor;
  PipelineOptions pipeline;  // all but what comes of `tensor`
};

// FILE of "kind:FILE", empty for everything else.
std::string fileOf(const std::string& kind, const std::string& detector) {
  const bool is_kind = detector.compare(0, kind.size() + 1, kind + ":") == 0;
  return is_kind ? detector.substr(kind.size() + 1) : std::string();
}

bool isNetwork(const std::string& detector) {
  return detector == "onnx" || !fileOf("onnx", detector).empty();
}

std::string checkDetector(const std::string& detector) {
  if (detector == "hog" || isNetwork(detector) || !fileOf("mot", detector).empty()) return {};
  return "'" + detector + "' is none of hog, onnx, onnx:FILE and mot:FILE";
}

std::unique_ptr<Detector> makeDetector(const RunOptions& options) {
  if (options.detector == "hog") return std::make_unique<HogDetector>(options.hog);
  if (!isNetwork(options.detector))
    return std::make_unique<MotFileDetector>(fileOf("mot", options.detector));
  NetworkOptions network = options.network;
  network.model = fileOf("onnx", options.detector);
  return std::make_unique<NetworkDetector>(network);
}

void checkOptions(const RunOptions& options) {
  checkTensorOptions(options.tensor);
  const PipelineOptions& pipeline = options.pipeline;
  if (pipeline.frames) requirePositive("--frames", *pipeline.frames);
  if (options.hog.smallest_person < 24 || options.hog.smallest_person > 2000)
    throw Failure("--hog-smallest", "must be from 24 to 2000 pixels");
  requireShare("--score", options.network.score);
  requireShare("--nms", options.network.nms);
  const bool is_network = isNetwork(options.detector);
  if (!is_network && !(options.network.labels.empty() && options.network.config.empty()))
    throw Failure(options.network.labels.empty() ? "--config" : "--labels",
                  "is for --detector onnx only");
  int readers = 0;
  for (const std::string& file :
       {options.video, fileOf("mot", options.detector), options.network.labels, options.network.config})
    readers += file == "-" ? 1 : 0;
  if (readers > 1) throw Failure("run", "standard input is given for more than one file");
  requireDistinctFiles({options.video, fileOf("mot", options.detector), fileOf("onnx", options.detector),
                        options.network.labels, options.network.config},
                       {pipeline.pictures.video, pipeline.tracks, pipeline.pictures.contact_sheet,
                        pipeline.pictures.trajectories});
  if (pipeline.pictures.video == "-") throw Failure("--output", "a video cannot go to standard output");
}

int run(const RunOptions& options) {
  checkOptions(options);
  const std::unique_ptr<Detector> detector = makeDetector(options);
  PipelineOptions settings = options.pipeline;
  settings.spec = tensorSpec(options.tensor, *detector);
  settings.region = options.tensor.region;
  settings.orientation = options.tensor.orientation;
  settings.colour = options.tensor.colour;
  catchInterrupts();
  VideoReader video(options.video);
  Pipeline pipeline(video, *detector, settings);
  {
    ProgressBar progress(pipeline.framesExpected());
    while (pipeline.step()) progress.show(pipeline.framesDone());
  }
  pipeline.close();

  const std::string text = pipeline.summary(video.damagedPackets());
  const PicturePaths& pictures = settings.pictures;
  if (settings.tracks == "-" || pictures.contact_sheet == "-" || pictures.trajectories == "-") {
    std::fputs(text.c_str(), stderr);
  } else {
    OutputFile out("-");
    out.write(text);
    out.close();
  }
  video.requireWhole();
  return exitStatus();
}

}  // namespace

void addRunCommand(CommandLine& tool) {
  auto [options, values] = tool.add(
      "run", "Find and follow people, or what a network finds, through a video",
      "Without outputs only the summary is printed: frames, detections, tracks and the time that each\n"
      "stage takes. Ctrl-C stops after the frame in hand and finishes the files; a run that is killed\n"
      "leaves the tracks of all frames before that one, whole.\n\n"
      "A network sees the frame in its own shape between grey bars. Its last layer gives a row a box,\n"
      "N x (4 + 1 + classes) with objectness, or a column a box, (4 + classes) x N: centre x, centre "
      "y,\n"
      "width and height in pixels of its input, and scores from 0 to 1. Other outputs do not count.\n\n"
      "Example: tarnkit run street.mp4 --max-confidence 5 -o tracked.mp4 --tracks tracks.txt",
      run);
  options.add("VIDEO", values.video, "Any video that FFmpeg reads; - reads standard input").required();
  options
      .add("--detector", values.detector,
           "hog finds people on foot; onnx finds red, green and blue figures with the built-in "
           "network; onnx:FILE runs a one-stage detector of yours; mot:FILE takes boxes from "
           "MOTChallenge text")
      .check(checkDetector, "hog|onnx|onnx:FILE|mot:FILE")
      .showDefault();
  options.add("--frames", values.pipeline.frames, "Stop after this many frames");
  options
      .add("-o,--output", values.pipeline.pictures.video,
           "Annotated video: boxes with identity, label, score and trail")
      .typeName("OUT.mp4");
  options
      .add("--tracks", values.pipeline.tracks, "Tracks as MOTChallenge text; - writes standard output")
      .typeName("FILE");
  options
      .add("--contact-sheet", values.pipeline.pictures.contact_sheet,
           "A picture of a few annotated frames, spread over the video; - writes standard output")
      .typeName("FILE.png");
  options
      .add("--trajectories", values.pipeline.pictures.trajectories,
           "A picture of all paths of at least 10 frames, over the last frame; - writes standard "
           "output")
      .typeName("FILE.png");
  options
      .add("--tensors", values.pipeline.tensors,
           "Folder for each frame's tensor as a NumPy file: 000001.npy, 000002.npy, ...")
      .typeName("DIR");
  addTensorOptions(options, values.tensor, TensorReader::kDetector);
  Options hog = options.group("Detector hog");
  hog.add("--hog-threshold", values.hog.threshold,
          "Least score of a person; lower finds more, and more that are none")
      .showDefault();
  hog.add("--hog-smallest", values.hog.smallest_person,
          "Height in pixels of the smallest person to be found; smaller takes longer")
      .showDefault();
  Options network = options.group("Detector onnx");
  network.add("--labels", values.network.labels, "The names of the network's classes, one a line")
      .typeName("FILE");
  network
      .add("--config", values.network.config,
           "Inference config: precision of each layer's weights, number of threads")
      .typeName("FILE");
  network.add("--score", values.network.score, "Least score of a box, 0 to 1").showDefault();
  network
      .add("--nms", values.network.nms,
           "Of boxes of one class that have more than this share of their union in common the best "
           "stays, 0 to 1")
      .showDefault();
  addTrackerOptions(options, values.pipeline.tracker, "Frames a second (default: the video's)");
}

}  // namespace tarnkit
