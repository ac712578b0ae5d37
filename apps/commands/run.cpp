// tarnkit run: a video through the whole pipeline, from the decoder to the annotated video.
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "apps/commands/colour_options.h"
#include "apps/commands/command.h"
#include "apps/commands/options.h"
#include "apps/detections/mot_text.h"
#include "apps/detectors/hog_detector.h"
#include "apps/detectors/mot_file_detector.h"
#include "apps/detectors/network_detector.h"
#include "apps/drawing/picture_outputs.h"
#include "apps/output/npy.h"
#include "apps/output/output_file.h"
#include "apps/output/progress.h"
#include "apps/output/stage_times.h"
#include "apps/support/failure.h"
#include "apps/support/interrupt.h"
#include "apps/tensor/tensor_maker.h"
#include "apps/video/video_reader.h"

namespace tarnkit {
namespace {

constexpr int kLargestTensor = 8192;
constexpr Size kDefaultSize = {640, 640};
// Networks mostly take colours from 0 to 1.
constexpr float kUnitScale = 1.0f / 255.0f;

struct RunOptions {
  std::string video, detector = "hog", tracks, tensors;
  PicturePaths pictures;
  std::optional<std::int64_t> frames;
  Size size = kDefaultSize;
  CLI::Option* size_option = nullptr;  // to ask whether it was given
  HogOptions hog;
  NetworkOptions network;
  TrackerOptions tracker;
  ColourOptions colour;
};

enum Stage : std::size_t { kDecode, kTensor, kNetwork, kDetect, kTrack, kDraw };

// Which identities there were: a bit for each, as they are numbered from 1 on.
class Identities {
 public:
  void add(std::int64_t id) {
    const std::size_t index = static_cast<std::size_t>(id);
    if (index >= seen_.size()) seen_.resize(index + 1);
    if (!seen_[index]) ++count_;
    seen_[index] = true;
  }
  std::int64_t count() const { return count_; }

