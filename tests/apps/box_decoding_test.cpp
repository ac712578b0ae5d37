// Small outputs made by hand, in both layouts.
#include "apps/detectors/box_decoding.h"

#include <gtest/gtest.h>

#include <iterator>
#include <limits>

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
  // A picture of 200 x 100 in a tensor of 200 x 200.
  const Placement picture = {0, 50, 200, 100};
  const auto on_picture = [&](float x, float y, float w, float h) {
    const auto boxes = ontoPicture({{x, y, w, h, 1, 0}}, picture);
    return boxes.empty() ? std::vector<float>() : valuesOf(boxes.at(0));
  };
  using Values = std::vector<float>;
  EXPECT_EQ(on_picture(50, 75, 100, 50), (Values{0.25f, 0.25f, 0.5f, 0.5f, 1}));
  EXPECT_EQ(on_picture(-50, 0, 100, 100), (Values{0, 0, 0.25f, 0.5f, 1}));
  EXPECT_EQ(on_picture(150, 125, 500, 500), (Values{0.75f, 0.75f, 0.25f, 0.25f, 1}));
  EXPECT_EQ(on_picture(-10, -10, 1000, 1000), (Values{0, 0, 1, 1, 1}));
  // Wholly above, below, left and right.
  EXPECT_EQ(on_picture(50, 10, 100, 40), Values());
  EXPECT_EQ(on_picture(50, 151, 100, 40), Values());
  EXPECT_EQ(on_picture(-90, 75, 80, 50), Values());
  EXPECT_EQ(on_picture(210, 75, 80, 50), Values());
}

}  // namespace
