// tarnkit run: a video through the whole pipeline, from the decoder to the annotated video.
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <system_error>

#include "apps/commands/colour_options.h"
#include "apps/commands/command.h"
#include "apps/commands/options.h"
#include "apps/detections/mot_text.h"
#include "apps/detectors/hog_detector.h"
#include "apps/detectors/mot_file_detector.h"
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
constexpr char kMotPrefix[] = "mot:";
constexpr std::size_t kMotPrefixLength = sizeof(kMotPrefix) - 1;

struct RunOptions {
  std::string video, detector = "hog", tracks, tensors;
  PicturePaths pictures;
  std::optional<std::int64_t> frames;
  Size size = {640, 640};
  HogOptions hog;
  TrackerOptions tracker;
  ColourOptions colour;
};

enum Stage : std::size_t { kDecode, kTensor, kDetect, kTrack, kDraw };

struct Counts {
  std::int64_t frames = 0, detections = 0;
  std::set<std::int64_t> identities;
};

// FILE of mot:FILE, empty for everything else.
std::string motFile(const std::string& detector) {
  const bool is_mot = detector.compare(0, kMotPrefixLength, kMotPrefix) == 0;
  return is_mot ? detector.substr(kMotPrefixLength) : std::string();
}

std::string checkDetector(const std::string& detector) {
  if (detector == "hog" || !motFile(detector).empty()) return {};
  return "'" + detector + "' is neither hog nor mot:FILE";
}

std::unique_ptr<Detector> makeDetector(const RunOptions& options) {
  if (options.detector == "hog") return std::make_unique<HogDetector>(options.hog);
  return std::make_unique<MotFileDetector>(motFile(options.detector));
}

void checkOptions(const RunOptions& options) {
  requireSize("--size", options.size, kLargestTensor, Sides::kEven);
  if (options.frames) requirePositive("--frames", *options.frames);
  if (options.hog.smallest_person < 24 || options.hog.smallest_person > 2000)
    throw Failure("--hog-smallest", "must be from 24 to 2000 pixels");
  requireDistinctFiles({options.video, motFile(options.detector)},
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

std::string summary(const Counts& counts, const StageTimes& times, std::int64_t damaged_packets) {
  std::string text = "frames " + std::to_string(counts.frames) + ", detections " +
                     std::to_string(counts.detections) + ", tracks " +
                     std::to_string(counts.identities.size());
  if (damaged_packets > 0) text += ", damaged packets passed over " + std::to_string(damaged_packets);
  return text + "\n" + times.table();
}

int run(RunOptions options) {
  checkOptions(options);
  const std::unique_ptr<Detector> detector = makeDetector(options);
  catchInterrupts();
  VideoReader video(options.video);
  StageTimes times({"decode", "tensor", "detect", "track", "draw and encode"});
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
  TensorMaker tensor_maker(info.width, info.height, options.size.width, options.size.height,
                           resolveColour(options.colour, info.colour));

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
    const _TN_Image& tensor = tensor_maker.make(frame);
    times.finish(kTensor);
    if (!options.tensors.empty())
      writeNpy(tensorFile(options.tensors, number), static_cast<const float*>(tensor.data), 3,
               tensor.height, tensor.width);

    times.start();
    const std::vector<Tarn::TarnBoundingBox2D> detections = detector->detect({number, frame, tensor});
    times.finish(kDetect);
    const std::vector<Tarn::TarnIdentifiedBox> boxes = tracker->track(number, detections);
    times.finish(kTrack);

    counts.detections += static_cast<std::int64_t>(detections.size());
    for (const Tarn::TarnIdentifiedBox& box : boxes) counts.identities.insert(box.id);
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
  return exitStatus();
}

}  // namespace

Command makeRunCommand(CLI::App& tool) {
  const auto options = std::make_shared<RunOptions>();
  CLI::App* const app =
      tool.add_subcommand("run", "Find and follow people (or boxes from a file) through a video");
  app->footer(
      "Without outputs only the summary is printed: frames, detections, tracks and the time that each\n"
      "stage takes. Ctrl-C stops after the frame in hand and finishes the files.\n\n"
      "Example: tarnkit run street.mp4 --max-confidence 5 -o tracked.mp4 --tracks tracks.txt");
  app->add_option("VIDEO", options->video, "Any video that FFmpeg reads; - reads standard input")
      ->required();
  app->add_option("--detector", options->detector,
                  "hog finds people on foot; mot:FILE takes boxes from MOTChallenge text")
      ->check(CLI::Validator(checkDetector, "hog|mot:FILE"))
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
  addSizeOption(*app, "--size", options->size, "Size of the tensors, both even (default: 640x640)")
      ->group("Tensor");
  addColourOptions(*app, options->colour);
  app->add_option("--hog-threshold", options->hog.threshold,
                  "Least score of a person; lower finds more, and more that are none")
      ->capture_default_str()
      ->group("Detector hog");
  app->add_option("--hog-smallest", options->hog.smallest_person,
                  "Height in pixels of the smallest person to be found; smaller takes longer")
      ->capture_default_str()
      ->group("Detector hog");
  addTrackerOptions(*app, options->tracker, "Frames a second (default: the video's)");
  return {app, [options] { return run(*options); }};
}

}  // namespace tarnkit