 private:
  std::vector<bool> seen_;
  std::int64_t count_ = 0;
};

struct Counts {
  std::int64_t frames = 0, detections = 0;
  Identities identities;
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

std::unique_ptr<Detector> makeDetector(RunOptions& options) {
  if (options.detector == "hog") return std::make_unique<HogDetector>(options.hog);
  if (!isNetwork(options.detector))
    return std::make_unique<MotFileDetector>(fileOf("mot", options.detector));
  options.network.model = fileOf("onnx", options.detector);
  return std::make_unique<NetworkDetector>(options.network);
}

// The size of the tensors: what the detector's network takes, else what was asked for.
Size tensorSize(const RunOptions& options, const Detector& detector) {
  Size size = options.size;
  const std::optional<TensorNeed> need = detector.tensorNeed();
  if (!need) return size;
  if (need->width > 0) size.width = need->width;
  if (need->height > 0) size.height = need->height;
  const std::string shown = std::to_string(size.width) + "x" + std::to_string(size.height);
  const bool is_another = options.size.width != size.width || options.size.height != size.height;
  if (options.size_option->count() > 0 && is_another)
    throw Failure("--size", "the network takes " + shown);
  if (size.width > kLargestTensor || size.height > kLargestTensor || size.width % 2 != 0 ||
      size.height % 2 != 0)
    throw Failure("--detector", "the network takes " + shown + ", and sides must be even, at most " +
                                    std::to_string(kLargestTensor));
  return size;
}

void checkOptions(const RunOptions& options) {
  requireSize("--size", options.size, kLargestTensor, Sides::kEven);
  if (options.frames) requirePositive("--frames", *options.frames);
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
                       {options.pictures.video, options.tracks, options.pictures.contact_sheet,
                        options.pictures.trajectories});
  if (options.pictures.video == "-") throw Failure("--output", "a video cannot go to standard output");
}

void makeTensorFolder(const std::string& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) throw Failure(folder, "cannot be made: " + error.message());
}

std::string tensorFile(const std::string& folder, std::int64_t number) {
  char name[32];
  std::snprintf(name, sizeof(name), "%06lld.npy", static_cast<long long>(number));
  return (std::filesystem::path(folder) / name).string();
}

// How much of the work on a frame is the network's and how much is done around it.
std::string networkShare(const StageTimes& times) {
  const double network = times.median(kNetwork);
  const double around = times.median(kTensor) + times.median(kDetect) + times.median(kTrack);
  if (network <= 0.0) return {};
  char line[128];
  std::snprintf(line, sizeof(line), "network %.1f %%, tensor, detect and track %.1f %% of their sum\n",
                100.0 * network / (network + around), 100.0 * around / (network + around));
  return line;
}

std::string summary(const Counts& counts, const StageTimes& times, std::int64_t damaged_packets) {
  std::string text = "frames " + std::to_string(counts.frames) + ", detections " +
                     std::to_string(counts.detections) + ", tracks " +
                     std::to_string(counts.identities.count());
  if (damaged_packets > 0) text += ", damaged packets passed over " + std::to_string(damaged_packets);
  return text + "\n" + times.table() + networkShare(times);
}

int run(RunOptions options) {
  checkOptions(options);
  const std::unique_ptr<Detector> detector = makeDetector(options);
  const bool has_network = detector->tensorNeed().has_value();
  const Size size = tensorSize(options, *detector);
  catchInterrupts();
  VideoReader video(options.video);
  StageTimes times({"decode", "tensor", "network", "detect", "track", "draw and encode"});
  Counts counts;
  _TN_Image frame;
  const auto next_frame = [&] {
    if (interruptSignal() != 0 || (options.frames && counts.frames >= *options.frames)) return false;
    times.start();
    if (!video.next(frame)) return false;
    times.finish(kDecode);
    return true;
  };
  // What the files to be written look like is known from the first frame on.
  bool has_frame = next_frame();
  const VideoInfo& info = video.info();
  if (options.tracker.fps->count() == 0) options.tracker.params.fps = static_cast<float>(info.fps());
  applyTrackerParams(options.tracker);
  TensorMaker tensor_maker(info.width, info.height, size.width, size.height,
                           resolveColour(options.colour, info.colour, has_network ? kUnitScale : 1.0f),
                           has_network ? Fit::kLetterbox : Fit::kStretch);

  std::optional<OutputFile> tracks;
  std::optional<PictureOutputs> pictures;
  if (!options.tensors.empty()) makeTensorFolder(options.tensors);
  if (!options.tracks.empty()) tracks.emplace(options.tracks);
  if (options.pictures.any())
    pictures.emplace(options.pictures, info, [&](int label) { return detector->labelName(label); });

  const std::unique_ptr<FrameTracker> tracker =
      makeFrameTracker(options.tracker.filter, info.width, info.height);
  std::int64_t expected = info.frames_expected;
  if (options.frames && (expected == 0 || *options.frames < expected)) expected = *options.frames;
  std::optional<ProgressBar> progress(std::in_place, expected);

  for (; has_frame; has_frame = next_frame()) {
    const std::int64_t number = ++counts.frames;
    times.start();
    const _TN_Image& tensor = tensor_maker.make({frame, video.frameBytes()});
    times.finish(kTensor);
    if (!options.tensors.empty())
      writeNpy(tensorFile(options.tensors, number), static_cast<const float*>(tensor.data), 3,
               tensor.height, tensor.width);

    const DetectorInput input = {number, frame, tensor, tensor_maker.placement()};
    times.start();
    if (has_network) {
      detector->runNetwork(input);
      times.finish(kNetwork);
    }
    const std::vector<Tarn::TarnBoundingBox2D> detections = detector->detect(input);
    times.finish(kDetect);
    const std::vector<Tarn::TarnIdentifiedBox> boxes = tracker->track(number, detections);
    times.finish(kTrack);

    counts.detections += static_cast<std::int64_t>(detections.size());
    for (const Tarn::TarnIdentifiedBox& box : boxes) counts.identities.add(box.id);
    if (tracks) {
      std::string lines;
      for (const Tarn::TarnIdentifiedBox& box : boxes)
        lines += motLine(number, toPixels(box, info.width, info.height));
      tracks->write(lines);
      tracks->markComplete();
    }
    if (pictures) {
      times.start();
      pictures->add(number, frame, boxes);
      times.finish(kDraw);
    }
    progress->show(number);
  }
  progress.reset();
  if (tracks) tracks->close();
  if (pictures) pictures->close();

  const std::string text = summary(counts, times, video.damagedPackets());
  if (options.tracks == "-") {
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

Command makeRunCommand(CLI::App& tool) {
  const auto options = std::make_shared<RunOptions>();
  CLI::App* const app =
      tool.add_subcommand("run", "Find and follow people, or what a network finds, through a video");
  app->footer(
      "Without outputs only the summary is printed: frames, detections, tracks and the time that each\n"
      "stage takes. Ctrl-C stops after the frame in hand and finishes the files; a run that is killed\n"
      "leaves the tracks of all frames before that one, whole.\n\n"
      "A network sees the frame in its own shape between grey bars. Its last layer gives a row a box,\n"
      "N x (4 + 1 + classes) with objectness, or a column a box, (4 + classes) x N: centre x, centre "
      "y,\n"
      "width and height in pixels of its input, and scores from 0 to 1. Other outputs do not count.\n\n"
      "Example: tarnkit run street.mp4 --max-confidence 5 -o tracked.mp4 --tracks tracks.txt");
  app->add_option("VIDEO", options->video, "Any video that FFmpeg reads; - reads standard input")
      ->required();
  app->add_option("--detector", options->detector,
                  "hog finds people on foot; onnx finds red, green and blue figures with the built-in "
                  "network; onnx:FILE runs a one-stage detector of yours; mot:FILE takes boxes from "
                  "MOTChallenge text")
      ->check(CLI::Validator(checkDetector, "hog|onnx|onnx:FILE|mot:FILE"))
      ->capture_default_str();
  app->add_option("--frames", options->frames, "Stop after this many frames");
  app->add_option("-o,--output", options->pictures.video,
                  "Annotated video: boxes with identity, label, score and trail")
      ->type_name("OUT.mp4");
  app->add_option("--tracks", options->tracks, "Tracks as MOTChallenge text; - writes standard output")
      ->type_name("FILE");
  app->add_option("--contact-sheet", options->pictures.contact_sheet,
                  "A picture of a few annotated frames, spread over the video")
      ->type_name("FILE.png");
  app->add_option("--trajectories", options->pictures.trajectories,
                  "A picture of all paths of at least 10 frames, over the last frame")
      ->type_name("FILE.png");
  app->add_option("--tensors", options->tensors,
                  "Folder for each frame's tensor as a NumPy file: 000001.npy, 000002.npy, ...")
      ->type_name("DIR");
  options->size_option =
      addSizeOption(*app, "--size", options->size,
                    "Size of the tensors, both even (default: the network's, else 640x640)")
          ->group("Tensor");
  addColourOptions(*app, options->colour, "1,1,1, with --detector onnx 1/255 each");
  app->add_option("--hog-threshold", options->hog.threshold,
                  "Least score of a person; lower finds more, and more that are none")
      ->capture_default_str()
      ->group("Detector hog");
  app->add_option("--hog-smallest", options->hog.smallest_person,
                  "Height in pixels of the smallest person to be found; smaller takes longer")
      ->capture_default_str()
      ->group("Detector hog");
  const auto add_network = [&](const char* name, auto& value, const char* help) {
    return app->add_option(name, value, help)->group("Detector onnx");
  };
  add_network("--labels", options->network.labels, "The names of the network's classes, one a line")
      ->type_name("FILE");
  add_network("--config", options->network.config,
              "Inference config: precision of each layer's weights, number of threads")
      ->type_name("FILE");
  add_network("--score", options->network.score, "Least score of a box, 0 to 1")->capture_default_str();
  add_network("--nms", options->network.nms,
              "Of boxes of one class that have more than this share of their union in common the best "
              "stays, 0 to 1")
      ->capture_default_str();
  addTrackerOptions(*app, options->tracker, "Frames a second (default: the video's)");
  return {app, [options] { return run(*options); }};
}

}  // namespace tarnkit
