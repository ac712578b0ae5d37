// Detectors: their boxes, by small outputs made by hand; tarnkit run with networks, the built-in one
// against the truth, and files that cannot be used.
#include <gtest/gtest.h>

#include <iterator>
#include <limits>
#include <regex>

#include "apps/detectors/box_decoding.h"
#include "apps/detectors/hog_detector.h"
#include "apps/detectors/label_names.h"
#include "apps/detectors/network_detector.h"
#include "apps/support/failure.h"
#include "tests/apps/tool_test_support.h"
#include "tests/support/test_support.h"
#include "tool_export_inference_config.h"

namespace {

using namespace tarnkit;
using Tarn::TarnBoundingBox2D;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinite = std::numeric_limits<float>::infinity();

std::vector<float> valuesOf(const TarnBoundingBox2D& box) {
  return {box.x, box.y, box.w, box.h, box.score};
}

TEST(BoxDecoding, LayoutIsReadOffTheShape) {
  constexpr auto kRows = BoxOutput::Layout::kRows, kColumns = BoxOutput::Layout::kColumns;
  static const struct {
    int rows, columns, boxes, classes;
    BoxOutput::Layout layout;
  } cases[] = {{4096, 8, 4096, 3, kRows},
               {7, 6, 7, 1, kRows},
               {84, 8400, 8400, 80, kColumns},
               {5, 6, 6, 1, kColumns}};
  for (const auto& c : cases) {
    const auto output = readLayout(1, c.rows, c.columns, nullptr);
    ASSERT_TRUE(output) << c.rows << "x" << c.columns;
    EXPECT_EQ(output->boxes, c.boxes);
    EXPECT_EQ(output->classes, c.classes);
    EXPECT_EQ(output->layout, c.layout);
  }
  static constexpr int kRefused[][3] = {{1, 8, 8},    {1, 100, 5}, {1, 4, 100}, {24, 80, 80},
                                        {3, 4096, 8}, {1, 1, 10},  {1, 0, 8},   {0, 0, 0}};
  for (const auto& [channels, rows, columns] : kRefused)
    EXPECT_FALSE(readLayout(channels, rows, columns, nullptr))
        << channels << "x" << rows << "x" << columns;
}

// A box of the network: its four values, objectness and two classes.
struct Row {
  const char* name;
  float x, y, w, h, objectness, first, second;
  float score;  // wanted; 0: dropped
  int label;
};

const Row kTable[] = {
    {"second class", 50, 40, 20, 10, 0.5f, 0.25f, 0.75f, 0.375f, 1},
    {"equal classes", 10, 10, 4, 4, 0.5f, 1, 1, 0.5f, 0},
    {"just enough", 10, 10, 4, 4, 0.5f, 0.5f, 0, 0.25f, 0},
    {"just enough objectness", 10, 10, 4, 4, 0.25f, 1, 0, 0.25f, 0},
    {"too little", 10, 10, 4, 4, 0.5f, 0.4375f, 0, 0, 0},
    {"no objectness", 10, 10, 4, 4, 0, 1, 1, 0, 0},
    {"objectness is no number", 10, 10, 4, 4, kNan, 1, 1, 0, 0},
    {"a class is no number", 10, 10, 4, 4, 1, kNan, 0.5f, 0.5f, 1},
    {"no class is a number", 10, 10, 4, 4, 1, kNan, kNan, 0, 0},
    {"an infinite score", 10, 10, 4, 4, 1, kInfinite, 0, 0, 0},
    {"no width", 10, 10, 0, 4, 1, 1, 0, 0, 0},
    {"a negative height", 10, 10, 4, -4, 1, 1, 0, 0, 0},
    {"a width that is no number", 10, 10, kNan, 4, 1, 1, 0, 0, 0},
    {"an infinite centre", kInfinite, 10, 4, 4, 1, 1, 0, 0, 0},
    {"an edge beyond the largest float", 3e38f, 10, 3e38f, 4, 1, 1, 0, 0, 0},
    {"outside the input", -500, 900, 4, 4, 1, 1, 0, 1, 0},
};

TEST(BoxDecoding, BothLayoutsGiveTheSameBoxes) {
  constexpr int kClasses = 2;
  const int count = static_cast<int>(std::size(kTable));
  // With columns there is no objectness: the classes carry the product.
  std::vector<float> rows, columns(static_cast<std::size_t>(6 * count));
  for (int i = 0; i < count; ++i) {
    const Row& row = kTable[i];
    rows.insert(rows.end(), {row.x, row.y, row.w, row.h, row.objectness, row.first, row.second});
    const float values[] = {
        row.x, row.y, row.w, row.h, row.objectness * row.first, row.objectness * row.second};
    for (int value = 0; value < 6; ++value)
      columns[static_cast<std::size_t>(value * count + i)] = values[value];
  }
  const auto by_rows = readLayout(1, count, 5 + kClasses, rows.data());
  const auto by_columns = readLayout(1, 4 + kClasses, count, columns.data());
  ASSERT_TRUE(by_rows && by_columns);
  for (const BoxOutput& output : {*by_rows, *by_columns}) {
    const std::vector<TarnBoundingBox2D> boxes = decodeBoxes(output, 0.25f);
    std::size_t next = 0;
    for (const Row& row : kTable) {
      SCOPED_TRACE(row.name);
      if (row.score <= 0) continue;
      ASSERT_LT(next, boxes.size());
      const TarnBoundingBox2D& box = boxes[next++];
      EXPECT_EQ(valuesOf(box),
                (std::vector<float>{row.x - row.w / 2, row.y - row.h / 2, row.w, row.h, row.score}));
      EXPECT_EQ(box.label, row.label);
    }
    EXPECT_EQ(next, boxes.size());
  }
}

TEST(BoxDecoding, TheBestOfOverlappingBoxesOfAClassStays) {
  // A and B share half of their union, C lies on A but is of another class, D touches B.
  const std::vector<TarnBoundingBox2D> boxes = {{20, 0, 60, 10, 0.8f, 0},   // B
                                                {0, 0, 60, 10, 0.9f, 0},    // A
                                                {0, 0, 60, 10, 0.95f, 1},   // C
                                                {80, 0, 60, 10, 0.3f, 0}};  // D
  const auto scores = [&](float most_overlap) {
    std::vector<float> kept;
    for (const TarnBoundingBox2D& box : suppressDuplicates(boxes, most_overlap))
      kept.push_back(box.score);
    return kept;
  };
  EXPECT_EQ(scores(0.4f), (std::vector<float>{0.95f, 0.9f, 0.3f}));
  EXPECT_EQ(scores(0.5f), (std::vector<float>{0.95f, 0.9f, 0.8f, 0.3f})) << "no more than half";
  EXPECT_TRUE(suppressDuplicates({}, 0.5f).empty());
  EXPECT_EQ(suppressDuplicates({{0, 0, 100, 10, 0.0f, 0}}, 0.5f).size(), 1u) << "a score like others";
}

TEST(BoxDecoding, BoxesAreCutOffAtThePicture) {
  // A frame of 400 x 200, of which the left half is shown as 100 x 100 at (30, 50): x and y count from
  // there on.
  Tarn::Placement shown = {};
  shown.region = {0, 0, 200, 200};
  shown.content = {30, 50, 100, 100};
  const double to_frame[6] = {2, 0, -60, 0, 2, -100};
  std::copy_n(to_frame, 6, shown.to_frame);
  Tarn::FrameView frame;
  frame.width = 400;
  frame.height = 200;
  const auto on_picture = [&](float x, float y, float w, float h) {
    const auto boxes = ontoPicture({{30 + x, 50 + y, w, h, 1, 0}}, shown, frame);
    return boxes.empty() ? std::vector<float>() : valuesOf(boxes.at(0));
  };
  using Values = std::vector<float>;
  EXPECT_EQ(on_picture(50, 25, 50, 50), (Values{0.25f, 0.25f, 0.25f, 0.5f, 1}));
  EXPECT_EQ(on_picture(-50, -50, 100, 100), (Values{0, 0, 0.25f, 0.5f, 1}));
  EXPECT_EQ(on_picture(75, 75, 500, 500), (Values{0.375f, 0.75f, 0.125f, 0.25f, 1}));
  EXPECT_EQ(on_picture(-10, -10, 1000, 1000), (Values{0, 0, 0.5f, 1, 1}));
  // Wholly above, below, left and right.
  EXPECT_EQ(on_picture(50, -40, 100, 40), Values());
  EXPECT_EQ(on_picture(50, 101, 100, 40), Values());
  EXPECT_EQ(on_picture(-90, 25, 80, 50), Values());
  EXPECT_EQ(on_picture(110, 25, 80, 50), Values());
  // The same place of frames that are stored otherwise.
  static constexpr float kStored[][4] = {{0.5f, 0.25f, 0.25f, 0.5f},  {0.5f, 0.25f, 0.25f, 0.5f},
                                         {0.25f, 0.25f, 0.25f, 0.5f}, {0.25f, 0.25f, 0.5f, 0.25f},
                                         {0.25f, 0.5f, 0.5f, 0.25f},  {0.25f, 0.5f, 0.5f, 0.25f},
                                         {0.25f, 0.25f, 0.5f, 0.25f}};
  for (frame.orientation = 2; frame.orientation <= 8; ++frame.orientation) {
    if (frame.orientation == 5) std::swap(frame.width, frame.height);
    const auto& [x, y, w, h] = kStored[frame.orientation - 2];
    EXPECT_EQ(on_picture(50, 25, 50, 50), (Values{x, y, w, h, 1})) << frame.orientation;
  }
  // An odd column is cut off the frames that are drawn on.
  frame.width = 201;
  frame.height = 200;
  frame.orientation = 1;
  EXPECT_EQ(on_picture(50, 0, 50, 100), (Values{0.5f, 0, 0.5f, 1, 1}));
}

TEST(HogDetector, KeepsTheBestOfBoxesThatShareAPerson) {
  // A is best; B covers most of A; C lies wholly in A; D stands beside A; E touches D only.
  const std::vector<TarnBoundingBox2D> boxes = {{0.12f, 0.1f, 0.1f, 0.3f, 0.5f, 0},
                                                {0.10f, 0.1f, 0.1f, 0.3f, 0.9f, 0},
                                                {0.12f, 0.2f, 0.05f, 0.1f, 0.8f, 0},
                                                {0.16f, 0.1f, 0.1f, 0.3f, 0.7f, 0},
                                                {0.26f, 0.1f, 0.1f, 0.3f, 0.6f, 0}};
  std::vector<float> kept;
  for (const TarnBoundingBox2D& box : keepBest(boxes, 0.55f)) kept.push_back(box.score);
  EXPECT_EQ(kept, (std::vector<float>{0.9f, 0.7f, 0.6f}));

  // Nobody fits into a picture this small.
  std::vector<std::uint8_t> pixels(40 * 300 * 3 / 2, 128);
  for (const auto& [width, height] : {std::pair(40, 300), {300, 40}}) {
    const _TN_Image frame = {0, TN_PIX_FMT_NV12, width, height, 0, pixels.data()};
    EXPECT_TRUE(HogDetector{HogOptions()}.detect({1, frame, frame, {}, {}}).empty());
  }
}

class NetworkRun : public tn_test::ToolTest {};

TEST_F(NetworkRun, FollowsTheColouredFigures) {
  makeSample(120, "480x360", "figures");
  const std::string out = run("run walk.mp4 --detector onnx --tracks tracks.txt --max-confidence 4");
  double network = 0.0, around = 0.0;  // most of the time is the network's
  std::sscanf(out.c_str() + std::min(out.size(), out.rfind("network ")),
              "network %lf %%, tensor, detect and track %lf %% of their sum", &network, &around);
  EXPECT_GT(network, 55.0) << out;
  EXPECT_NEAR(around, 100.0 - network, 0.11) << out;
  // Of the 720 boxes some are hidden for more than half while figures pass each other.
  const TrackScore score = scoreOf("tracks.txt", 0.7);
  EXPECT_GT(score.recall(), 0.9) << score.table();
  EXPECT_GT(score.precision(), 0.85) << score.table();
  EXPECT_LE(score.identity_switches, 6) << score.table();
}

// The network sees a turned video upright; its boxes come back in the frames as they are stored.
TEST_F(NetworkRun, FindsFiguresInTurnedVideos) {
  makeSample(8, "480x360", "figures");
  write("turned.mp4", tn_test::videoWithMatrix(read("walk.mp4"), 0, 65536, -65536, 0));
  run("run turned.mp4 --detector onnx --tracks tracks.txt");
  EXPECT_GT(scoreOf("tracks.txt", 0.7).recall(), 0.9);
  // Half of the frame, whose figures are where they are in the whole.
  run("run turned.mp4 --detector onnx --tracks tracks.txt --orientation 1 --region 240,0,240,360");
  const MotFrames tracks = readMotFrames(path("tracks.txt"));
  ASSERT_FALSE(tracks.empty());
  for (const auto& [number, boxes] : tracks)
    for (const MotBox& box : boxes) EXPECT_GE(box.left, 235);
  EXPECT_GT(scoreOf("tracks.txt", 0.7).precision(), 0.6);
}

// What the network's own config says is what holds without one.
TEST_F(NetworkRun, FileAndConfigGiveTheSameTracks) {
  makeSample(5, "320x240", "figures");
  TarnCPU::ToolExportInferenceConfig().exportConfig(BLOB_DETECTOR, 3, 256, 256, path("config.txt"),
                                                    nullptr);
  EXPECT_NE(read("config.txt").find("saturation"), std::string::npos);
  std::string names = "\xEF\xBB\xBFrot\r\n  gr\xC3\xBCn \t\r\n\tblau\n\n";
  write("names.txt", names.append((1u << 20) - names.size(), ' '));  // as long as it may be
  run("run walk.mp4 --detector onnx --tracks built-in.txt");
  run("run walk.mp4 --detector onnx:" BLOB_DETECTOR
      " --labels names.txt --config config.txt --tracks file.txt");
  EXPECT_EQ(read("file.txt"), read("built-in.txt"));
  EXPECT_EQ(readLabelNames(path("names.txt")), (std::vector<std::string>{"rot", "gr\xC3\xBCn", "blau"}));

  // What a config asks for and the network lacks is said, and the rest goes on.
  write("odd.txt", "tarn-inference-config 1\nlayer nolayer bf16\nthreads 1\n");
  const tn_test::ToolResult result = tool("run walk.mp4 --detector onnx --config odd.txt");
  EXPECT_EQ(result.status, 0);
  EXPECT_TRUE(tn_test::isOneLineWith(result.err, "nolayer"));
}

// Without --nms each cell of a figure gives a box, most of them with less than full scores.
TEST_F(NetworkRun, ScoresAndOverlapsHaveTheirOptions) {
  makeSample(1, "320x240", "figures");
  std::map<std::string, int> found;
  for (const char* options : {"", "--nms 1", "--nms 1 --score 0.9"}) {
    const std::string out = run(std::string("run walk.mp4 --detector onnx ") + options);
    EXPECT_EQ(std::sscanf(out.c_str(), "frames 1, detections %d", &found[options]), 1) << out;
  }
  EXPECT_EQ(found[""], 6);
  EXPECT_GT(found["--nms 1"], 60);
  EXPECT_GT(found["--nms 1"], 2 * found["--nms 1 --score 0.9"]);
}

TEST(NetworkDetector, NamesItsClassesAndATensorOfAnotherSize) {
  NetworkOptions options;
  NetworkDetector detector(options);
  EXPECT_EQ(detector.labelName(1), "green");
  EXPECT_EQ(detector.labelName(7), "class 7");
  options.model = BLOB_DETECTOR;
  EXPECT_EQ(NetworkDetector(options).labelName(1), "class 1");

  std::vector<float> values(3 * 64 * 32);
  const _TN_Image tensor = {0, TN_PIX_FMT_CHW_F32, 64, 32, 0, values.data()};
  const std::string said = tn_test::FaultOf<Failure>([&] {
    detector.runNetwork({1, tensor, tensor, {}, {}});
  });
  EXPECT_NE(said.find("; its tensor was 1x3x32x64"), std::string::npos) << said;
}

TEST_F(NetworkRun, FaultsAreOneLineAndStatusOne) {
  makeSample(2, "320x240", "figures");
  const std::string model = read(BLOB_DETECTOR);
  write("cut.onnx", model.substr(0, model.size() / 2));
  write("empty.onnx", "");
  // The open sizes as numbers, 32 x 48, in as many bytes.
  const std::string open = read(TN_TEST_DATA "/open-size.onnx");
  write("fixed.onnx",
        std::regex_replace(std::regex_replace(open, std::regex("\x12\x06height"),
                                              std::string("\x08\xB0\x80\x80\x80\x80\x80\x00", 8)),
                           std::regex("\x12\x05width"), std::string("\x08\xA0\x80\x80\x80\x80\x00", 7)));
  write("two.onnx", std::regex_replace(open, std::regex("\x0A\x02\x08\x01"), "\x0A\x02\x08\x02"));
  write("blank.txt", "\n \n");
  write("two.txt", "red\ngreen\n");
  write("four.txt", "red\ngreen\nblue\ngrey\n");
  write("gap.txt", "red\n\nblue\n");
  write("bell.txt", "red\ngr\x07n\nblue\n");
  write("endless.txt", "");
  std::filesystem::resize_file(path("endless.txt"), (1u << 20) + 1);
  expectRefused(
      "run walk.mp4 ",
      {
          {"--detector onnx:nofile.onnx", "nofile.onnx: "},
          {"--detector onnx:empty.onnx", "empty.onnx: is empty"},
          {"--detector onnx:cut.onnx", "cut.onnx: "},
          // Ten scores, no table of boxes.
          {"--detector onnx:" TN_TEST_DATA "/small.onnx",
           "(scores) is 1x10, neither N x (4 + 1 + classes) nor (4 + classes) x N"},
          {"--detector onnx:" TN_TEST_DATA "/two-inputs.onnx", "takes 2 inputs, not one picture"},
          // Runs at any size, so at the one asked for.
          {"--detector onnx:" TN_TEST_DATA "/open-size.onnx --size 32x16", ", neither N x "},
          {"--detector onnx --size 320x320", "--size: the network takes 256x256"},
          {"--detector onnx:fixed.onnx --size 48x32", "--size: the network takes 32x48"},
          {"--detector onnx:fixed.onnx", "is 1x3x48x32, neither N x "},
          {"--detector onnx:" TN_TEST_DATA "/large-blob.onnx",
           "takes a tensor of 1x1x?x?, not 1x3xHEIGHTxWIDTH"},
          {"--detector onnx:two.onnx", "takes a tensor of 2x3x?x?, not 1x3x"},
          {"--detector onnx --labels blank.txt", "blank.txt: has no labels"},
          {"--detector onnx --labels gap.txt", "gap.txt:2: is empty; each line names a class"},
          {"--detector onnx --labels endless.txt", "endless.txt: is too long for a file of labels"},
          {"--detector onnx --labels bell.txt", "bell.txt:2: a label has control characters"},
          {"--detector onnx --labels two.txt",
           "two.txt: has 2 labels for the 3 classes of built-in network"},
          {"--detector onnx --labels four.txt", "four.txt: has 4 labels for the 3 classes of "},
          {"--detector onnx --config nofile.txt", "nofile.txt: cannot be read: "},
          {"--detector onnx --nms nan", "--nms: must be from 0 to 1"},
      });
}

}  // namespace
