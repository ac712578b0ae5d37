// From the values of a detector's output to boxes in fractions of the picture.
#include "apps/detectors/box_decoding.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <map>
#include <opencv2/dnn.hpp>

namespace tarnkit {
namespace {

using Tarn::TarnBoundingBox2D;

constexpr int kGeometry = 4;

void addBox(float x, float y, float width, float height, float score, int label,
            std::vector<TarnBoundingBox2D>& boxes) {
  const float left = x - width / 2.0f, top = y - height / 2.0f;
  if (!(width > 0.0f && height > 0.0f)) return;
  for (const float value : {left, top, left + width, top + height, score})
    if (!std::isfinite(value)) return;
  boxes.push_back({left, top, width, height, score, label});
}

std::vector<TarnBoundingBox2D> decodeRows(const BoxOutput& output, float least_score) {
  std::vector<TarnBoundingBox2D> boxes;
  const std::size_t values =
      static_cast<std::size_t>(kGeometry) + 1 + static_cast<std::size_t>(output.classes);
  const float* row = output.values;
  for (int i = 0; i < output.boxes; ++i, row += values) {
    const float objectness = row[kGeometry];
    // No class makes up for it, and most rows end here.
    if (!(objectness >= least_score)) continue;
    const float* const scores = row + kGeometry + 1;
    float best = -std::numeric_limits<float>::infinity();
    int label = 0;
    for (int c = 0; c < output.classes; ++c)
      if (scores[c] > best) {
        best = scores[c];
        label = c;
      }
    const float score = objectness * best;
    if (score >= least_score) addBox(row[0], row[1], row[2], row[3], score, label, boxes);
  }
  return boxes;
}

std::vector<TarnBoundingBox2D> decodeColumns(const BoxOutput& output, float least_score) {
  const std::size_t count = static_cast<std::size_t>(output.boxes);
  std::vector<float> best(count, -std::numeric_limits<float>::infinity());
  std::vector<int> labels(count, 0);
  for (int c = 0; c < output.classes; ++c) {
    const float* const scores = output.values + static_cast<std::size_t>(kGeometry + c) * count;
    for (std::size_t i = 0; i < count; ++i) {
      const bool is_better = scores[i] > best[i];
      best[i] = is_better ? scores[i] : best[i];
      labels[i] = is_better ? c : labels[i];
    }
  }
  std::vector<TarnBoundingBox2D> boxes;
  const float *const x = output.values, *const y = x + count, *const width = y + count,
                     *const height = width + count;
  for (std::size_t i = 0; i < count; ++i)
    if (best[i] >= least_score) addBox(x[i], y[i], width[i], height[i], best[i], labels[i], boxes);
  return boxes;
}

}  // namespace

std::optional<BoxOutput> readLayout(int channels, int rows, int columns, const float* values) {
  if (channels != 1 || rows < 1 || columns < 1 || rows == columns) return std::nullopt;
  const bool is_rows = rows > columns;
  const int boxes = std::max(rows, columns);
  const int classes = std::min(rows, columns) - kGeometry - (is_rows ? 1 : 0);
  if (classes < 1) return std::nullopt;
  return BoxOutput{is_rows ? BoxOutput::Layout::kRows : BoxOutput::Layout::kColumns, boxes, classes,
                   values};
}

std::vector<TarnBoundingBox2D> decodeBoxes(const BoxOutput& output, float least_score) {
  return output.layout == BoxOutput::Layout::kRows ? decodeRows(output, least_score)
                                                   : decodeColumns(output, least_score);
}

std::vector<TarnBoundingBox2D> suppressDuplicates(std::vector<TarnBoundingBox2D> boxes,
                                                  float most_overlap) {
  std::map<int, std::vector<TarnBoundingBox2D>> classes;
  for (const TarnBoundingBox2D& box : boxes) classes[box.label].push_back(box);
  boxes.clear();
  for (const auto& of_class : classes) {
    std::vector<cv::Rect2d> places;
    std::vector<float> scores;
    for (const TarnBoundingBox2D& box : of_class.second) {
      places.emplace_back(box.x, box.y, box.w, box.h);
      // They only give the order, and those of 0 would be dropped.
      scores.push_back(std::max(box.score, std::numeric_limits<float>::denorm_min()));
    }
    std::vector<int> kept;
    cv::dnn::NMSBoxes(places, scores, 0.0f, most_overlap, kept);
    for (const int index : kept) boxes.push_back(of_class.second[static_cast<std::size_t>(index)]);
  }
  std::stable_sort(boxes.begin(), boxes.end(),
                   [](const auto& a, const auto& b) { return a.score > b.score; });
  return boxes;
}

std::vector<TarnBoundingBox2D> ontoPicture(const std::vector<TarnBoundingBox2D>& boxes,
                                           const Tarn::Placement& placement,
                                           const Tarn::FrameView& frame) {
  const int o = frame.orientation;
  const bool mirror_x = o == 2 || o == 3 || o == 7 || o == 8,
             mirror_y = o == 3 || o == 4 || o == 6 || o == 7;
  struct Span {
    float low, high;
  };
  // An odd last column or row is no part of the frames that boxes are drawn on.
  const auto span = [](double low, double size, int pixels, bool mirror) {
    const double all = pixels & ~1;
    if (mirror) low = pixels - low - size;
    return Span{static_cast<float>(std::clamp(low / all, 0.0, 1.0)),
                static_cast<float>(std::clamp((low + size) / all, 0.0, 1.0))};
  };
  std::vector<TarnBoundingBox2D> fractions;
  for (const TarnBoundingBox2D& box : boxes) {
    Tarn::Rectangle shown = placement.toFrame({box.x, box.y, box.w, box.h}, true);
    if (o >= 5) shown = {shown.y, shown.x, shown.height, shown.width};
    const Span x = span(shown.x, shown.width, frame.width, mirror_x),
               y = span(shown.y, shown.height, frame.height, mirror_y);
    if (x.high > x.low && y.high > y.low)
      fractions.push_back({x.low, y.low, x.high - x.low, y.high - y.low, box.score, box.label});
  }
  return fractions;
}

}  // namespace tarnkit
